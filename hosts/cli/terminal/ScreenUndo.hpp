#pragma once

namespace KestrelCLI {

class WakePipe;

/// Sees to it that a terminal with a page on it is left as it was found, also when the process crashes, stops itself
/// (abort), or is told to end by a signal, the first time or again; and notes what signals say about the page. Takes
/// the signals over while it lives. One at a time, on the main thread.
class ScreenUndo {
public:
    /// For the terminal of standard output, which ncurses must have set up already, and as it is now. What is noted of
    /// signals wakes `wakePipe`, which must outlive this.
    explicit ScreenUndo(WakePipe& wakePipe);
    ScreenUndo(const ScreenUndo&) = delete;
    ScreenUndo& operator=(const ScreenUndo&) = delete;
    /// The terminal's settings are put back; the page itself must have gone.
    ~ScreenUndo();

    /// Whether Ctrl-Z was pressed since it was asked last.
    [[nodiscard]] bool takeStop();
    /// Whether the terminal said since then that its size changed, perhaps to one that it has again by now.
    [[nodiscard]] bool takeResize();

    /// The page was put aside: gives the settings back and stops the process, as one without a page would be. Returns
    /// when it goes on.
    void stop();

    /// The page was put aside for another program: gives the settings back. Until `resume` the keys that interrupt or
    /// quit are that program's, and do nothing to this one.
    void suspend();
    void resume();
};

}  // namespace KestrelCLI
