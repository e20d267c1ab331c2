#pragma once

#include "KestrelCore/Base/RawValue.hpp"

#include <cstdint>
#include <optional>

namespace KestrelCore {

/// How dangerous it is to delete an item; ordered by raw value, which is what snapshots store. Normal are the user's
/// own files; caution is asked for what several users or programs share; high is what programs keep, hidden items and
/// applications, to be chosen knowingly; blocked is never removed.
enum class RiskLevel : std::uint8_t { normal, caution, high, blocked };

/// 0 to 3.
[[nodiscard]] constexpr int rawValue(RiskLevel level) { return static_cast<int>(level); }
/// Empty for any integer outside 0…3.
template <>
[[nodiscard]] constexpr std::optional<RiskLevel> fromRawValue<RiskLevel>(std::int64_t rawValue) {
    if (rawValue < 0 || rawValue > 3) return std::nullopt;
    return static_cast<RiskLevel>(rawValue);
}

}  // namespace KestrelCore
