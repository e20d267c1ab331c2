#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Metrics/ProcessSample.hpp"
#include "KestrelCore/Metrics/StorageSample.hpp"
#include "Platform/ContinuousClock.hpp"
#include "Platform/HostStatistics.hpp"
#include "Platform/NetworkInterfaces.hpp"
#include "Platform/PowerSources.hpp"
#include "Platform/ProcessDescriptions.hpp"
#include "Platform/ProcessInfo.hpp"
#include "Platform/ProcessSignals.hpp"
#include "Platform/ProcessTable.hpp"
#include "Platform/SystemSensors.hpp"
#include "Platform/ThermalState.hpp"
#include "Platform/Volumes.hpp"

#include <functional>
#include <memory>

// What the samplers and process control ask, through one door for the system and for tests.

namespace KestrelCore {

class SystemMetricsSampler;
class ProcessSampler;
class StorageSampler;
class SystemDetailsSampler;
class ProcessInspector;

/// None is null.
struct SystemMetricsSources {
    std::unique_ptr<HostStatistics> host;
    std::unique_ptr<NetworkInterfaces> networkInterfaces;
    std::unique_ptr<PowerSources> powerSources;
    std::unique_ptr<ThermalState> thermalState;
    std::shared_ptr<const ContinuousClock> clock;
    std::function<Date()> wallClock;

    [[nodiscard]] static SystemMetricsSources system();
};

/// None is null.
struct ProcessSources {
    std::unique_ptr<ProcessTable> table;
    std::unique_ptr<ProcessInfo> info;
    std::unique_ptr<HostStatistics> host;
    std::shared_ptr<const ContinuousClock> clock;

    [[nodiscard]] static ProcessSources system();
};

/// None is null.
struct StorageSources {
    std::unique_ptr<Volumes> volumes;
    std::shared_ptr<const ContinuousClock> clock;
    std::function<Date()> wallClock;

    [[nodiscard]] static StorageSources system();
};

/// None is null.
struct SystemDetailsSources {
    std::unique_ptr<SystemSensors> sensors;
    std::unique_ptr<NetworkInterfaces> networkInterfaces;
    std::shared_ptr<const ContinuousClock> clock;

    [[nodiscard]] static SystemDetailsSources system();
};

/// None is null.
struct ProcessInspectorSources {
    std::unique_ptr<ProcessDescriptions> descriptions;
    std::shared_ptr<const ContinuousClock> clock;

    [[nodiscard]] static ProcessInspectorSources system();
};

/// The room of a volume, without rates. What it claims is brought within its own size.
[[nodiscard]] VolumeSample volumeSample(const MountedVolume& volume);

/// Samplers that ask other sources than the system's.
struct SamplerAccess {
    [[nodiscard]] static SystemMetricsSampler sampler(SystemMetricsSources sources);
    [[nodiscard]] static ProcessSampler sampler(ProcessSources sources);
    [[nodiscard]] static StorageSampler sampler(StorageSources sources);
    [[nodiscard]] static SystemDetailsSampler sampler(SystemDetailsSources sources);
    [[nodiscard]] static ProcessInspector inspector(ProcessInspectorSources sources);
};

/// `ProcessControl` with the system as a parameter.
[[nodiscard]] bool canTerminate(const ProcessSample& sample, const ProcessSignals& signals);
void sendSignal(const ProcessSample& sample, ProcessSignal signal, ProcessInfo& info, ProcessSignals& signals);

}  // namespace KestrelCore
