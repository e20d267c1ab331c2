#include "Exchange/ImportReader.hpp"

#include "Base/DecimalText.hpp"
#include "KestrelCore/Exchange/ExchangeFormat.hpp"

#include <fmt/format.h>

#include <charconv>
#include <chrono>
#include <limits>

namespace KestrelCore {

namespace {

std::string withPlace(std::string_view sentence, std::uint64_t offset) {
    if (sentence.ends_with('.')) sentence.remove_suffix(1);
    return fmt::format("{}, at byte {}.", sentence, offset);
}

}  // namespace

ImportError::ImportError(std::uint64_t offset, const std::string& what)
    : std::runtime_error{withPlace(what, offset)}, offset_{offset} {}

std::optional<std::uint64_t> wholeNumber(std::string_view text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::int64_t sizeAt(const JSONTokenReader& tokens, JSONTokenReader::Token token) {
    const auto number = token == JSONTokenReader::Token::number ? wholeNumber(tokens.text()) : std::nullopt;
    if (!number || *number > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
        throw ImportError{tokens.offset(), "A size is no whole number from 0 to 2^63 - 1."};
    return static_cast<std::int64_t>(*number);
}

Text shortText(std::string_view text) {
    constexpr std::size_t longest = 1000;
    return Text{text.substr(0, longest)};
}

std::optional<Date> dateFromRFC3339(std::string_view text) {
    const auto digits = [&](std::size_t begin, std::size_t count, int& value) {
        if (text.size() < begin + count) return false;
        const char* const first = text.data() + begin;
        const auto [end, error] = std::from_chars(first, first + count, value);
        return error == std::errc{} && end == first + count && *first != '-';
    };
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    constexpr std::string_view form = "0000-00-00T00:00:00";
    const bool isDate = digits(0, 4, year) && digits(5, 2, month) && digits(8, 2, day) && digits(11, 2, hour) &&
                        digits(14, 2, minute) && digits(17, 2, second);
    if (!isDate || text.back() != 'Z') return std::nullopt;
    for (const std::size_t i : {4U, 7U, 10U, 13U, 16U}) {
        if (text[i] != form[i]) return std::nullopt;
    }
    double fraction = 0;
    if (const std::string_view rest = text.substr(form.size(), text.size() - form.size() - 1); !rest.empty()) {
        const auto [end, error] = readDecimal(rest.data(), rest.data() + rest.size(), fraction);
        if (rest.front() != '.' || error != std::errc{} || end != rest.data() + rest.size()) return std::nullopt;
    }
    const std::chrono::year_month_day date{std::chrono::year{year}, std::chrono::month{static_cast<unsigned>(month)},
                                           std::chrono::day{static_cast<unsigned>(day)}};
    if (!date.ok() || hour > 23 || minute > 59 || second > 60) return std::nullopt;
    const auto days = std::chrono::sys_days{date}.time_since_epoch().count();
    constexpr std::int64_t secondsOfDay = 86'400;
    const std::int64_t seconds = days * secondsOfDay + std::int64_t{hour} * 3600 + std::int64_t{minute} * 60 + second;
    return Date::since1970(static_cast<double>(seconds) + fraction);
}

}  // namespace KestrelCore
