#include "commands/SearchPhrases.hpp"

#include "store/AgeValue.hpp"
#include "store/SizeValue.hpp"

#include "KestrelCore/Base/Date.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <initializer_list>

// Bounds as people say them, word by word from the left:
//
//     [modified|size …]  sign | comparison [than]  value [unit]
//
// A value is looked for with the next word first, since a unit may stand by itself ("1 gb", "2 years").

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

bool isOneOf(std::string_view word, std::initializer_list<std::string_view> words) {
    return std::ranges::find(words, word) != words.end();
}

enum class Side { below, above };
struct Comparison {
    Side side;
    bool includesValue = false;  ///< "since 2023" includes 2023, "after 2023" does not
};

/// At the front of `text`, which it is taken from: ">", ">=", "=>", "<" and so on.
std::optional<Comparison> takeSign(std::string_view& text) {
    const std::size_t length = std::min(text.find_first_not_of("<>="), text.size());
    const std::string_view sign = text.substr(0, length);
    if (!isOneOf(sign, {">", ">>", ">=", "=>", "<", "<<", "<=", "=<"})) return std::nullopt;
    text.remove_prefix(length);
    return Comparison{.side = sign.find('>') == std::string_view::npos ? Side::below : Side::above,
                      .includesValue = sign.find('=') != std::string_view::npos};
}

std::optional<Comparison> timeComparison(std::string_view word) {
    if (isOneOf(word, {"older", "before", "earlier"})) return Comparison{.side = Side::below};
    if (isOneOf(word, {"newer", "younger", "after", "later"})) return Comparison{.side = Side::above};
    if (word == "since") return Comparison{.side = Side::above, .includesValue = true};
    return std::nullopt;
}

std::optional<Comparison> sizeComparison(std::string_view word) {
    if (isOneOf(word, {"larger", "bigger", "greater", "more", "over", "above"})) return Comparison{.side = Side::above};
    if (isOneOf(word, {"smaller", "less", "under", "below"})) return Comparison{.side = Side::below};
    return std::nullopt;
}

/// A value and how many words it takes.
struct Taken {
    std::string text;
    std::size_t words = 1;
};

/// A size with a unit, in small letters and decimal units as the language has them where it can: "1gb".
std::optional<Taken> sizeAt(const std::vector<std::string>& words, std::size_t at) {
    const auto isSize = [](const std::string& text) {
        return !text.empty() && text.back() >= 'a' && text.back() <= 'z' && parseSize(text).has_value();
    };
    if (at + 1 < words.size() && isSize(words[at] + words[at + 1])) return Taken{words[at] + words[at + 1], 2};
    if (at < words.size() && isSize(words[at])) return Taken{words[at], 1};
    return std::nullopt;
}

bool isTime(const std::string& text) { return parseTimeSpan(text, Date::now()).has_value(); }

std::optional<Taken> timeAt(const std::vector<std::string>& words, std::size_t at) {
    if (at + 1 < words.size()) {
        const std::string number = isOneOf(words[at], {"a", "an", "one"}) ? "1" : words[at];
        // "2 years" as an option takes it without quotes.
        if (isTime(number + words[at + 1])) return Taken{number + words[at + 1], 2};
    }
    if (at < words.size() && isTime(words[at])) return Taken{words[at], 1};
    return std::nullopt;
}

std::string timeFilter(const Comparison& comparison, const std::string& value) {
    const auto beside = comparison.includesValue ? timesBeside(value, Date::now()) : std::nullopt;
    if (comparison.side == Side::below) return "--older-than " + (beside ? beside->after : value);
    return "--newer-than " + (beside ? beside->before : value);
}

std::string sizeFilter(const Comparison& comparison, const std::string& value) {
    // Only the options know binary units and those above a terabyte.
    const bool isWord = isOneOf(value.substr(std::min(value.find_first_not_of("0123456789."), value.size())),
                                {"b", "kb", "mb", "gb", "tb"});
    if (isWord) return (comparison.side == Side::above ? ">" : "<") + value;
    return (comparison.side == Side::above ? "--min " : "--max ") + value;
}

/// After a sign: of what kind the bound is, the value says, unless a word before it did.
enum class Kind { any, time, size };

std::optional<BoundMeant> bound(const std::vector<std::string>& words, std::size_t at, Kind kind,
                                const Comparison& comparison, std::size_t before) {
    if (kind != Kind::time) {
        if (const auto size = sizeAt(words, at))
            return BoundMeant{sizeFilter(comparison, size->text), before + size->words, true};
    }
    if (kind != Kind::size) {
        if (const auto time = timeAt(words, at))
            return BoundMeant{timeFilter(comparison, time->text), before + time->words, true};
    }
    return std::nullopt;
}

/// "larger than 1gb", "older 1y", "since 2023"; "than" may be missing.
std::optional<BoundMeant> spoken(const std::vector<std::string>& words, std::size_t first) {
    const auto time = timeComparison(words[first]);
    const auto comparison = time ? time : sizeComparison(words[first]);
    if (!comparison) return std::nullopt;
    const bool hasThan = first + 1 < words.size() && words[first + 1] == "than";
    const std::size_t before = hasThan ? 2 : 1;
    if (auto meant = bound(words, first + before, time ? Kind::time : Kind::size, *comparison, before)) return meant;
    const bool isAbove = comparison->side == Side::above;
    // "more", "over" and the like are words of names as well, and mean nothing without a value.
    if (time && !isOneOf(words[first], {"older", "newer"})) return std::nullopt;
    if (!time && !isOneOf(words[first], {"larger", "bigger", "smaller"})) return std::nullopt;
    const std::string example = time ? (isAbove ? "--newer-than 7d" : "--older-than 1y") : (isAbove ? ">1gb" : "<1mb");
    return BoundMeant{example, before, hasThan};
}

/// "> 1 gb", ">1 gb", "modified > 2023", "size>=1gb": a sign at the front of a word, or behind a name in one.
std::optional<BoundMeant> signedBound(const std::vector<std::string>& words, std::size_t first) {
    const std::string_view word = words[first];
    const std::size_t nameLength = std::min(word.find_first_of("<>="), word.size());
    const std::string_view name = word.substr(0, nameLength);
    Kind kind = namesTime(name) ? Kind::time : namesSize(name) ? Kind::size : Kind::any;
    if (!name.empty() && kind == Kind::any) return std::nullopt;
    std::vector<std::string> rest{std::string{word.substr(nameLength)}};
    // The sign, the value and its unit: no more words can belong to it.
    for (std::size_t i = first + 1; i < std::min(first + 4, words.size()); ++i) rest.push_back(words[i]);
    const bool isParted = rest.front().empty();  // the sign stands in the next word
    if (isParted) rest.erase(rest.begin());
    if (rest.empty()) return std::nullopt;
    std::string_view value = rest.front();
    auto comparison = takeSign(value);
    if (!comparison) return std::nullopt;
    // An age is the larger the longer ago.
    if (name == "age") comparison->side = comparison->side == Side::above ? Side::below : Side::above;
    const bool isSignAlone = value.empty();
    if (isSignAlone) {
        rest.erase(rest.begin());
    } else {
        rest.front() = value;
    }
    const std::size_t before = (isParted ? 1U : 0U) + (isSignAlone ? 1U : 0U);
    return bound(rest, 0, kind, *comparison, before);
}

}  // namespace

bool namesTime(std::string_view word) {
    return isOneOf(word, {"modified", "mtime", "changed", "date", "time", "age", "year"});
}

bool namesSize(std::string_view word) { return isOneOf(word, {"size", "bytes", "length"}); }

std::optional<BoundMeant> boundMeant(const std::vector<std::string>& words, std::size_t first) {
    if (auto meant = spoken(words, first)) return meant;
    return signedBound(words, first);
}

std::optional<std::string> withinTime(std::string_view value) {
    const Date now = Date::now();
    if (const auto beside = timesBeside(value, now))
        return fmt::format("--newer-than {} --older-than {}", beside->before, beside->after);
    if (value == "today") return "--newer-than yesterday";
    if (value == "yesterday") return "--newer-than 2d --older-than today";
    if (!parseTimeSpan(value, now)) return std::nullopt;
    return fmt::format("--newer-than {}", value);
}

}  // namespace KestrelCLI
