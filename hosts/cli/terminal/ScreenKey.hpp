#pragma once

#include "output/Terminal.hpp"
#include "terminal/ScreenColor.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace KestrelCLI {

/// A piece of a line of a full-screen page, in one look. The text must be escaped where it came from outside.
struct ScreenSpan {
    std::string text;
    Style style = Style::plain;
    ScreenColor foreground{};  ///< over what `style` says; none leaves it
    ScreenColor background{};
    bool isBold = false;      ///< these three also where the style has them not
    bool isReversed = false;  ///< the chosen one, also without colour
    bool isUnderlined = false;
};
using ScreenLine = std::vector<ScreenSpan>;

/// What happened at the terminal.
struct ScreenKey {
    enum class Kind {
        none,       ///< nothing within the time waited
        character,  ///< `character` was typed, control characters that have no kind of their own left out
        up,
        down,
        left,
        right,
        pageUp,
        pageDown,
        home,
        end,
        tab,
        backTab,  ///< Shift-Tab
        enter,
        escape,
        backspace,
        remove,       ///< Del
        click,        ///< at `row` and `column`
        doubleClick,  ///< likewise, soon after a click there, which was told of as one
        wheelUp,      ///< likewise
        wheelDown,
        woken,    ///< another thread asked for it, once or several times
        resized,  ///< the page must be drawn anew, also after the program was stopped and went on, and on Ctrl-L
        closed    ///< the terminal has gone
    };
    Kind kind = Kind::none;
    char32_t character = 0;
    std::size_t row = 0;  ///< from 0
    std::size_t column = 0;

    bool operator==(const ScreenKey&) const = default;
};

}  // namespace KestrelCLI
