#include "terminal/ScreenTerminfo.hpp"

#include <fmt/format.h>

#include <curses.h>
#include <term.h>
// Names of capabilities, which that header makes macros of.
#undef bell
#undef columns
#undef lines

#include <array>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace KestrelCLI {

namespace {

constexpr int allIndexed = 256;

std::string_view environment(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string_view{} : std::string_view{value};
}

const char* capability(const char* name) {
    const char* const value = tigetstr(name);
    return value == reinterpret_cast<const char*>(-1) ? nullptr : value;
}

/// A command with its numbers filled in, as `tparm` gives it; waiting times, which only old hardware needs, left out.
std::string withoutDelays(const char* command) {
    std::string out;
    for (std::string_view rest = command == nullptr ? "" : command; !rest.empty();) {
        const std::size_t end = rest.starts_with("$<") ? rest.find('>') : std::string_view::npos;
        if (end == std::string_view::npos) {
            out += rest.front();
            rest.remove_prefix(1);
        } else {
            rest.remove_prefix(end + 1);
        }
    }
    return out;
}

std::string command(const char* name) { return withoutDelays(capability(name)); }

/// How a colour is set. Each is asked for often and there are few, so they are kept.
std::function<std::string(ScreenColor)> colorCommand(const char* name, int extended, bool isPlainIndexed) {
    const auto known = std::make_shared<std::map<ScreenColor, std::string>>();
    return [=](ScreenColor color) {
        const auto [at, isNew] = known->try_emplace(color);
        if (!isNew) return at->second;
        if (!color.isIndexed()) {
            const ScreenColor::Parts parts = color.parts();
            at->second = fmt::format("\x1b[{};2;{};{};{}m", extended, parts.red, parts.green, parts.blue);
            // Descriptions with all colours have no numbers for these.
        } else if (isPlainIndexed) {
            at->second = fmt::format("\x1b[{};5;{}m", extended, color.index());
        } else if (const char* const text = capability(name); text != nullptr) {
            at->second = withoutDelays(
                tparm(const_cast<char*>(text), static_cast<long>(color.index()), 0L, 0L, 0L, 0L, 0L, 0L, 0L, 0L));
        }
        if (known->size() > 4096) {
            std::string out = std::move(at->second);
            known->clear();
            return out;
        }
        return at->second;
    };
}

}  // namespace

ColorDepth terminalColors() {
    const int count = tigetnum("colors");
    if (count < 8 || capability("setaf") == nullptr || capability("setab") == nullptr) return ColorDepth::none;
    if (count < 16) return ColorDepth::eight;
    if (count < allIndexed) return ColorDepth::sixteen;
    const std::string_view said = environment("COLORTERM");
    // A terminal in a terminal hands the variable on, and this one hands the colours on wrongly.
    const bool isMultiplexer = environment("TERM").starts_with("screen") && environment("TMUX").empty();
    const bool saysDirect = (said == "truecolor" || said == "24bit") && !isMultiplexer;
    const bool isDescribedSo = count > allIndexed || tigetflag("RGB") > 0 || tigetflag("Tc") > 0;
    return saysDirect || isDescribedSo ? ColorDepth::direct : ColorDepth::indexed;
}

ScreenCommands terminalCommands(ColorDepth depth) {
    const bool isPlainIndexed = depth == ColorDepth::direct && tigetnum("colors") > allIndexed;
    const bool wraps = tigetflag("am") > 0;
    const bool wrapsLate = tigetflag("xenl") > 0;
    return {.moveTo =
                [moveCursor = std::string{capability("cup")}](std::size_t row, std::size_t column) {
                    return withoutDelays(tparm(const_cast<char*>(moveCursor.c_str()), static_cast<long>(row),
                                               static_cast<long>(column), 0L, 0L, 0L, 0L, 0L, 0L, 0L));
                },
            .foreground = colorCommand("setaf", 38, isPlainIndexed),
            .background = colorCommand("setab", 48, isPlainIndexed),
            .clear = command("clear"),
            .clearToEndOfLine = command("el"),
            .plain = command("sgr0"),
            .bold = command("bold"),
            .dim = command("dim"),
            .reversed = command("rev"),
            .underlined = command("smul"),
            .hasLastCell = !wraps || wrapsLate};
}

}  // namespace KestrelCLI
