#pragma once

#include "output/Terminal.hpp"

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

struct screen;  // of ncurses

namespace KestrelCLI {

/// A piece of a line of a live page, in one style. The text must be escaped where it came from outside.
struct ScreenSpan {
    std::string text;
    Style style = Style::plain;
};
using ScreenLine = std::vector<ScreenSpan>;

/// The whole terminal as one page that is drawn again and again. While it lives the terminal shows the page and hands
/// keys over one by one; afterwards it is as it was found: when this object goes, when the process stops itself
/// (abort), crashes, or is told to end by a signal, the first time or again. One at a time, on the main thread.
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

    enum class Event { none, quit, resized };
    /// Waits for a key at most that long. "q" and "Q" quit, and so does a terminal
    /// that has gone; other keys are nothing. A signal ends the wait.
    [[nodiscard]] Event wait(std::chrono::milliseconds limit);

private:
    bool hasColor_;
    screen* screen_ = nullptr;
};

}  // namespace KestrelCLI
