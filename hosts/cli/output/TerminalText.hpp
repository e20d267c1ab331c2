#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCLI {

/// What can be shown: all that Unicode has, or where the locale is another one only ASCII.
enum class Characters { unicode, ascii };

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
    /// texts look alike. Where only ASCII can be shown every other character is an escape, too.
    [[nodiscard]] static std::string escaped(std::string_view text, Characters characters = Characters::unicode);

    /// How many columns `text` (already escaped) takes: wide East Asian characters and emoji two, combining marks none.
    [[nodiscard]] static std::size_t width(std::string_view text);

    /// `text` cut to at most `columns`: the middle gives way to "…" (or "..." where only ASCII can be shown), so that
    /// the beginning and the end of a path stay.
    [[nodiscard]] static std::string shortened(std::string_view text, std::size_t columns,
                                               Characters characters = Characters::unicode);

    /// `text` (already escaped) in pieces of at most `columns` each, as far as its characters are not wider; one after
    /// the other they are the text again. A path (from "/" or "~" on) is parted behind a slash where that fills half of
    /// the line, else behind a blank, all else the other way round; where there is neither, wherever the line is full.
    /// An empty text is one empty piece. The pieces refer to `text`.
    [[nodiscard]] static std::vector<std::string_view> wrapped(std::string_view text, std::size_t columns);

    /// `text` followed (or with `right`, preceded) by the blanks that fill `columns`.
    [[nodiscard]] static std::string padded(std::string_view text, std::size_t columns, bool right = false);
};

}  // namespace KestrelCLI
