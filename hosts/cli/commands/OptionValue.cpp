#include "commands/OptionValue.hpp"

#include "commands/Suggestion.hpp"
#include "output/LeadingNumber.hpp"
#include "output/Session.hpp"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>
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

// CLI11 keeps nothing of ours with an option but validators, and of these a name that it shows nowhere: there stands
// what the value is, behind one of two marks.
constexpr std::string_view kindMark = "kind ";
constexpr std::string_view wordsMark = "words ";
constexpr char wordsSeparator = '|';

std::string wordsName(const std::vector<std::string>& names) {
    return fmt::format("{}{}", wordsMark, fmt::join(names, std::string_view{&wordsSeparator, 1}));
}

ValueCheck marked(std::string name) {
    return {[](std::string&) { return std::string{}; }, std::move(name)};
}

/// The rest of the name of the first validator that begins with the mark.
std::optional<std::string> behindMark(CLI::Option& option, std::string_view mark) {
    // CLI11 has no count of them, and throws behind the last.
    try {
        for (int index = 0;; ++index) {
            const std::string& name = option.get_validator(index)->get_name();
            if (name.starts_with(mark)) return name.substr(mark.size());
        }
    } catch (const CLI::OptionNotFound&) {
        return std::nullopt;
    }
}

}  // namespace

ValueCheck takes(ValueKind kind) { return marked(fmt::format("{}{}", kindMark, static_cast<int>(kind))); }

ValueCheck takesSuchAs(const std::vector<std::string>& words) { return marked(wordsName(words)); }

std::vector<std::string> usualAges() { return {"7d", "30d", "6mo", "1y", "today", "yesterday"}; }

std::vector<std::string> usualSizes() { return {"1MB", "10MB", "100MB", "1GB", "10GB"}; }

ValueKind kindOf(CLI::Option& option) {
    const auto number = behindMark(option, kindMark);
    return number ? static_cast<ValueKind>(std::stoi(*number)) : ValueKind::text;
}

std::vector<std::string> usualWords(CLI::Option& option) {
    std::vector<std::string> words;
    std::istringstream rest{behindMark(option, wordsMark).value_or("")};
    for (std::string word; std::getline(rest, word, wordsSeparator);) words.push_back(word);
    return words;
}

ValueCheck wholeNumber(std::int64_t most) {
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
    return {problem, "whole number"};
}

ValueCheck oneOf(const std::map<std::string, std::int64_t>& numbers) {
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
    std::vector<std::string> names;
    for (const auto& [name, number] : numbers) names.push_back(name);
    return {problem, wordsName(names)};
}

ValueCheck oneOf(const std::vector<std::string>& names) { return oneOf(names, {}); }

ValueCheck oneOf(const std::vector<std::string>& names, const std::map<std::string, std::string>& synonyms) {
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
    return {problem, wordsName(names)};
}

std::optional<Seconds> parseInterval(std::string_view text) {
    const auto number = leadingNumber(text);
    if (!number) return std::nullopt;
    // What is left behind the digits must be a unit and nothing else.
    auto [value, unit] = *number;
    if (unit == "ms") {
        value /= 1000;
    } else if (unit == "m") {
        value *= 60;
    } else if (unit == "h") {
        value *= 3600;
    } else if (unit != "s" && !unit.empty()) {
        return std::nullopt;
    }
    // Far more than anybody waits for, and far from what clocks can count.
    constexpr double year = 366 * 86'400;
    if (value <= 0 || value > year) return std::nullopt;
    return Seconds{value};
}

Seconds intervalOption(std::string_view text) {
    if (const auto interval = parseInterval(text)) return *interval;
    throw UsageError{fmt::format("“{}” is no interval; 1s, 500ms, 2m and 1h are.", text)};
}

}  // namespace KestrelCLI
