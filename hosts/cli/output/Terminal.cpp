#include "output/Terminal.hpp"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

namespace KestrelCLI {

namespace {

constexpr std::size_t fewestColumns = 20;
constexpr std::size_t usualColumns = 80;

/// The basic colours only: how they look is the choice of whoever set up the terminal. Empty for what stays plain.
std::string_view sequence(Style style) {
    switch (style) {
    case Style::heading: return "\x1b[1m";
    case Style::folder: return "\x1b[1m";
    case Style::quiet: return "\x1b[2m";
    case Style::bar: return "\x1b[35m";
    case Style::warning: return "\x1b[35m";
    case Style::bad: return "\x1b[31m";
    case Style::selected: return "\x1b[7m";
    case Style::match: return "\x1b[1;31m";
    // What went well is what is expected.
    case Style::good:
    case Style::plain:
    case Style::file: break;
    }
    return {};
}

/// The variables that say which characters there are, the first that is set and not empty holding.
bool isUTF8Locale() {
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* const value = std::getenv(name);
        if (value == nullptr || *value == '\0') continue;
        std::string locale{value};
        std::ranges::transform(locale, locale.begin(),
                               [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
        return locale.find("utf-8") != std::string::npos || locale.find("utf8") != std::string::npos;
    }
    return false;
}

bool isDumbTerminal() {
    const char* const type = std::getenv("TERM");
    return type != nullptr && std::string_view{type} == "dumb";
}

}  // namespace

// Each stream by itself: any of the three may be redirected, and each decides something else.
Terminal Terminal::ofThisProcess() {
    return {.isInput = isatty(STDIN_FILENO) == 1,
            .isOutput = isatty(STDOUT_FILENO) == 1,
            .isMessages = isatty(STDERR_FILENO) == 1,
            .isASCII = !isUTF8Locale() || (isatty(STDOUT_FILENO) == 1 && isDumbTerminal()),
            .isDumb = isDumbTerminal(),
            .columns = currentColumns()};
}

std::size_t Terminal::currentColumns() {
    // Standard error too: the progress line is drawn there while the results go into a file.
    for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) {
        winsize size{};
        // A terminal that has not been told its width says 0.
        if (ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
            return std::max<std::size_t>(size.ws_col, fewestColumns);
        }
    }
    return usualColumns;
}

std::string painted(Style style, std::string_view text, bool hasColor) {
    const std::string_view begin = sequence(style);
    if (!hasColor || begin.empty()) return std::string{text};
    std::string out{begin};
    out += text;
    // Each piece ends its own style: a line that another program takes apart colours nothing behind it.
    out += "\x1b[0m";
    return out;
}

std::string bar(double fraction, std::size_t columns) {
    // A character cell has eight steps of filling, so that small differences show in short bars.
    static constexpr std::array partial{"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
    const double clamped = std::isnan(fraction) ? 0 : std::clamp(fraction, 0.0, 1.0);
    const auto eighths = static_cast<std::size_t>(std::lround(clamped * static_cast<double>(columns) * 8));
    std::string out;
    for (std::size_t column = 0; column < eighths / 8; ++column) out += "█";
    out += partial[eighths % 8];
    const std::size_t used = eighths / 8 + (eighths % 8 > 0 ? 1 : 0);
    out.append(columns - used, ' ');
    return out;
}

}  // namespace KestrelCLI
