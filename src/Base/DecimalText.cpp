#include "Base/DecimalText.hpp"

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <string>
#include <system_error>
#if __has_include(<xlocale.h>)
#include <xlocale.h>
#endif

namespace KestrelCore {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

const char* behindDigits(const char* p, const char* last) {
    while (p != last && isDigit(*p)) ++p;
    return p;
}

struct Extent {
    const char* end = nullptr;  ///< where the number stops; null where there is none
    bool isZero = true;         ///< it has no digit but 0 in front of its exponent
};

Extent extentOf(const char* first, const char* last) {
    const char* const digits = first != last && *first == '-' ? first + 1 : first;
    const char* end = behindDigits(digits, last);
    auto count = end - digits;
    if (end != last && *end == '.') {
        const char* const fraction = end + 1;
        const char* const fractionEnd = behindDigits(fraction, last);
        count += fractionEnd - fraction;
        end = fractionEnd;
    }
    if (count == 0) return {};
    Extent extent{.end = end};
    for (const char* p = digits; p != end; ++p) extent.isZero = extent.isZero && (*p == '0' || *p == '.');
    if (end == last || (*end != 'e' && *end != 'E')) return extent;
    const char* exponent = end + 1;
    if (exponent != last && (*exponent == '+' || *exponent == '-')) ++exponent;
    const char* const exponentEnd = behindDigits(exponent, last);
    if (exponentEnd != exponent) extent.end = exponentEnd;
    return extent;
}

}  // namespace

std::from_chars_result readDecimalByCLibrary(const char* first, const char* last, double& value) {
    const Extent extent = extentOf(first, last);
    if (extent.end == nullptr) return {first, std::errc::invalid_argument};
    static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    const double result = strtod_l(std::string(first, extent.end).c_str(), nullptr, plain);
    if (std::isinf(result) || (result == 0 && !extent.isZero)) return {extent.end, std::errc::result_out_of_range};
    value = result;
    return {extent.end, std::errc{}};
}

std::from_chars_result readDecimal(const char* first, const char* last, double& value) {
#ifdef __cpp_lib_to_chars
    const char* const digits = first != last && *first == '-' ? first + 1 : first;
    if (digits == last || (!isDigit(*digits) && *digits != '.')) return {first, std::errc::invalid_argument};
    return std::from_chars(first, last, value);
#else
    return readDecimalByCLibrary(first, last, value);
#endif
}

}  // namespace KestrelCore
