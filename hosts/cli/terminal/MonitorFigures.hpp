#pragma once

#include "output/PlotHistory.hpp"
#include "output/Session.hpp"
#include "terminal/PageText.hpp"
#include "terminal/ScreenKey.hpp"

#include "KestrelCore/Metrics/StorageSample.hpp"
#include "KestrelCore/Metrics/SystemDetails.hpp"
#include "KestrelCore/Metrics/SystemMetrics.hpp"

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace KestrelCLI {

/// The figures of the machine as lines, with a short history of each. Makes lines; draws nothing.
class MonitorFigures {
public:
    MonitorFigures(const Session& session, Characters characters) : session_{session}, characters_{characters} {}

    void add(const KestrelCore::SystemSample& sample, const KestrelCore::MemoryDetails& memory);
    void add(const KestrelCore::SystemDetails& details);
    void add(const KestrelCore::StorageSample& storage);

    /// At most `rows` lines of at most `columns` columns. Where there is little room the figures that matter least are
    /// left out; what the machine does not have takes no line.
    [[nodiscard]] std::vector<ScreenLine> lines(std::size_t columns, std::size_t rows) const;

private:
    struct Figure {
        int rank = 0;  ///< the lower, the longer it stays where there is little room
        std::string label;
        std::string value;
        Style style = Style::plain;
        const PlotHistory* history = nullptr;  ///< none: no plot
        double full = 1;                       ///< the value that a full column of the plot stands for
        std::optional<double> share{};         ///< instead of a plot, a bar
    };
    [[nodiscard]] std::vector<Figure> figures(std::size_t columns) const;
    void addProcessors(std::vector<Figure>& figures, std::size_t columns) const;
    void addStorage(std::vector<Figure>& figures) const;
    void addNetwork(std::vector<Figure>& figures) const;
    void addHeat(std::vector<Figure>& figures) const;
    [[nodiscard]] std::string rate(std::int64_t bytesPerSecond) const;

    const Session& session_;
    Characters characters_;
    std::optional<KestrelCore::SystemSample> sample_;
    KestrelCore::MemoryDetails memory_;
    std::optional<KestrelCore::SystemDetails> details_;
    std::optional<KestrelCore::StorageSample> storage_;
    std::set<std::string> busyInterfaces_;  ///< those that moved anything since the page began
    PlotHistory processorHistory_, memoryHistory_, swapHistory_, networkHistory_, diskHistory_;
};

/// One sample as a line of text, for output that is not a live page.
[[nodiscard]] std::string monitorLine(const Session& session, const KestrelCore::SystemSample& sample,
                                      const KestrelCore::MemoryDetails& memory);

/// "12.3 %" of a fraction of 1.
[[nodiscard]] std::string percentText(double fraction);

}  // namespace KestrelCLI
