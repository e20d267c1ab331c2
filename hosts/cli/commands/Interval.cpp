#include "commands/Interval.hpp"

#include "output/Session.hpp"

#include <fmt/format.h>

#include <charconv>

namespace KestrelCLI {

std::optional<Seconds> parseInterval(std::string_view text) {
    double value = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value, std::chars_format::fixed);
    if (error != std::errc{}) return std::nullopt;
    const std::string_view unit{rest, static_cast<std::size_t>(end - rest)};
    if (unit == "ms") {
        value /= 1000;
    } else if (unit == "m") {
        value *= 60;
    } else if (unit == "h") {
        value *= 3600;
    } else if (unit != "s" && !unit.empty()) {
        return std::nullopt;
    }
    constexpr double year = 366 * 86'400;
    if (!(value > 0 && value <= year)) return std::nullopt;
    return Seconds{value};
}

Seconds intervalOption(std::string_view text) {
    if (const auto interval = parseInterval(text)) return *interval;
    throw UsageError{fmt::format("“{}” is no interval; 1s, 500ms, 2m and 1h are.", text)};
}

}  // namespace KestrelCLI
