#include "store/SizeValue.hpp"

#include "output/LeadingNumber.hpp"
#include "output/Session.hpp"

#include <fmt/format.h>

#include <cmath>
#include <cstddef>
#include <string>

namespace KestrelCLI {

namespace {

/// What the unit multiplies by; empty for no unit of ours.
std::optional<double> factor(std::string_view unit) {
    std::string lowered;
    for (const char c : unit) lowered += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    if (lowered.empty() || lowered == "b") return 1;
    constexpr std::string_view prefixes = "kmgtpe";
    const std::size_t power = prefixes.find(lowered.front());
    if (power == std::string_view::npos) return std::nullopt;
    const std::string_view rest = std::string_view{lowered}.substr(1);
    if (rest.empty() || rest == "b") return std::pow(1000.0, static_cast<double>(power + 1));
    if (rest == "ib" || rest == "i") return std::pow(1024.0, static_cast<double>(power + 1));
    return std::nullopt;
}

}  // namespace

std::optional<std::int64_t> parseSize(std::string_view text) {
    const auto number = leadingNumber(text);
    if (!number) return std::nullopt;
    std::string_view unit = number->rest;
    while (unit.starts_with(' ')) unit.remove_prefix(1);
    const auto times = factor(unit);
    if (!times) return std::nullopt;
    const double bytes = number->value * *times;
    // 2^63 as a double.
    if (bytes < 0 || bytes >= 9'223'372'036'854'775'808.0) return std::nullopt;
    return static_cast<std::int64_t>(bytes);
}

std::int64_t sizeOption(std::string_view text) {
    if (const auto bytes = parseSize(text)) return *bytes;
    throw UsageError{fmt::format("“{}” is no size; 500MB, 1.5GB and 2GiB are.", text)};
}

}  // namespace KestrelCLI
