#include "store/AgeValue.hpp"

#include "output/Session.hpp"
#include "output/Times.hpp"
#include "store/When.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <variant>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

constexpr std::size_t dayLength = 10;  ///< of "2023-05-31"

/// The last moment of a day, a minute or a second; absent where no calendar has it.
std::optional<Date> end(const std::string& text, Date now) {
    const auto when = parseWhen(text, now);
    return when && std::holds_alternative<Date>(*when) ? std::optional{std::get<Date>(*when)} : std::nullopt;
}

/// The first moment of a day: a second is named with its fraction's end.
std::optional<Date> beginOfDay(const std::string& day, Date now) {
    const auto date = end(day + " 00:00:00", now);
    return date ? std::optional{date->addingSeconds(-0.999)} : std::nullopt;
}

/// From one day to the end of the day before another, since months differ.
std::optional<TimeSpan> days(const std::string& first, const std::string& next, Date now) {
    const auto begin = beginOfDay(first, now);
    const auto after = beginOfDay(next, now);
    if (!begin || !after) return std::nullopt;
    return TimeSpan{.begin = *begin, .end = after->addingSeconds(-0.001)};
}

/// Digits, but for a dash at place 4.
bool isYearOrMonth(std::string_view text) {
    if (text.size() != 4 && (text.size() != 7 || text[4] != '-')) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i != 4 && (text[i] < '0' || text[i] > '9')) return false;
    }
    return text >= "1900" && text < "2200";
}

/// "2 years" as "2y", "30days" as "30d"; any other text as it is.
std::string withShortUnit(std::string_view text) {
    struct Unit {
        std::string_view word;
        std::string_view sign;
    };
    static constexpr std::array units{Unit{"minute", "min"}, Unit{"hour", "h"},   Unit{"day", "d"},
                                      Unit{"week", "w"},     Unit{"month", "mo"}, Unit{"year", "y"}};
    const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    std::string_view unit = text.substr(digits);
    while (unit.starts_with(' ')) unit.remove_prefix(1);
    if (digits == 0) return std::string{text};
    for (const Unit& each : units) {
        const bool isMany = unit.size() == each.word.size() + 1 && unit.ends_with('s');
        if (unit == each.sign || unit == each.word || (isMany && unit.starts_with(each.word)))
            return std::string{text.substr(0, digits)}.append(each.sign);
    }
    return std::string{text};
}

}  // namespace

std::optional<TimeSpan> parseTimeSpan(std::string_view written, Date now) {
    constexpr double secondsOfMonth = 30 * 86'400;
    const std::string whole = withShortUnit(written);
    const std::string_view text = whole;
    if (isYearOrMonth(text)) {
        const int year = std::stoi(whole.substr(0, 4));
        if (text.size() == 4) return days(fmt::format("{}-01-01", year), fmt::format("{}-01-01", year + 1), now);
        const int month = std::stoi(whole.substr(5));
        if (month < 1 || month > 12) return std::nullopt;
        const int nextYear = month == 12 ? year + 1 : year;
        return days(whole + "-01", fmt::format("{:04}-{:02}-01", nextYear, month % 12 + 1), now);
    }
    if (text.ends_with("mo")) {
        // A count of days is read like one of months, and then multiplied.
        const auto days = end(whole.substr(0, text.size() - 2) + 'd', now);
        if (!days) return std::nullopt;
        const double count = (now.secondsSinceReferenceDate - days->secondsSinceReferenceDate) / 86'400;
        const Date date = now.addingSeconds(-count * secondsOfMonth);
        return TimeSpan{.begin = date, .end = date};
    }
    if (text == "today") {
        const auto yesterday = end("yesterday", now);
        return yesterday ? std::optional{TimeSpan{.begin = yesterday->addingSeconds(0.001), .end = now}} : std::nullopt;
    }
    const auto last = end(whole, now);
    if (!last) return std::nullopt;
    if (text == "yesterday") return TimeSpan{.begin = last->addingSeconds(-86'399.999), .end = *last};
    if (text.find('-') != std::string_view::npos && text.size() == dayLength)
        return TimeSpan{.begin = beginOfDay(whole, now).value_or(*last), .end = *last};
    return TimeSpan{.begin = *last, .end = *last};
}

TimeSpan timeSpanOption(std::string_view text, Date now) {
    if (const auto span = parseTimeSpan(text, now)) return *span;
    throw UsageError{fmt::format("“{}” is no age and no date; 30d, 6mo, 1y, 2023 and 2023-05-31 are.", text)};
}

std::optional<TimesBeside> timesBeside(std::string_view text, Date now) {
    const bool isDay = text.size() == dayLength && text.find('-') == 4;
    if (!isYearOrMonth(text) && !isDay) return std::nullopt;
    const auto span = parseTimeSpan(text, now);
    if (!span) return std::nullopt;
    // A few hours away from it, whatever clocks were put forward or back meanwhile.
    constexpr double hours = 4 * 3600;
    return TimesBeside{.before = localTime(span->begin.addingSeconds(-hours)).substr(0, text.size()),
                       .after = localTime(span->end.addingSeconds(hours)).substr(0, text.size())};
}

}  // namespace KestrelCLI
