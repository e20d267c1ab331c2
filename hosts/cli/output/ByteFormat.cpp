#include "output/ByteFormat.hpp"

#include <fmt/format.h>

#include <array>

// Three digits tell sizes apart, and more would be read as more than is known. What has three digits is decided after
// rounding, so the bounds lie half a step below the powers of ten:
//
//     999 B    1.00 kB … 9.99 kB    10.0 kB … 99.9 kB    100 kB … 999 kB    1.00 MB …
//                        below 9.995            below 99.95          below 999.5

namespace KestrelCLI {

namespace {

/// The magnitude, also of the smallest integer, whose negation does not fit.
std::uint64_t magnitude(std::int64_t value) {
    return value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
}

}  // namespace

std::string ByteFormat::rounded(std::int64_t bytes, SizeUnits units) {
    static constexpr std::array decimal{"kB", "MB", "GB", "TB", "PB", "EB"};
    static constexpr std::array binary{"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    const bool isBinary = units == SizeUnits::binary;
    const double step = isBinary ? 1024 : 1000;
    const std::uint64_t whole = magnitude(bytes);
    const char* sign = bytes < 0 ? "-" : "";
    if (static_cast<double>(whole) < step) return fmt::format("{}{} B", sign, whole);
    double value = static_cast<double>(whole) / step;
    std::size_t unit = 0;
    // 999.5 would be written as "1000": such a value belongs to the next unit.
    while (value >= step - 0.5 && unit + 1 < decimal.size()) {
        value /= step;
        ++unit;
    }
    const int decimals = value < 9.995 ? 2 : value < 99.95 ? 1 : 0;
    return fmt::format("{}{:.{}f} {}", sign, value, decimals, isBinary ? binary[unit] : decimal[unit]);
}

std::string ByteFormat::exact(std::int64_t bytes) { return fmt::format("{} B", bytes); }

std::string ByteFormat::count(std::int64_t number) {
    std::string digits = fmt::format("{}", magnitude(number));
    // From the right, so that what is put in moves no place that is still to come.
    for (std::size_t place = digits.size(); place > 3;) {
        place -= 3;
        digits.insert(place, 1, ',');
    }
    return number < 0 ? "-" + digits : digits;
}

std::string ByteFormat::things(std::int64_t number, const char* name) {
    return fmt::format("{} {}{}", count(number), name, number == 1 ? "" : "s");
}

std::string ByteFormat::share(std::int64_t part, std::int64_t whole) {
    if (part <= 0 || whole <= 0) return "0 %";
    // After items were taken out of a snapshot a file that has another name left can weigh more than its folder.
    if (part > whole) return "–";
    const double percent = static_cast<double>(part) / static_cast<double>(whole) * 100;
    if (percent < 0.1) return "<0.1 %";
    return fmt::format("{:.1f} %", percent);
}

}  // namespace KestrelCLI
