#include "terminal/ProgressLine.hpp"

#include "output/ByteFormat.hpp"

#include <fmt/format.h>

namespace KestrelCLI {

namespace {

constexpr auto shortestPause = std::chrono::milliseconds{100};

}  // namespace

void ProgressLine::show(const KestrelCore::ScanProgress& progress, Clock::time_point now) {
    show([&](std::size_t columns) { return text(progress, columns, session_); }, now);
}

void ProgressLine::show(const std::function<std::string(std::size_t columns)>& line, Clock::time_point now) {
    // Only where somebody looks: in a file or a pipe the line would be rubbish.
    if (!session_.terminal.isMessages || session_.terminal.isDumb || (isDrawn_ && now - lastDrawing_ < shortestPause))
        return;
    // The last columns stay free: the "^C" that a terminal shows must not begin a new line, which would leave this one.
    session_.messages << '\r' << line(Terminal::currentColumns() - 3) << "\x1b[K";
    session_.messages.flush();
    isDrawn_ = true;
    lastDrawing_ = now;
}

void ProgressLine::clear() {
    if (!isDrawn_) return;
    session_.messages << "\r\x1b[K";
    session_.messages.flush();
    isDrawn_ = false;
}

/// One line and no more: a line that wraps can't be drawn over by the next.
std::string ProgressLine::text(const KestrelCore::ScanProgress& progress, std::size_t columns, const Session& session) {
    // The numbers keep their places while they grow, so that the line does not tremble.
    const std::string numbers = fmt::format("{:>10} items {:>9}  ", ByteFormat::count(progress.filesSeen),
                                            ByteFormat::rounded(progress.allocatedBytesSeen, session.options.units));
    if (numbers.size() >= columns) return session.shortened(numbers, columns);
    return numbers + session.shortened(session.shownPath(progress.currentPath.view()), columns - numbers.size());
}

}  // namespace KestrelCLI
