#include "commands/OptionValue.hpp"

#include "commands/Suggestion.hpp"
#include "output/Session.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
#include <system_error>
#include <vector>

// Numbers are read by `from_chars` and never by the standard streams or CLI11: the locale has no say, blanks and signs
// are no digits, and what does not fit is an error and no other number.

namespace KestrelCLI {

namespace {

/// That the text is none of the names, and which of them was probably meant.
std::string noneOf(std::string_view text, const std::vector<std::string>& names) {
    const std::string problem = fmt::format("“{}” is none of {}.", text, fmt::join(names, ", "));
    const std::string meant = didYouMeanOneOf(text, names);
    return meant.empty() ? problem : problem + ' ' + meant;
}

}  // namespace

CLI::Validator wholeNumber(std::int64_t most) {
    const auto problem = [most](std::string& text) -> std::string {
        const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
        if (text.empty() || !std::ranges::all_of(text, isDigit)) {
            return fmt::format("“{}” is not a whole number, 0 or more", text);
        }
        std::int64_t number = 0;
        const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc{} || number > most) return fmt::format("“{}” is more than {}", text, most);
        // Without leading zeros, in which CLI11 would see an octal number.
        text = std::to_string(number);
        return {};
    };
    return CLI::Validator{problem, "", "whole number"};
}

CLI::Validator oneOf(const std::map<std::string, std::int64_t>& numbers) {
    const auto problem = [numbers](std::string& text) -> std::string {
        std::vector<std::string> names;
        for (const auto& [name, number] : numbers) {
            if (lowercasedASCII(name) == lowercasedASCII(text)) {
                text = std::to_string(number);
                return {};
            }
            names.push_back(name);
        }
        return noneOf(text, names);
    };
    return CLI::Validator{problem, "", "one of a few names"};
}

CLI::Validator oneOf(const std::vector<std::string>& names) { return oneOf(names, {}); }

CLI::Validator oneOf(const std::vector<std::string>& names, const std::map<std::string, std::string>& synonyms) {
    const auto problem = [names, synonyms](std::string& text) -> std::string {
        if (const auto synonym = synonyms.find(lowercasedASCII(text)); synonym != synonyms.end()) {
            text = synonym->second;
            return {};
        }
        for (const std::string& name : names) {
            if (lowercasedASCII(name) == lowercasedASCII(text)) {
                text = name;
                return {};
            }
        }
        return noneOf(text, names);
    };
    return CLI::Validator{problem, "", "one of a few names"};
}

std::optional<Seconds> parseInterval(std::string_view text) {
    double value = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value, std::chars_format::fixed);
    if (error != std::errc{}) return std::nullopt;
    // What is left behind the digits must be a unit and nothing else.
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
    // Far more than anybody waits for, and far from what clocks can count. "nan" fails the test as it is written.
    constexpr double year = 366 * 86'400;
    if (!(value > 0 && value <= year)) return std::nullopt;
    return Seconds{value};
}

Seconds intervalOption(std::string_view text) {
    if (const auto interval = parseInterval(text)) return *interval;
    throw UsageError{fmt::format("“{}” is no interval; 1s, 500ms, 2m and 1h are.", text)};
}

}  // namespace KestrelCLI
