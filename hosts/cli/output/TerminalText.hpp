#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace KestrelCLI {

/// Texts from outside (names, paths, messages, arguments) as they may be shown to a person.
class TerminalText {
public:
    TerminalText() = delete;

    /// Whether a terminal would obey the character instead of showing it, or show nothing: control characters (Cc),
    /// line and paragraph separators, format characters (Cf, such as changes of direction and tags), and what Unicode
    /// lets programs leave out where they don't know it (variation selectors, joiners, fillers).
    [[nodiscard]] static bool isHidden(char32_t scalar);

    /// One line that shows what `text` holds and commands the terminal nothing: hidden characters become visible
    /// escapes (\n, \x1b, \u{202e}), bytes that are not UTF-8 become \xNN, and a backslash becomes two, so that no two
    /// texts look alike.
    [[nodiscard]] static std::string escaped(std::string_view text);

    /// How many columns `text` (already escaped) takes: wide East Asian characters and emoji two, combining marks none.
    [[nodiscard]] static std::size_t width(std::string_view text);

    /// `text` cut to at most `columns`: the middle gives way to "…", so that the beginning and the end of a path stay.
    [[nodiscard]] static std::string shortened(std::string_view text, std::size_t columns);

    /// `text` followed (or with `right`, preceded) by the blanks that fill `columns`.
    [[nodiscard]] static std::string padded(std::string_view text, std::size_t columns, bool right = false);
};

}  // namespace KestrelCLI
