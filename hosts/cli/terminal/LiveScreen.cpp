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
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <stdexcept>
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

}  // extern "C"

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
enum Pair : short { noPair, bluePair, cyanPair, greenPair, yellowPair, redPair };

attr_t attributesOf(Style style, bool hasColor) {
    const auto color = [hasColor](Pair pair) { return hasColor ? static_cast<attr_t>(COLOR_PAIR(pair)) : A_NORMAL; };
    switch (style) {
    case Style::heading: return A_BOLD;
    case Style::quiet: return A_DIM;
    case Style::folder: return color(bluePair);
    case Style::bar: return color(cyanPair);
    case Style::good: return color(greenPair);
    case Style::warning: return color(yellowPair);
    case Style::bad: return color(redPair);
    case Style::match: return color(yellowPair) | A_BOLD;
    case Style::plain:
    case Style::file: break;
    }
    return A_NORMAL;
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
    tcgetattr(STDOUT_FILENO, &undo.settings);
    undo.endRequests = 0;
    undo.isNeeded = 1;
    // Before ncurses begins, which sets handlers of its own only where there are none.
    setHandlers();

    screen_ = newterm(nullptr, stdout, stdin);
    del_curterm(early);
    if (screen_ == nullptr) {
        undo.isNeeded = 0;
        resetHandlers();
        throw std::runtime_error{message};
    }
    cbreak();
    noecho();
    keypad(stdscr, TRUE);
    curs_set(0);
    hasColor_ = hasColor && has_colors();
    if (hasColor_) {
        start_color();
        use_default_colors();
        for (const auto& [pair, color] :
             {std::pair{bluePair, COLOR_BLUE}, std::pair{cyanPair, COLOR_CYAN}, std::pair{greenPair, COLOR_GREEN},
              std::pair{yellowPair, COLOR_YELLOW}, std::pair{redPair, COLOR_RED}}) {
            init_pair(pair, static_cast<short>(color), -1);
        }
    }
}

LiveScreen::~LiveScreen() {
    endwin();
    // What ncurses leaves is put right here too: it restores the settings of the moment in which it was started.
    tcsetattr(STDOUT_FILENO, TCSADRAIN, &undo.settings);
    undo.isNeeded = 0;
    resetHandlers();
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

LiveScreen::Event LiveScreen::wait(std::chrono::milliseconds limit) {
    // The wait is not left to ncurses, which can't tell a terminal that has gone from one where nothing was typed.
    pollfd input{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
    if (poll(&input, 1, static_cast<int>(limit.count())) > 0 && (input.revents & POLLIN) == 0) return Event::quit;
    // Whatever is there already is taken, nothing is waited for: the waiting is over.
    timeout(0);
    switch (getch()) {
    case 'q':
    case 'Q': return Event::quit;
    case KEY_RESIZE: return Event::resized;
    default: return Event::none;
    }
}

}  // namespace KestrelCLI
