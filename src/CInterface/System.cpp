#include "CInterface/Boundary.hpp"

#include "KestrelCore/Metrics/SystemDetails.hpp"
#include "KestrelCore/Metrics/SystemMetrics.hpp"
#include "KestrelCore/Metrics/SystemSample.hpp"

#include <memory>
#include <optional>
#include <utility>
#include <vector>

using namespace KestrelCore;
using namespace KestrelC;

struct kestrel_system_sampler {
    SystemMetricsSampler metrics;
    SystemDetailsSampler details;
};

namespace {

kestrel_power_source powerOf(const std::optional<bool>& isCharging) {
    if (!isCharging) return KESTREL_POWER_UNKNOWN;
    return *isCharging ? KESTREL_POWER_MAINS : KESTREL_POWER_BATTERY;
}

}  // namespace

struct kestrel_system_sample {
    kestrel_system_sample(SystemSample reading, const MemoryDetails& memory, SystemDetails more)
        : sample{std::move(reading)}, details{std::move(more)} {
        const std::optional<PressureSample>& pressure = details.pressure;
        info = {.taken_at = sample.timestamp.secondsSince1970(),
                .cpu_used = sample.cpuUsedFraction,
                .processor_count = details.processorUsedFractions.size(),
                .processors = details.processorUsedFractions.data(),
                .memory_used_bytes = sample.memoryUsedBytes,
                .memory_total_bytes = sample.memoryTotalBytes,
                .memory_cache_bytes = memory.cacheBytes.value_or(-1),
                .swap_used_bytes = sample.swapUsedBytes,
                .swap_total_bytes = memory.swapTotalBytes.value_or(-1),
                .memory_pressure = viewOf(sample.memoryPressure),
                .processor_waiting = pressure ? pressure->processor : -1,
                .memory_waiting = pressure ? pressure->memory : -1,
                .disk_waiting = pressure ? pressure->disk : -1,
                .battery = sample.batteryPercent.value_or(-1),
                .power = powerOf(sample.isCharging),
                .thermal = static_cast<kestrel_thermal_level>(sample.thermalLevel),
                .network_down_bytes_per_second = sample.networkDownBytesPerSecond,
                .network_up_bytes_per_second = sample.networkUpBytesPerSecond};
    }
    kestrel_system_sample(const kestrel_system_sample&) = delete;
    kestrel_system_sample& operator=(const kestrel_system_sample&) = delete;

    const SystemSample sample;
    const SystemDetails details;
    kestrel_system_info info{};
};

kestrel_code kestrel_system_sampler_new(kestrel_system_sampler** sampler, kestrel_error** error) noexcept {
    return making(sampler, error, [] { return std::make_unique<kestrel_system_sampler>(); });
}

kestrel_code kestrel_system_sampler_read(kestrel_system_sampler* sampler, kestrel_system_sample** sample,
                                         kestrel_error** error) noexcept {
    return making(sample, error, [&] {
        kestrel_system_sampler& asked = needed(sampler, "sampler");
        return std::make_unique<kestrel_system_sample>(asked.metrics.sample(), asked.metrics.memoryDetails(),
                                                       asked.details.sample());
    });
}

void kestrel_system_sampler_free(kestrel_system_sampler* sampler) noexcept { delete sampler; }

const kestrel_system_info* kestrel_system_sample_get_info(const kestrel_system_sample* sample) noexcept {
    return sample == nullptr ? nullptr : &sample->info;
}

void kestrel_system_sample_free(kestrel_system_sample* sample) noexcept { delete sample; }
