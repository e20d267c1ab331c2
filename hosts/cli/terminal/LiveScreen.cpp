#include "terminal/LiveScreen.hpp"

#include "output/TerminalText.hpp"
#include "terminal/Interruption.hpp"

#include <curses.h>
#include <term.h>
// Names of capabilities, which that header makes macros of.
#undef columns
#undef lines

#include <langinfo.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <utility>

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
    volatile std::sig_atomic_t isNeeded = 0;
    volatile std::sig_atomic_t endRequests = 0;
    volatile std::sig_atomic_t isToStop = 0;   ///< Ctrl-Z
    volatile std::sig_atomic_t isResized = 0;  ///< the terminal said so, perhaps of a size that it has again by now
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

/// The first request ends the page in the ordinary way; a second one does not wait for that.
void noteEnd(int number) {
    if (undo.endRequests != 0) endAfterUndo(number);
    undo.endRequests = 1;
    Interruption::set(true);
}

/// Ctrl-Z: only noted, since the page is put aside where it is drawn.
void noteStop(int) { undo.isToStop = 1; }

/// Not left to ncurses, which finds nothing changed when a terminal was made smaller and large again, and leaves the
/// gaps that the terminal has from that.
void noteResize(int) { undo.isResized = 1; }

}  // extern "C"

void handleResizes(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(SIGWINCH, &action, nullptr);
}

/// Has the next drawing write everything anew, for the size that the terminal has now.
void takeSize() {
    undo.isResized = 0;
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 && size.ws_col > 0)
        resizeterm(size.ws_row, size.ws_col);
    clearok(curscr, TRUE);
}

void handleStops(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(SIGTSTP, &action, nullptr);
}

/// Stops have their usual effect again; where they were ignored from the start they still are.
void leaveStops() {
    struct sigaction stops {};
    sigaction(SIGTSTP, nullptr, &stops);
    if (stops.sa_handler != SIG_IGN) handleStops(SIG_DFL);
}

/// What the mouse switches on is switched off again where ncurses does not get to it.
constexpr std::string_view mouseOff = "\x1b[?1006l\x1b[?1000l";
constexpr mmask_t mouseEvents = BUTTON1_PRESSED | BUTTON1_CLICKED | BUTTON4_PRESSED | BUTTON5_PRESSED;

constexpr std::array crashSignals{SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGQUIT, SIGSYS, SIGTRAP, SIGXCPU};
constexpr std::array endSignals{SIGINT, SIGTERM, SIGHUP};
std::array<struct sigaction, crashSignals.size() + endSignals.size()> earlierActions;

/// Takes the signals over that would leave the page on the screen, and keeps what was there before.
void setHandlers() {
    std::size_t index = 0;
    const auto set = [&index](int number, void (*handler)(int)) {
        struct sigaction action {};
        action.sa_handler = handler;
        sigemptyset(&action.sa_mask);
        struct sigaction& earlier = earlierActions[index++];
        sigaction(number, nullptr, &earlier);
        // A signal that was ignored from the start, as by nohup, stays ignored.
        if (earlier.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
    };
    for (const int number : crashSignals) set(number, endAfterUndo);
    for (const int number : endSignals) set(number, noteEnd);
}

void resetHandlers() {
    std::size_t index = 0;
    for (const int number : crashSignals) sigaction(number, &earlierActions[index++], nullptr);
    for (const int number : endSignals) sigaction(number, &earlierActions[index++], nullptr);
}

/// Writes a capability of the terminal's down for the undoing; one that it does not have is left out.
void keepSequence(const char* capability) {
    const char* sequence = tigetstr(capability);
    if (sequence != nullptr && sequence != reinterpret_cast<const char*>(-1)) tputs(sequence, 1, keepForUndo);
}

/// Colour pairs of ncurses, by number.
enum Pair : short { noPair, magentaPair, redPair };

attr_t attributesOf(Style style, bool hasColor) {
    const auto color = [hasColor](Pair pair) { return hasColor ? static_cast<attr_t>(COLOR_PAIR(pair)) : A_NORMAL; };
    switch (style) {
    case Style::heading: return A_BOLD;
    case Style::quiet: return A_DIM;
    case Style::folder: return A_BOLD;
    case Style::bar:
    case Style::warning: return color(magentaPair);
    case Style::bad: return color(redPair);
    case Style::match: return color(redPair) | A_BOLD;
    case Style::selected: return A_REVERSE;
    case Style::good:
    case Style::plain:
    case Style::file: break;
    }
    return A_NORMAL;
}

ScreenKey mouseKey() {
    MEVENT event{};
    if (getmouse(&event) != OK) return {};
    using Kind = ScreenKey::Kind;
    const Kind kind = (event.bstate & BUTTON4_PRESSED) != 0   ? Kind::wheelUp
                      : (event.bstate & BUTTON5_PRESSED) != 0 ? Kind::wheelDown
                                                              : Kind::click;
    return {.kind = kind,
            .character = 0,
            .row = static_cast<std::size_t>(std::max(0, event.y)),
            .column = static_cast<std::size_t>(std::max(0, event.x))};
}

/// A key that ncurses has a number for.
ScreenKey functionKey(wint_t code) {
    using Kind = ScreenKey::Kind;
    switch (code) {
    case KEY_RESIZE: return {.kind = Kind::resized};
    case KEY_MOUSE: return mouseKey();
    case KEY_UP: return {.kind = Kind::up};
    case KEY_DOWN: return {.kind = Kind::down};
    case KEY_LEFT: return {.kind = Kind::left};
    case KEY_RIGHT: return {.kind = Kind::right};
    case KEY_PPAGE: return {.kind = Kind::pageUp};
    case KEY_NPAGE: return {.kind = Kind::pageDown};
    case KEY_HOME: return {.kind = Kind::home};
    case KEY_END: return {.kind = Kind::end};
    case KEY_ENTER: return {.kind = Kind::enter};
    case KEY_BACKSPACE: return {.kind = Kind::backspace};
    case KEY_DC: return {.kind = Kind::remove};
    default: return {};
    }
}

ScreenKey characterKey(wint_t character) {
    using Kind = ScreenKey::Kind;
    switch (character) {
    case L'\n':
    case L'\r': return {.kind = Kind::enter};
    case 0x1B: return {.kind = Kind::escape};
    case 0x08:
    case 0x7F: return {.kind = Kind::backspace};
    default: break;
    }
    if (character < 0x20) return {};
    return {.kind = Kind::character, .character = static_cast<char32_t>(character)};
}

}  // namespace

bool LiveScreen::isSupported() {
    int status = 0;
    if (setupterm(nullptr, STDOUT_FILENO, &status) != OK) return false;
    const char* const moveCursor = tigetstr("cup");
    const bool canMove = moveCursor != nullptr && moveCursor != reinterpret_cast<const char*>(-1);
    // ncurses keeps the terminal that was set up last; the page sets up its own.
    del_curterm(set_curterm(nullptr));
    return canMove;
}

// The order matters: first all that is needed to undo the page, then the handlers that use it, then the page.
LiveScreen::LiveScreen(bool hasColor) : hasColor_{hasColor} {
    const char* const message = "This terminal can't show a live page; pipe the output to see a line a sample.";
    int status = 0;
    if (setupterm(nullptr, STDOUT_FILENO, &status) != OK) throw std::runtime_error{message};
    TERMINAL* const early = cur_term;
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
    // Before ncurses begins, which sets handlers of its own only where there are none. One for stops works on the page
    // from within the handler, and while ncurses draws it ignores them: a Ctrl-Z in that moment would be lost.
    setHandlers();
    struct sigaction stops {};
    sigaction(SIGTSTP, nullptr, &stops);
    if (stops.sa_handler != SIG_IGN) handleStops(noteStop);

    screen_ = newterm(nullptr, stdout, stdin);
    del_curterm(early);
    if (screen_ == nullptr) {
        undo.isNeeded = 0;
        resetHandlers();
        leaveStops();
        throw std::runtime_error{message};
    }
    cbreak();
    noecho();
    keypad(stdscr, TRUE);
    // Long enough for the rest of a key's sequence, also from far away; short enough for Esc alone.
    set_escdelay(50);
    mousemask(mouseEvents, nullptr);
    mouseinterval(0);  // a press is a click: nothing waits for a second one
    curs_set(0);
    handleResizes(noteResize);
    hasColor_ = hasColor && has_colors();
    if (hasColor_) {
        start_color();
        use_default_colors();
        for (const auto& [pair, color] : {std::pair{magentaPair, COLOR_MAGENTA}, std::pair{redPair, COLOR_RED}}) {
            init_pair(pair, static_cast<short>(color), -1);
        }
    }
}

LiveScreen::~LiveScreen() {
    mousemask(0, nullptr);
    endwin();
    // What ncurses leaves is put right here too: it restores the settings of the moment in which it was started.
    tcsetattr(STDOUT_FILENO, TCSADRAIN, &undo.settings);
    undo.isNeeded = 0;
    resetHandlers();
    leaveStops();
    handleResizes(SIG_DFL);
    delscreen(screen_);
}

std::size_t LiveScreen::columns() const { return static_cast<std::size_t>(COLS); }

std::size_t LiveScreen::rows() const { return static_cast<std::size_t>(LINES); }

bool LiveScreen::isUnicode() const { return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0; }

void LiveScreen::draw(const std::vector<ScreenLine>& lines) {
    erase();
    for (std::size_t row = 0; row < lines.size() && row < rows(); ++row) {
        std::size_t column = 0;
        for (const ScreenSpan& span : lines[row]) {
            const std::string text = TerminalText::shortened(span.text, columns() - std::min(columns(), column));
            attrset(attributesOf(span.style, hasColor_));
            mvaddstr(static_cast<int>(row), static_cast<int>(column), text.c_str());
            column += TerminalText::width(text);
        }
    }
    attrset(A_NORMAL);
    refresh();
}

/// Gives the terminal back, stops as a program without a page would, and takes the terminal again when it goes on.
void LiveScreen::standStill() {
    undo.isToStop = 0;
    endwin();
    tcsetattr(STDOUT_FILENO, TCSADRAIN, &undo.settings);
    handleStops(SIG_DFL);
    raise(SIGTSTP);
    handleStops(noteStop);
    takeSize();  // only programs in the foreground are told of a new one
    refresh();
}

ScreenKey LiveScreen::wait(std::chrono::milliseconds limit) {
    // The wait is not left to ncurses, which can't tell a terminal that has gone from one where nothing was typed.
    pollfd input{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
    const int ready = poll(&input, 1, static_cast<int>(limit.count()));
    if (undo.isToStop != 0) {
        standStill();
        return {.kind = ScreenKey::Kind::resized};
    }
    if (undo.isResized != 0) {
        takeSize();
        return {.kind = ScreenKey::Kind::resized};
    }
    if (ready > 0 && (input.revents & POLLIN) == 0) return {.kind = ScreenKey::Kind::closed};
    // Whatever is there already is taken, nothing is waited for: the waiting is over.
    timeout(0);
    wint_t code = 0;
    switch (get_wch(&code)) {
    case KEY_CODE_YES: return functionKey(code);
    case OK: return characterKey(code);
    default: return {};
    }
}

}  // namespace KestrelCLI
