#pragma once

#include "terminal/ScreenKey.hpp"

#include <curses.h>

#include <chrono>
#include <deque>
#include <optional>

namespace KestrelCLI {

/// The keys and the mouse of the terminal that ncurses works on.
class ScreenInput {
public:
    using Clock = std::chrono::steady_clock;

    /// Has keys handed over one by one, and the mouse reported.
    ScreenInput();
    ScreenInput(const ScreenInput&) = delete;
    ScreenInput& operator=(const ScreenInput&) = delete;
    ~ScreenInput();

    /// What was typed or clicked first of what is there already; none when nothing is.
    [[nodiscard]] ScreenKey next(Clock::time_point now = Clock::now());

private:
    void takeMouse(Clock::time_point now);
    [[nodiscard]] ScreenKey mouseKey(const MEVENT& event, Clock::time_point now);

    /// Where ncurses reads. A pad, since reading from a window would draw that.
    WINDOW* pad_;
    std::deque<ScreenKey> waiting_;  ///< what the mouse did and was not told of yet
    std::optional<ScreenKey> lastClick_;
    Clock::time_point lastClickTime_{};
};

}  // namespace KestrelCLI
