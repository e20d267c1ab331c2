#pragma once

#include "output/PlotHistory.hpp"
#include "output/Session.hpp"
#include "terminal/LiveScreen.hpp"

#include "KestrelCore/Metrics/SystemMetrics.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCLI {

/// What `kestrel monitor` shows: the newest samples and a short history of each figure. Makes lines; draws nothing.
class MonitorPage {
public:
    MonitorPage(const Session& session, bool isUnicode) : session_{session}, isUnicode_{isUnicode} {}

    void add(const KestrelCore::SystemSample& sample);
    void setProcesses(std::vector<KestrelCore::ProcessSample> processes);

    /// At most `rows` lines of at most `columns` columns; the busiest processes fill what the figures leave.
    [[nodiscard]] std::vector<ScreenLine> lines(std::size_t columns, std::size_t rows) const;

private:
    struct Figure {
        std::string label;
        std::string value;
        Style style;
        const PlotHistory& history;
        double full;  ///< the value that a full column of the plot stands for
    };
    [[nodiscard]] std::vector<Figure> figures(const KestrelCore::SystemSample& sample) const;
    void appendProcesses(std::vector<ScreenLine>& lines, std::size_t columns, std::size_t rows) const;

    const Session& session_;
    bool isUnicode_;
    std::optional<KestrelCore::SystemSample> sample_;
    std::vector<KestrelCore::ProcessSample> processes_;  ///< busiest first
    PlotHistory processor_, memory_, swap_, down_, up_, battery_, thermal_;
};

/// One sample as a line of text, for output that is not a live page.
[[nodiscard]] std::string monitorLine(const Session& session, const KestrelCore::SystemSample& sample);

/// "12.3 %" of a fraction of 1.
[[nodiscard]] std::string percentText(double fraction);

}  // namespace KestrelCLI
