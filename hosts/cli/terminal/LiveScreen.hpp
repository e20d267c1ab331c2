#pragma once

#include "output/TerminalText.hpp"
#include "terminal/ScreenKey.hpp"

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

namespace KestrelCLI {

/// The whole terminal as one page that is drawn again and again: the one place where full-screen pages meet keys, the
/// mouse, signals and changes of size. While it lives the terminal shows the page and hands keys over one by one;
/// afterwards it is as it was found: when this object goes, when the process stops itself (abort), crashes, or is told
/// to end by a signal, the first time or again. Ctrl-Z gives the terminal back until the program goes on. One at a
/// time, on the main thread; only `wake` may be called from others.
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
    [[nodiscard]] bool isUnicode() const { return characters() == Characters::unicode; }
    [[nodiscard]] Characters characters() const;
    /// The colours that are shown; others become the nearest of these. None where none are wanted.
    [[nodiscard]] ColorDepth colors() const;

    /// Shows `lines` from the top; what does not fit is cut, the rest of the screen is blank. Only what differs from
    /// what is shown is written.
    void draw(const std::vector<ScreenLine>& lines);

    /// What happens next, waited for at most that long. A signal ends the wait. Keys come before having been woken.
    [[nodiscard]] ScreenKey wait(std::chrono::milliseconds limit);

    /// Has `wait` return a key of the kind "woken", the one that waits now or else the next. Calls before it does so
    /// count as one. From any thread, while this lives.
    void wake();

    /// Gives the terminal back, runs `task` (another program), takes the terminal again and shows the page as it was.
    /// What `task` throws is thrown on.
    void suspended(const std::function<void()>& task);

    /// Asks the terminal to put `text` on its clipboard. False where that is known to be in vain; whether it was done
    /// no terminal tells.
    [[nodiscard]] bool copy(std::string_view text);

private:
    struct State;

    void leave();
    void enterAgain();
    ScreenKey taken(const ScreenKey& key);

    std::unique_ptr<State> state_;
};

}  // namespace KestrelCLI
