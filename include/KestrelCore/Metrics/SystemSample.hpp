#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Hashing.hpp"
#include "KestrelCore/Base/RawValue.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace KestrelCore {

/// How hot the machine is. The raw value of a case is its name.
enum class ThermalLevel {
    nominal,
    fair,      ///< fans may run
    serious,   ///< the system slows itself down
    critical,  ///< the system is about to protect itself
    unknown    ///< the machine does not tell
};

/// The raw value, such as "nominal".
[[nodiscard]] KESTRELCORE_EXPORT std::string_view rawValue(ThermalLevel level);
/// Empty for a text that is no raw value.
template <>
[[nodiscard]] KESTRELCORE_EXPORT std::optional<ThermalLevel> fromRawValue<ThermalLevel>(std::string_view rawValue);

/// One reading of the machine. Every figure comes from the system at that moment but for the rates, which tell of the
/// time since the previous reading of the same sampler.
struct KESTRELCORE_EXPORT SystemSample {
    Date timestamp;                     ///< wall-clock time of the reading
    double cpuUsedFraction = 0;         ///< 0 to 1 over all processors since the sampler's previous reading
    std::int64_t memoryUsedBytes = 0;   ///< at most `memoryTotalBytes`; inactive memory counts as used
    std::int64_t memoryTotalBytes = 0;  ///< physical memory
    std::int64_t swapUsedBytes = 0;
    Text memoryPressure;                   ///< "Normal", "Elevated", "High" or "Unknown"
    std::optional<double> batteryPercent;  ///< charge as a part of 1, not of 100; absent without a battery
    std::optional<bool> isCharging;        ///< on mains power, also when full; absent without a power source
    ThermalLevel thermalLevel = ThermalLevel::unknown;
    std::int64_t networkDownBytesPerSecond = 0;  ///< since the previous reading, loopback traffic left out
    std::int64_t networkUpBytesPerSecond = 0;

    /// One JSON object with the fields as keys, in their order; absent ones are left out, the date is in seconds since
    /// 2001. Throws `EncodingError` for a number that is not finite.
    [[nodiscard]] std::string encodedJSON() const;
    /// Reads what `encodedJSON` writes; unknown keys are skipped. Throws `DecodingError`.
    [[nodiscard]] static SystemSample decodingJSON(std::string_view json);

    bool operator==(const SystemSample&) const = default;
};

}  // namespace KestrelCore

template <>
struct std::hash<KestrelCore::SystemSample> {
    std::size_t operator()(const KestrelCore::SystemSample& sample) const {
        return KestrelCore::Internal::hashOf(sample.timestamp, sample.cpuUsedFraction, sample.memoryUsedBytes,
                                             sample.memoryTotalBytes, sample.swapUsedBytes, sample.memoryPressure,
                                             sample.batteryPercent, sample.isCharging, sample.thermalLevel,
                                             sample.networkDownBytesPerSecond, sample.networkUpBytesPerSecond);
    }
};
