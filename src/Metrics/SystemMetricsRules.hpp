#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Metrics/SystemSample.hpp"
#include "Metrics/NetworkCounters.hpp"
#include "Platform/HostStatistics.hpp"
#include "Platform/PowerSources.hpp"

#include <chrono>
#include <cstdint>
#include <optional>

// The arithmetic of the samplers: what becomes of raw figures. Pure, so that every edge is tested without a machine.

namespace KestrelCore {

using Seconds = std::chrono::duration<double>;

/// Processor time in ticks, as the sampler remembers it.
struct ProcessorLoad {
    std::uint64_t used = 0;
    std::uint64_t total = 0;
};
/// Zeros for a failed query.
[[nodiscard]] ProcessorLoad processorLoad(const std::optional<ProcessorTicks>& ticks);
/// The part of the time between two readings that was used, 0 to 1. 0 without an earlier reading, and when no time
/// passed or the counters went backwards.
[[nodiscard]] double usedFraction(const std::optional<ProcessorLoad>& before, const ProcessorLoad& now);

/// Bytes a second from a counter that wraps at 2^64. The time between two readings counts as at least a tenth of a
/// second. Stops the process when the rate does not fit, which the counters of `NetworkCounters` can't make happen.
[[nodiscard]] std::int64_t bytesPerSecond(std::uint64_t before, std::uint64_t now, Seconds elapsed);

struct MemoryUse {
    std::int64_t usedBytes = 0;
    std::int64_t swapUsedBytes = 0;
    Text pressure;
};
/// A failed query, or counts that do not fit 32 bits together, is "Unknown" with zeros.
[[nodiscard]] MemoryUse memoryUse(const std::optional<MemoryStatistics>& statistics, std::int64_t pageBytes,
                                  std::int64_t totalBytes);
/// "Normal" below 0.72 of the total and without one, "Elevated" below 0.88, else "High".
[[nodiscard]] Text memoryPressure(std::int64_t usedBytes, std::int64_t totalBytes);

/// The charge as a part of 1. Absent without both capacities, or when the full one is not above 0.
[[nodiscard]] std::optional<double> chargeFraction(const std::optional<PowerSource>& source);
/// Whether the machine runs on mains power, also with a full battery. Absent without a power source.
[[nodiscard]] std::optional<bool> isOnMains(const std::optional<PowerSource>& source);

[[nodiscard]] ThermalLevel thermalLevel(std::optional<int> level);

/// Processor time of one process, as the sampler remembers it.
struct ProcessorTimeReading {
    std::uint64_t nanoseconds = 0;
    std::chrono::nanoseconds readAt{};
};
/// Percent of one processor, 0 to 100 for each of `processorCount`. The time between two readings counts as at least a
/// millisecond. 0 without an earlier reading and when the time went backwards, as after identifier reuse.
[[nodiscard]] double processorPercent(const std::optional<ProcessorTimeReading>& before,
                                      const ProcessorTimeReading& now, int processorCount);

/// How long a stream sleeps between two samples: an interval that is not above 0, or no number, counts as 0.05 s.
/// Absent when it is infinite.
[[nodiscard]] std::optional<std::chrono::nanoseconds> sleepBetweenSamples(Seconds interval);

}  // namespace KestrelCore
