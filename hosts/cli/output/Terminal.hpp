#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace KestrelCLI {

/// What a text is, from which its colour follows.
///
/// Every one can be read on a black and on a white screen: blue can't on black, yellow, green and cyan can't on white.
enum class Style { plain, heading, folder, file, quiet, bar, good, warning, bad, match, selected };

/// What is known of the three standard streams. A value: tests state what they need.
struct Terminal {
    bool isInput = false;     ///< standard input is a terminal, so a person can answer
    bool isOutput = false;    ///< standard output is one
    bool isMessages = false;  ///< standard error is one
    /// Only ASCII can be shown: the locale's characters are not UTF-8, or it is a terminal of the kind "dumb".
    bool isASCII = false;
    bool isDumb = false;       ///< nothing that was written can be drawn over
    std::size_t columns = 80;  ///< width for shown results and progress; at least 20

    /// Asks the system, for whether it shows UTF-8 the environment alone: a locale that is named there may not be
    /// installed, as on another machine that one has logged in to, and the terminal still shows what it says.
    [[nodiscard]] static Terminal ofThisProcess();
    /// The width asked afresh, for what redraws itself.
    [[nodiscard]] static std::size_t currentColumns();
};

/// Wraps `text` in the escape sequences of `style`; returns it as it is without colour.
[[nodiscard]] std::string painted(Style style, std::string_view text, bool hasColor);

/// A bar of `columns` columns, filled to `fraction` (clamped to 0…1) in eighths of a column.
[[nodiscard]] std::string bar(double fraction, std::size_t columns);

}  // namespace KestrelCLI
