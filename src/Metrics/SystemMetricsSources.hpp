#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Metrics/ProcessSample.hpp"
#include "Platform/ContinuousClock.hpp"
#include "Platform/HostStatistics.hpp"
#include "Platform/NetworkInterfaces.hpp"
#include "Platform/PowerSources.hpp"
#include "Platform/ProcessInfo.hpp"
#include "Platform/ProcessSignals.hpp"
#include "Platform/ProcessTable.hpp"
#include "Platform/ThermalState.hpp"

#include <functional>
#include <memory>

// What the samplers and process control ask, through one door for the system and for tests.

namespace KestrelCore {

class SystemMetricsSampler;
class ProcessSampler;

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

/// Samplers that ask other sources than the system's.
struct SamplerAccess {
    [[nodiscard]] static SystemMetricsSampler sampler(SystemMetricsSources sources);
    [[nodiscard]] static ProcessSampler sampler(ProcessSources sources);
};

/// `ProcessControl` with the system as a parameter.
[[nodiscard]] bool canTerminate(const ProcessSample& sample, const ProcessSignals& signals);
void terminate(const ProcessSample& sample, ProcessInfo& info, ProcessSignals& signals);

}  // namespace KestrelCore
