#include "store/When.hpp"

#include "output/Session.hpp"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <ctime>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// A whole number that is all of the text; digits only.
std::optional<std::int64_t> number(std::string_view text) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || text.starts_with('-')) return std::nullopt;
    return value;
}

std::optional<Date> ago(std::string_view text, Date now) {
    struct Unit {
        std::string_view name;
        double seconds;
    };
    static constexpr std::array units{Unit{"min", 60}, Unit{"h", 3600}, Unit{"d", 86'400}, Unit{"w", 7 * 86'400},
                                      Unit{"y", 365 * 86'400}};
    for (const Unit& unit : units) {
        if (!text.ends_with(unit.name)) continue;
        if (const auto count = number(text.substr(0, text.size() - unit.name.size())))
            return now.addingSeconds(-static_cast<double>(*count) * unit.seconds);
    }
    return std::nullopt;
}

/// Takes `digits` digits from the front of the text.
bool take(std::string_view& text, std::size_t digits, int& value) {
    value = 0;
    if (text.size() < digits) return false;
    for (const char c : text.substr(0, digits)) {
        if (c < '0' || c > '9') return false;
        value = value * 10 + (c - '0');
    }
    text.remove_prefix(digits);
    return true;
}

bool take(std::string_view& text, std::string_view any) {
    if (text.empty() || any.find(text.front()) == std::string_view::npos) return false;
    text.remove_prefix(1);
    return true;
}

/// The moment that the calendar fields name; empty where the calendar changed one of them, such as the 31st of June.
std::optional<Date> moment(std::tm fields, bool isUTC) {
    const std::tm wanted = fields;
    fields.tm_isdst = -1;
    const std::time_t seconds = isUTC ? timegm(&fields) : mktime(&fields);
    const bool isSame =
        fields.tm_year == wanted.tm_year && fields.tm_mon == wanted.tm_mon && fields.tm_mday == wanted.tm_mday;
    if (!isSame) return std::nullopt;
    return Date::since1970(static_cast<double>(seconds));
}

std::optional<Date> point(std::string_view text) {
    std::tm fields{};
    if (!take(text, 4, fields.tm_year) || !take(text, "-") || !take(text, 2, fields.tm_mon) || !take(text, "-") ||
        !take(text, 2, fields.tm_mday))
        return std::nullopt;
    fields.tm_year -= 1900;
    fields.tm_mon -= 1;
    if (text.empty()) {
        // All of that day.
        fields.tm_hour = 23;
        fields.tm_min = fields.tm_sec = 59;
        const auto last = moment(fields, false);
        return last ? std::optional{last->addingSeconds(0.999)} : std::nullopt;
    }
    if (!take(text, "T ") || !take(text, 2, fields.tm_hour) || !take(text, ":") || !take(text, 2, fields.tm_min))
        return std::nullopt;
    const bool hasSeconds = take(text, ":");
    if (hasSeconds && !take(text, 2, fields.tm_sec)) return std::nullopt;
    const bool isUTC = take(text, "Z");
    if (!text.empty() || fields.tm_hour > 23 || fields.tm_min > 59 || fields.tm_sec > 59) return std::nullopt;
    // All of the minute, or of the second, that is named.
    const auto begin = moment(fields, isUTC);
    return begin ? std::optional{begin->addingSeconds(hasSeconds ? 0.999 : 59.999)} : std::nullopt;
}

std::optional<Date> endOfYesterday(Date now) {
    const auto seconds = static_cast<std::time_t>(std::floor(now.secondsSince1970()));
    std::tm today{};
    if (localtime_r(&seconds, &today) == nullptr) return std::nullopt;
    today.tm_hour = today.tm_min = today.tm_sec = 0;
    today.tm_isdst = -1;
    return Date::since1970(static_cast<double>(mktime(&today)) - 0.001);
}

}  // namespace

std::optional<When> parseWhen(std::string_view text, Date now) {
    const std::string_view digits = text.starts_with('#') ? text.substr(1) : text;
    if (const auto generation = number(digits)) return When{*generation};
    if (const auto date = ago(text, now)) return When{*date};
    if (const auto date = text == "yesterday" ? endOfYesterday(now) : point(text)) return When{*date};
    return std::nullopt;
}

When whenOption(std::string_view text, Date now) {
    if (const auto when = parseWhen(text, now)) return *when;
    throw UsageError{fmt::format("“{}” names no scan: a number from kestrel history, a date such as 2026-11-20, or an "
                                 "age such as 7d is needed.",
                                 text)};
}

}  // namespace KestrelCLI
