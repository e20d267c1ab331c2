#include "KestrelCore/Metrics/StorageMetrics.hpp"

#include "Base/SerialExecutor.hpp"
#include "Metrics/ByteRates.hpp"
#include "Metrics/SampleStream.hpp"
#include "Metrics/SystemMetricsSources.hpp"

#include <algorithm>
#include <map>
#include <utility>

namespace KestrelCore {

StorageSources StorageSources::system() {
    return {.volumes = Volumes::system(), .clock = ContinuousClock::system(), .wallClock = &Date::now};
}

VolumeSample volumeSample(const MountedVolume& volume) {
    const std::int64_t total = std::max<std::int64_t>(0, volume.totalBytes);
    const std::int64_t free = std::clamp<std::int64_t>(volume.freeBytes, 0, total);
    VolumeSample sample;
    sample.mountPoint = volume.mountPoint;
    sample.fileSystem = volume.fileSystem;
    sample.device = volume.device;
    sample.totalBytes = total;
    sample.usedBytes = total - free;
    sample.freeBytes = std::clamp<std::int64_t>(volume.availableBytes, 0, total);
    return sample;
}

struct StorageSampler::State {
    explicit State(StorageSources given) : sources{std::move(given)} {}

    StorageSample sample() {
        return executor.run([this] { return isolatedSample(); });
    }

    [[nodiscard]] const ContinuousClock& clock() const { return *sources.clock; }

private:
    StorageSample isolatedSample() {
        executor.assertIsolated("KestrelCore/StorageMetrics");
        StorageSample sample;
        sample.timestamp = sources.wallClock();
        rates.begin(sources.clock->now());
        std::map<std::string, ByteRate> byName;
        for (const DiskCounters& disk : sources.volumes->disks()) {
            const ByteRate rate = rates.rate(disk.name, disk.readBytes, disk.writtenBytes);
            byName.emplace(disk.name, rate);
            if (disk.isWhole) sample.disks.push_back({Text{disk.name}, rate.inward, rate.outward});
        }
        for (const MountedVolume& volume : sources.volumes->mounted()) {
            VolumeSample& added = sample.volumes.emplace_back(volumeSample(volume));
            const auto rate = byName.find(volume.counters);
            if (volume.counters.empty() || rate == byName.end()) continue;
            added.readBytesPerSecond = rate->second.inward;
            added.writtenBytesPerSecond = rate->second.outward;
        }
        return sample;
    }

    SerialExecutor executor;
    // Everything below is used inside the executor only, but for the clock.
    StorageSources sources;
    ByteRates<std::string> rates;
};

StorageSampler SamplerAccess::sampler(StorageSources sources) {
    return StorageSampler{std::make_shared<StorageSampler::State>(std::move(sources))};
}

StorageSampler::StorageSampler() : state_{std::make_shared<State>(StorageSources::system())} {}
StorageSampler::StorageSampler(std::shared_ptr<State> state) : state_{std::move(state)} {}
StorageSampler::~StorageSampler() = default;

StorageSample StorageSampler::sample() { return state_->sample(); }

EventStream<StorageSample> StorageSampler::stream(std::chrono::duration<double> interval) {
    return streamOf<StorageSample>(state_, interval);
}

}  // namespace KestrelCore
