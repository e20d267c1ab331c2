#include "Metrics/SystemMetricsRules.hpp"

#include "Base/FatalError.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace KestrelCore {
namespace {

/// Two readings may fall together, when several ask at once: a rate over next to no time would be all noise.
constexpr Seconds shortestNetworkInterval{0.1};
constexpr Seconds shortestProcessInterval{0.001};
constexpr Seconds defaultStreamInterval{0.05};
/// Some thirty years. Longer sleeps come to the same, and no clock's arithmetic is at risk.
constexpr Seconds longestStreamInterval{1e9};

constexpr double elevatedPressure = 0.72;
constexpr double highPressure = 0.88;

}  // namespace

ProcessorLoad processorLoad(const std::optional<ProcessorTicks>& ticks) {
    if (!ticks) return {};
    // Modulo 2^64: a counter that wraps makes one fraction wrong, within 0 and 1, and stops nothing.
    const std::uint64_t used = ticks->user + ticks->system + ticks->nice;
    return {.used = used, .total = used + ticks->idle};
}

double usedFraction(const std::optional<ProcessorLoad>& before, const ProcessorLoad& now) {
    if (!before || now.total <= before->total) return 0;
    const std::uint64_t used = now.used >= before->used ? now.used - before->used : 0;
    const double fraction = static_cast<double>(used) / static_cast<double>(now.total - before->total);
    return fraction > 0 ? std::min(1.0, fraction) : 0;
}

std::int64_t bytesPerSecond(std::uint64_t before, std::uint64_t now, Seconds elapsed) {
    const double rate = static_cast<double>(now - before) / std::max(shortestNetworkInterval, elapsed).count();
    // The largest value is not a double; the next double above it is the first that does not fit.
    if (!(rate < 9223372036854775808.0)) {
        fatalError("KestrelCore/SystemMetrics", "A network rate does not fit a signed 64-bit integer");
    }
    return std::max<std::int64_t>(0, static_cast<std::int64_t>(rate));
}

MemoryUse memoryUse(const std::optional<MemoryStatistics>& statistics, std::int64_t pageBytes,
                    std::int64_t totalBytes) {
    const MemoryUse unknown{.usedBytes = 0, .swapUsedBytes = 0, .pressure = "Unknown"};
    if (!statistics) return unknown;
    constexpr std::uint64_t largestCount = std::numeric_limits<std::uint32_t>::max();
    std::uint64_t pages = 0;
    for (const std::uint64_t count :
         {statistics->activePages, statistics->inactivePages, statistics->wiredPages, statistics->compressorPages}) {
        if (count > largestCount) return unknown;
        pages += count;
    }
    std::int64_t usedBytes = 0;
    if (pages > largestCount || __builtin_mul_overflow(static_cast<std::int64_t>(pages), pageBytes, &usedBytes)) {
        return unknown;
    }
    usedBytes = std::min(usedBytes, totalBytes);
    return {.usedBytes = usedBytes,
            .swapUsedBytes = statistics->swapUsedBytes,
            .pressure = memoryPressure(usedBytes, totalBytes)};
}

Text memoryPressure(std::int64_t usedBytes, std::int64_t totalBytes) {
    if (totalBytes == 0) return "Normal";
    const double ratio = static_cast<double>(usedBytes) / static_cast<double>(totalBytes);
    return ratio < elevatedPressure ? "Normal" : ratio < highPressure ? "Elevated" : "High";
}

std::optional<double> chargeFraction(const std::optional<PowerSource>& source) {
    if (!source || !source->currentCapacity || !source->maximumCapacity) return std::nullopt;
    if (!(*source->maximumCapacity > 0)) return std::nullopt;
    return *source->currentCapacity / *source->maximumCapacity;
}

std::optional<bool> isOnMains(const std::optional<PowerSource>& source) {
    if (!source) return std::nullopt;
    return source->state == PowerSourceState::mains;
}

ThermalLevel thermalLevel(std::optional<int> level) {
    switch (level.value_or(-1)) {
    case 0: return ThermalLevel::nominal;
    case 1: return ThermalLevel::fair;
    case 2: return ThermalLevel::serious;
    case 3: return ThermalLevel::critical;
    default: return ThermalLevel::unknown;
    }
}

double processorPercent(const std::optional<ProcessorTimeReading>& before, const ProcessorTimeReading& now,
                        int processorCount) {
    if (!before || now.nanoseconds < before->nanoseconds) return 0;
    const Seconds elapsed = std::max(shortestProcessInterval, Seconds{now.readAt - before->readAt});
    const double percent =
        static_cast<double>(now.nanoseconds - before->nanoseconds) / 1'000'000'000.0 / elapsed.count() * 100;
    return percent > 0 ? std::min(percent, processorCount * 100.0) : 0;
}

std::optional<std::chrono::nanoseconds> sleepBetweenSamples(Seconds interval) {
    if (std::isinf(interval.count()) && interval.count() > 0) return std::nullopt;
    const Seconds used = interval.count() > 0 ? std::min(interval, longestStreamInterval) : defaultStreamInterval;
    // An interval below the clock's resolution still is one, or the timer would never be set.
    return std::max(std::chrono::nanoseconds{1}, std::chrono::duration_cast<std::chrono::nanoseconds>(used));
}

}  // namespace KestrelCore
