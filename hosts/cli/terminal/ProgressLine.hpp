#pragma once

#include "output/Session.hpp"

#include "KestrelCore/Model/ScanProgress.hpp"

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

namespace KestrelCLI {

/// One line on the terminal behind standard error that is drawn over and over, at most ten times a second, and removed
/// by the destructor. Writes nothing where standard error is no terminal.
class ProgressLine {
public:
    using Clock = std::chrono::steady_clock;

    explicit ProgressLine(const Session& session) : session_{session} {}
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;
    ~ProgressLine() { clear(); }

    /// Draws the progress as of `now`, unless the last drawing is too young.
    void show(const KestrelCore::ScanProgress& progress, Clock::time_point now);
    /// The same with another line, which is given the columns that it may take.
    void show(const std::function<std::string(std::size_t columns)>& line, Clock::time_point now);
    /// Removes the line, so that something else can be written.
    void clear();

    /// The line for `columns` columns, without the sequences that place it.
    [[nodiscard]] static std::string text(const KestrelCore::ScanProgress& progress, std::size_t columns,
                                          const Session& session);

private:
    const Session& session_;
    bool isDrawn_ = false;
    Clock::time_point lastDrawing_;
};

}  // namespace KestrelCLI
