#include "terminal/ScreenUndo.hpp"

#include "terminal/Interruption.hpp"
#include "terminal/WakePipe.hpp"

#include <curses.h>
#include <term.h>
// Names of capabilities, which that header makes macros of.
#undef columns
#undef lines

#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <string_view>

// ncurses puts the terminal back in `endwin`, which allocates and locks, so a signal handler must not call it. The
// settings and the escape sequences that undo the page are therefore taken down before it begins; handlers need only
// two system calls to send them, then the signal takes its usual course.

namespace KestrelCLI {

namespace {

/// What undoes the page. Global since handlers reach nothing else; written before the handlers are set.
struct Undo {
    termios settings{};
    std::array<char, 512> sequences{};
    std::size_t sequenceLength = 0;
    WakePipe* wakePipe = nullptr;
    volatile std::sig_atomic_t isNeeded = 0;
    volatile std::sig_atomic_t endRequests = 0;
    volatile std::sig_atomic_t isToStop = 0;  ///< Ctrl-Z
    volatile std::sig_atomic_t isResized = 0;
} undo;

extern "C" {

/// Takes what ncurses would write to the terminal, a byte at a time; what finds no room is left out.
int keepForUndo(int byte) {
    if (undo.sequenceLength < undo.sequences.size()) {
        undo.sequences[undo.sequenceLength++] = static_cast<char>(byte);
    }
    return byte;
}

/// Puts the terminal back from within a signal handler.
void undoPage() {
    if (undo.isNeeded == 0) return;
    undo.isNeeded = 0;
    // A process in the background would be stopped by what follows.
    signal(SIGTTOU, SIG_IGN);
    // The terminal may be gone; there is nothing to be done about it then.
    if (write(STDOUT_FILENO, undo.sequences.data(), undo.sequenceLength) < 0) return;
    tcsetattr(STDOUT_FILENO, TCSANOW, &undo.settings);
}

/// The default action after this one: the exit status, and a core where one is wanted, are those of the signal.
void endAfterUndo(int number) {
    undoPage();
    signal(number, SIG_DFL);
    raise(number);
}

/// A signal that comes just before a wait would else be noticed only after it.
void wakeUp() {
    const int earlier = errno;
    undo.wakePipe->wake();
    errno = earlier;
}

/// The first request ends the page in the ordinary way; a second one does not wait for that.
void noteEnd(int number) {
    if (undo.endRequests != 0) endAfterUndo(number);
    undo.endRequests = 1;
    Interruption::set(true);
    wakeUp();
}

/// Ctrl-Z: only noted, since the page is put aside where it is drawn.
void noteStop(int) {
    undo.isToStop = 1;
    wakeUp();
}

/// Not left to ncurses, which finds nothing changed when a terminal was made smaller and large again, and leaves the
/// gaps that the terminal has from that.
void noteResize(int) {
    undo.isResized = 1;
    wakeUp();
}

/// Instead of ignoring, which programs that are started would inherit.
void doNothing(int) {}

}  // extern "C"

using Handler = void (*)(int);

struct sigaction handle(int number, Handler handler) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    struct sigaction earlier {};
    sigaction(number, &action, &earlier);
    return earlier;
}

bool isIgnored(int number) {
    struct sigaction now {};
    sigaction(number, nullptr, &now);
    return now.sa_handler == SIG_IGN;
}

/// A signal that was ignored from the start, as by nohup, stays ignored.
void handleUnlessIgnored(int number, Handler handler) {
    if (!isIgnored(number)) handle(number, handler);
}

/// What the mouse switches on is switched off again where ncurses does not get to it.
constexpr std::string_view mouseOff = "\x1b[?1006l\x1b[?1000l";

constexpr std::array crashSignals{SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGQUIT, SIGSYS, SIGTRAP, SIGXCPU};
constexpr std::array endSignals{SIGINT, SIGTERM, SIGHUP};
std::array<struct sigaction, crashSignals.size() + endSignals.size()> earlierActions;

/// Takes the signals over that would leave the page on the screen, and keeps what was there before.
void setHandlers() {
    std::size_t index = 0;
    const auto set = [&index](int number, Handler handler) {
        sigaction(number, nullptr, &earlierActions[index++]);
        handleUnlessIgnored(number, handler);
    };
    for (const int number : crashSignals) set(number, endAfterUndo);
    for (const int number : endSignals) set(number, noteEnd);
    handleUnlessIgnored(SIGTSTP, noteStop);
    handle(SIGWINCH, noteResize);
}

void resetHandlers() {
    std::size_t index = 0;
    for (const int number : crashSignals) sigaction(number, &earlierActions[index++], nullptr);
    for (const int number : endSignals) sigaction(number, &earlierActions[index++], nullptr);
    handleUnlessIgnored(SIGTSTP, SIG_DFL);
    handle(SIGWINCH, SIG_DFL);
}

/// Writes a capability of the terminal's down for the undoing; one that it does not have is left out.
void keepSequence(const char* capability) {
    const char* sequence = tigetstr(capability);
    if (sequence != nullptr && sequence != reinterpret_cast<const char*>(-1)) tputs(sequence, 1, keepForUndo);
}

}  // namespace

ScreenUndo::ScreenUndo(WakePipe& wakePipe) {
    undo.wakePipe = &wakePipe;
    undo.sequenceLength = 0;
    // Attributes off, keypad off, cursor visible, the earlier screen back.
    for (const char* const capability : {"sgr0", "rmkx", "cnorm", "rmcup"}) keepSequence(capability);
    // Terminals that can't move a cursor by these rules have no mouse either.
    if (tigetstr("kmous") != nullptr && tigetstr("kmous") != reinterpret_cast<const char*>(-1)) {
        for (const char byte : mouseOff) keepForUndo(byte);
    }
    tcgetattr(STDOUT_FILENO, &undo.settings);
    undo.endRequests = 0;
    undo.isToStop = 0;
    undo.isResized = 0;
    undo.isNeeded = 1;
    setHandlers();
}

ScreenUndo::~ScreenUndo() {
    // What ncurses leaves is put right here too: it restores the settings of the moment in which it was started.
    tcsetattr(STDOUT_FILENO, TCSADRAIN, &undo.settings);
    undo.isNeeded = 0;
    resetHandlers();
}

bool ScreenUndo::takeStop() {
    if (undo.isToStop == 0) return false;
    undo.isToStop = 0;
    return true;
}

bool ScreenUndo::takeResize() {
    if (undo.isResized == 0) return false;
    undo.isResized = 0;
    return true;
}

void ScreenUndo::stop() {
    tcsetattr(STDOUT_FILENO, TCSADRAIN, &undo.settings);
    undo.isNeeded = 0;
    handle(SIGTSTP, SIG_DFL);
    raise(SIGTSTP);
    handle(SIGTSTP, noteStop);
    undo.isNeeded = 1;
}

void ScreenUndo::suspend() {
    tcsetattr(STDOUT_FILENO, TCSADRAIN, &undo.settings);
    undo.isNeeded = 0;
    for (const int number : {SIGINT, SIGQUIT}) handleUnlessIgnored(number, doNothing);
    handleUnlessIgnored(SIGTSTP, SIG_DFL);
}

void ScreenUndo::resume() {
    // A shell that ended badly leaves the terminal to a process group that is gone; from there nothing could be drawn.
    const struct sigaction earlier = handle(SIGTTOU, SIG_IGN);
    tcsetpgrp(STDOUT_FILENO, getpgrp());
    sigaction(SIGTTOU, &earlier, nullptr);
    undo.isNeeded = 1;
    handleUnlessIgnored(SIGINT, noteEnd);
    handleUnlessIgnored(SIGQUIT, endAfterUndo);
    handleUnlessIgnored(SIGTSTP, noteStop);
}

}  // namespace KestrelCLI
