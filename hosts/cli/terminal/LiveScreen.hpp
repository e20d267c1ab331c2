#pragma once

#include "terminal/ScreenKey.hpp"

#include <chrono>
#include <cstddef>
#include <vector>

struct screen;  // of ncurses

namespace KestrelCLI {

/// The whole terminal as one page that is drawn again and again: the one place where full-screen pages meet keys, the
/// mouse, signals and changes of size. While it lives the terminal shows the page and hands keys over one by one;
/// afterwards it is as it was found: when this object goes, when the process stops itself (abort), crashes, or is told
/// to end by a signal, the first time or again. Ctrl-Z gives the terminal back until the program goes on. One at a
/// time, on the main thread.
class LiveScreen {
public:
    /// Whether standard output's terminal can show pages; not when TERM is "dumb" or unknown.
    [[nodiscard]] static bool isSupported();

    /// Standard input and output must be terminals that `isSupported`. Throws `std::runtime_error` when it fails still.
    explicit LiveScreen(bool hasColor);
    LiveScreen(const LiveScreen&) = delete;
    LiveScreen& operator=(const LiveScreen&) = delete;
    ~LiveScreen();

    [[nodiscard]] std::size_t columns() const;
    [[nodiscard]] std::size_t rows() const;
    /// Whether characters beyond ASCII can be shown.
    [[nodiscard]] bool isUnicode() const;

    /// Shows `lines` from the top; what does not fit is cut, the rest of the screen is blank.
    void draw(const std::vector<ScreenLine>& lines);

    /// What happens next, waited for at most that long. A signal ends the wait.
    [[nodiscard]] ScreenKey wait(std::chrono::milliseconds limit);

private:
    void standStill();

    bool hasColor_;
    screen* screen_ = nullptr;
};

}  // namespace KestrelCLI
