#include "terminal/LiveScreen.hpp"

#include "terminal/ClipboardCommand.hpp"
#include "terminal/ScreenCells.hpp"
#include "terminal/ScreenInput.hpp"
#include "terminal/ScreenTerminfo.hpp"
#include "terminal/ScreenUndo.hpp"
#include "terminal/ScreenWriter.hpp"
#include "terminal/WakePipe.hpp"

#include <curses.h>
#include <term.h>
// Names of capabilities, which that header makes macros of.
#undef columns
#undef lines

#include <langinfo.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

// ncurses has the terminal's description, its modes, its keys and its mouse. What is drawn is written past it: it gives
// no terminal all its colours unless the description says so, which hardly any does, and it needs a number for each
// pair of colours, of which a picture has thousands.

namespace KestrelCLI {

namespace {

constexpr auto failureText = "This terminal can't show a live page; pipe the output to see a line a sample.";

void writeAll(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (written > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (written < 0 && errno == EAGAIN) {
            pollfd output{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
            poll(&output, 1, -1);
        } else if (written < 0 && errno != EINTR) {
            return;  // a terminal that has gone: the next wait finds out
        }
    }
}

/// Whether something is there to be read. A terminal that has gone is readable without it.
bool hasInput() {
    int bytes = 0;
    return ioctl(STDIN_FILENO, FIONREAD, &bytes) == 0 && bytes > 0;
}

/// Takes the size that the terminal has now.
void takeSize() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 && size.ws_col > 0)
        resize_term(size.ws_row, size.ws_col);
}

}  // namespace

struct LiveScreen::State {
    WakePipe wakePipe;
    std::optional<ScreenUndo> undo;
    screen* curses = nullptr;
    std::optional<ScreenInput> input;
    std::optional<ScreenWriter> writer;
    std::optional<ScreenCells> shown;  ///< empty when not known
    ColorDepth depth = ColorDepth::none;
    bool mayHaveMore = false;  ///< ncurses may have read more than the key that it gave
};

bool LiveScreen::isSupported() {
    int status = 0;
    if (setupterm(nullptr, STDOUT_FILENO, &status) != OK) return false;
    const char* const moveCursor = tigetstr("cup");
    const bool canMove = moveCursor != nullptr && moveCursor != reinterpret_cast<const char*>(-1);
    // ncurses keeps the terminal that was set up last; the page sets up its own.
    del_curterm(set_curterm(nullptr));
    return canMove;
}

// The order matters: first all that is needed to undo the page, then the handlers that use it, then the page. ncurses
// sets handlers of its own only where there are none: one for stops would work on the page from within the handler.
LiveScreen::LiveScreen(bool hasColor) : state_{std::make_unique<State>()} {
    int status = 0;
    if (setupterm(nullptr, STDOUT_FILENO, &status) != OK) throw std::runtime_error{failureText};
    TERMINAL* const early = cur_term;
    state_->undo.emplace(state_->wakePipe);
    state_->curses = newterm(nullptr, stdout, stdin);
    del_curterm(early);
    if (state_->curses == nullptr) throw std::runtime_error{failureText};
    state_->input.emplace();
    curs_set(0);
    refresh();
    if (hasColor) state_->depth = terminalColors();
    state_->writer.emplace(terminalCommands(state_->depth));
}

LiveScreen::~LiveScreen() {
    state_->input.reset();
    leave();
    state_->undo.reset();
    delscreen(state_->curses);
}

std::size_t LiveScreen::columns() const { return static_cast<std::size_t>(COLS); }

std::size_t LiveScreen::rows() const { return static_cast<std::size_t>(LINES); }

Characters LiveScreen::characters() const {
    return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0 ? Characters::unicode : Characters::ascii;
}

ColorDepth LiveScreen::colors() const { return state_->depth; }

void LiveScreen::draw(const std::vector<ScreenLine>& lines) {
    ScreenCells wanted{lines, columns(), rows(), state_->depth, characters()};
    writeAll(state_->shown ? state_->writer->change(*state_->shown, wanted) : state_->writer->all(wanted));
    state_->shown = std::move(wanted);
}

/// Shows what was there before the page.
void LiveScreen::leave() {
    // Where ncurses thinks that the cursor is.
    writeAll(state_->writer->moveTo(0, 0));
    endwin();
}

/// Shows the page again, or nothing where it must be drawn for another size first.
void LiveScreen::enterAgain() {
    takeSize();
    clearok(curscr, TRUE);
    refresh();
    State& state = *state_;
    if (state.shown && state.shown->columns() == columns() && state.shown->rows() == rows()) {
        writeAll(state.writer->all(*state.shown));
    } else {
        state.shown.reset();
    }
}

ScreenKey LiveScreen::taken(const ScreenKey& key) {
    state_->mayHaveMore = key.kind != ScreenKey::Kind::none;
    if (key.kind == ScreenKey::Kind::resized) state_->shown.reset();
    return key;
}

// The wait is not left to ncurses, which knows of no wake-up, and can't tell a terminal that has gone from one where
// nothing was typed.
ScreenKey LiveScreen::wait(std::chrono::milliseconds limit) {
    using Kind = ScreenKey::Kind;
    State& state = *state_;
    if (state.mayHaveMore) {
        const ScreenKey key = taken(state.input->next());
        if (key.kind != Kind::none) return key;
    }
    std::array waited{pollfd{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0},
                      pollfd{.fd = state.wakePipe.descriptor(), .events = POLLIN, .revents = 0}};
    constexpr std::int64_t longest = std::numeric_limits<int>::max();
    const int ready =
        poll(waited.data(), waited.size(), static_cast<int>(std::clamp<std::int64_t>(limit.count(), 0, longest)));
    if (state.undo->takeStop()) {
        leave();
        state.undo->stop();
        enterAgain();
        return {.kind = Kind::resized};
    }
    if (state.undo->takeResize()) {
        takeSize();
        return taken({.kind = Kind::resized});
    }
    if (ready <= 0) return {};
    if (waited[0].revents != 0) {
        // One that has gone is readable, too.
        return hasInput() ? taken(state.input->next()) : ScreenKey{.kind = Kind::closed};
    }
    return state.wakePipe.take() ? ScreenKey{.kind = Kind::woken} : ScreenKey{};
}

void LiveScreen::wake() { state_->wakePipe.wake(); }

void LiveScreen::suspended(const std::function<void()>& task) {
    leave();
    state_->undo->suspend();
    std::exception_ptr failure;
    try {
        task();
    } catch (...) {
        failure = std::current_exception();
    }
    state_->undo->resume();
    enterAgain();
    if (failure) std::rethrow_exception(failure);
}

bool LiveScreen::copy(std::string_view text) {
    const char* const type = std::getenv("TERM");
    const std::string command = clipboardCommand(text, type == nullptr ? "" : type);
    writeAll(command);
    return !command.empty();
}

}  // namespace KestrelCLI
