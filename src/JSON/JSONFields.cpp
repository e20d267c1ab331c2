#include "JSON/JSONFields.hpp"

// simdjson reads a whole number only in its plain spelling, and a fraction only to the nearest double. But "1e3",
// "10.0" and "12345678901234567890.0" are whole numbers too, and a text that rounds to 0 must be told from one that
// means it. So where the quick answer fails, the number is read once more from its text, digit by digit, and nothing is
// rounded.
//
//     -12.30e2     isNegative, digits "1230", exponent 0        (2 for the e, less 2 for the fraction)
//
// The text may be of any length: digits are kept as they are, and the exponent stops growing long before it overflows.

namespace KestrelCore::JSONFields {

std::optional<NumberText> parseNumber(std::string_view text) {
    NumberText number;
    std::size_t i = 0;
    const auto isDigit = [&] { return i < text.size() && text[i] >= '0' && text[i] <= '9'; };
    if (i < text.size() && text[i] == '-') {
        number.isNegative = true;
        ++i;
    }
    if (!isDigit() || (text[i] == '0' && i + 1 < text.size() && text[i + 1] >= '0' && text[i + 1] <= '9')) {
        return std::nullopt;
    }
    for (; isDigit(); ++i) number.digits += text[i];
    if (i < text.size() && text[i] == '.') {
        ++i;
        if (!isDigit()) return std::nullopt;
        for (; isDigit(); ++i) {
            number.digits += text[i];
            --number.exponent;
        }
    }
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        ++i;
        const bool isNegative = i < text.size() && text[i] == '-';
        if (i < text.size() && (text[i] == '-' || text[i] == '+')) ++i;
        if (!isDigit()) return std::nullopt;
        std::int64_t exponent = 0;
        constexpr std::int64_t large = 1'000'000'000'000;
        for (; isDigit(); ++i) exponent = std::min(large, exponent * 10 + (text[i] - '0'));
        number.exponent += isNegative ? -exponent : exponent;
    }
    if (i != text.size()) return std::nullopt;
    number.digits.erase(0, std::min(number.digits.find_first_not_of('0'), number.digits.size()));
    return number;
}

}  // namespace KestrelCore::JSONFields
