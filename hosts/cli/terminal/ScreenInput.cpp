#include "terminal/ScreenInput.hpp"

#include <curses.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <vector>

namespace KestrelCLI {

namespace {

using Kind = ScreenKey::Kind;
using namespace std::chrono_literals;

constexpr mmask_t mouseEvents = BUTTON1_PRESSED | BUTTON4_PRESSED | BUTTON5_PRESSED;

/// Two presses at one place within it are a double click.
constexpr auto doubleClickTime = 400ms;

/// Milliseconds in which the rest of a key's sequence comes, also from far away; short enough for Esc alone.
constexpr int escapeDelay = 25;

struct KeySequence {
    const char* sequence;
    int code;
};
/// What terminals send for a key beside what their descriptions say: those are often of another kind of terminal.
constexpr std::array otherSequences{
    KeySequence{"\x1b[A", KEY_UP},   KeySequence{"\x1bOA", KEY_UP},     KeySequence{"\x1b[B", KEY_DOWN},
    KeySequence{"\x1bOB", KEY_DOWN}, KeySequence{"\x1b[C", KEY_RIGHT},  KeySequence{"\x1bOC", KEY_RIGHT},
    KeySequence{"\x1b[D", KEY_LEFT}, KeySequence{"\x1bOD", KEY_LEFT},   KeySequence{"\x1b[H", KEY_HOME},
    KeySequence{"\x1bOH", KEY_HOME}, KeySequence{"\x1b[1~", KEY_HOME},  KeySequence{"\x1b[7~", KEY_HOME},
    KeySequence{"\x1b[F", KEY_END},  KeySequence{"\x1bOF", KEY_END},    KeySequence{"\x1b[4~", KEY_END},
    KeySequence{"\x1b[8~", KEY_END}, KeySequence{"\x1b[5~", KEY_PPAGE}, KeySequence{"\x1b[6~", KEY_NPAGE},
    KeySequence{"\x1b[3~", KEY_DC},  KeySequence{"\x1b[Z", KEY_BTAB},   KeySequence{"\x1bOM", KEY_ENTER}};

/// A key that ncurses has a number for.
ScreenKey functionKey(wint_t code) {
    switch (code) {
    case KEY_RESIZE: return {.kind = Kind::resized};
    case KEY_UP: return {.kind = Kind::up};
    case KEY_DOWN: return {.kind = Kind::down};
    case KEY_LEFT: return {.kind = Kind::left};
    case KEY_RIGHT: return {.kind = Kind::right};
    case KEY_PPAGE: return {.kind = Kind::pageUp};
    case KEY_NPAGE: return {.kind = Kind::pageDown};
    case KEY_FIND:
    case KEY_HOME: return {.kind = Kind::home};
    case KEY_SELECT:
    case KEY_END: return {.kind = Kind::end};
    case KEY_BTAB: return {.kind = Kind::backTab};
    case KEY_ENTER: return {.kind = Kind::enter};
    case KEY_BACKSPACE: return {.kind = Kind::backspace};
    case KEY_DC: return {.kind = Kind::remove};
    default: return {};
    }
}

ScreenKey characterKey(wint_t character) {
    switch (character) {
    case L'\t': return {.kind = Kind::tab};
    case L'\n':
    case L'\r': return {.kind = Kind::enter};
    case 0x0C: return {.kind = Kind::resized};  // Ctrl-L
    case 0x1B: return {.kind = Kind::escape};
    case 0x08:
    case 0x7F: return {.kind = Kind::backspace};
    default: break;
    }
    if (character < 0x20) return {};
    return {.kind = Kind::character, .character = static_cast<char32_t>(character)};
}

}  // namespace

ScreenInput::ScreenInput() : pad_{newpad(1, 1)} {
    cbreak();
    noecho();
    keypad(pad_, TRUE);
    wtimeout(pad_, 0);  // whatever is there is taken, nothing is waited for
    if (std::getenv("ESCDELAY") == nullptr) set_escdelay(escapeDelay);
    for (const KeySequence& each : otherSequences) {
        if (key_defined(each.sequence) == 0) define_key(each.sequence, each.code);
    }
    mousemask(mouseEvents, nullptr);
    mouseinterval(0);  // a press is a click: nothing waits for a second one
}

ScreenInput::~ScreenInput() {
    mousemask(0, nullptr);
    delwin(pad_);
}

/// What came together is told of together; ncurses gives the last first.
void ScreenInput::takeMouse(Clock::time_point now) {
    std::vector<MEVENT> events;
    for (MEVENT event{}; getmouse(&event) == OK;) events.push_back(event);
    std::ranges::reverse(events);
    for (const MEVENT& event : events) waiting_.push_back(mouseKey(event, now));
}

ScreenKey ScreenInput::mouseKey(const MEVENT& event, Clock::time_point now) {
    ScreenKey key{.kind = Kind::click,
                  .character = 0,
                  .row = static_cast<std::size_t>(std::max(0, event.y)),
                  .column = static_cast<std::size_t>(std::max(0, event.x))};
    if ((event.bstate & (BUTTON4_PRESSED | BUTTON5_PRESSED)) != 0) {
        key.kind = (event.bstate & BUTTON4_PRESSED) != 0 ? Kind::wheelUp : Kind::wheelDown;
        return key;
    }
    if (lastClick_ == key && now - lastClickTime_ <= doubleClickTime) {
        lastClick_.reset();  // a third one begins anew
        key.kind = Kind::doubleClick;
        return key;
    }
    lastClick_ = key;
    lastClickTime_ = now;
    return key;
}

ScreenKey ScreenInput::next(Clock::time_point now) {
    wint_t code = 0;
    const int kind = waiting_.empty() ? wget_wch(pad_, &code) : ERR;
    if (kind == OK) return characterKey(code);
    if (kind == KEY_CODE_YES && code != KEY_MOUSE) return functionKey(code);
    if (kind == KEY_CODE_YES) takeMouse(now);
    if (waiting_.empty()) return {};
    const ScreenKey key = waiting_.front();
    waiting_.pop_front();
    return key;
}

}  // namespace KestrelCLI
