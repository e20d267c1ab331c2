#pragma once

#include "terminal/MonitorFigures.hpp"
#include "terminal/ProcessPane.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace KestrelCLI {

/// The page of `kestrel monitor`: the figures of the machine, and its processes below them. Readings and keys go in,
/// lines and requests come out; it draws nothing and touches no process.
class MonitorPage {
public:
    struct Options {
        bool showsFigures = true;  ///< else the processes alone
        std::string title = "kestrel monitor";
        ProcessPaneOptions processes{};
    };
    MonitorPage(const Session& session, Characters characters, std::int32_t ownIdentifier, Options options);

    [[nodiscard]] MonitorFigures& figures() { return figures_; }
    [[nodiscard]] ProcessPane& processes() { return processes_; }

    struct Answer {
        bool isOver = false;  ///< the page is to be closed
        ProcessRequest request{};
    };
    /// What a key does, on a page of that size.
    [[nodiscard]] Answer press(const ScreenKey& key, std::size_t columns, std::size_t rows);

    /// At most `rows` lines of at most `columns` columns.
    [[nodiscard]] std::vector<ScreenLine> lines(std::size_t columns, std::size_t rows);

private:
    [[nodiscard]] std::vector<ScreenLine> top(std::size_t columns, std::size_t rows) const;
    [[nodiscard]] std::vector<ScreenLine> help(std::size_t columns, std::size_t rows) const;

    Characters characters_;
    Options options_;
    MonitorFigures figures_;
    ProcessPane processes_;
    bool isHelp_ = false;
};

}  // namespace KestrelCLI
