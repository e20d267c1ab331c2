#include "KestrelCore/Metrics/SystemMetrics.hpp"

#include "Base/SerialExecutor.hpp"
#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "Metrics/SampleStream.hpp"
#include "Metrics/SystemMetricsRules.hpp"
#include "Metrics/SystemMetricsSources.hpp"
#include "Platform/Vocabulary.hpp"

#include <algorithm>
#include <array>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cerrno>
#include <fmt/format.h>
#include <utility>

// Each sampler's state is owned jointly by the sampler and its streams' threads: a stream outlives the object that made
// it, and a dropped stream leaves its thread to end by itself. The state's executor lets one reading happen at a time,
// since a reading replaces the counters that the next one is compared with.

namespace KestrelCore {
namespace {

constexpr std::string_view sourceFile = "KestrelCore/SystemMetrics";

}  // namespace

// ---- The system as a whole -----------------------------------------------------------------------------------------

SystemMetricsSources SystemMetricsSources::system() {
    return {.host = HostStatistics::system(),
            .networkInterfaces = NetworkInterfaces::system(),
            .powerSources = PowerSources::system(),
            .thermalState = ThermalState::system(),
            .clock = ContinuousClock::system(),
            .wallClock = &Date::now};
}

struct SystemMetricsSampler::State {
    explicit State(SystemMetricsSources given)
        : sources{std::move(given)}, network{std::move(sources.networkInterfaces)} {}

    SystemSample sample() {
        return executor.run([this] { return isolatedSample(); });
    }

    MemoryDetails memoryDetails() {
        return executor.run([this]() -> MemoryDetails {
            const std::optional<MemoryStatistics> memory = sources.host->memory();
            if (!memory) return {};
            return {.cacheBytes = memory->cacheBytes, .swapTotalBytes = memory->swapTotalBytes};
        });
    }

    [[nodiscard]] const ContinuousClock& clock() const { return *sources.clock; }

private:
    struct NetworkReading {
        NetworkTotals totals;
        std::chrono::nanoseconds readAt{};
    };

    SystemSample isolatedSample() {
        executor.assertIsolated(sourceFile);
        SystemSample sample;
        sample.timestamp = sources.wallClock();
        const std::chrono::nanoseconds now = sources.clock->now();
        const ProcessorLoad load = processorLoad(sources.host->processorTicks());
        const NetworkReading reading{network.totals(), now};

        sample.memoryTotalBytes = sources.host->physicalMemoryBytes();
        MemoryUse memory = memoryUse(sources.host->memory(), sources.host->pageBytes(), sample.memoryTotalBytes);
        sample.memoryUsedBytes = memory.usedBytes;
        sample.swapUsedBytes = memory.swapUsedBytes;
        sample.memoryPressure = std::move(memory.pressure);

        const std::optional<PowerSource> power = sources.powerSources->first();
        sample.batteryPercent = chargeFraction(power);
        sample.isCharging = isOnMains(power);

        sample.cpuUsedFraction = usedFraction(previousCPU, load);
        previousCPU = load;
        if (previousNetwork) {
            const NetworkTotals& before = previousNetwork->totals;
            const Seconds elapsed = now - previousNetwork->readAt;
            sample.networkDownBytesPerSecond =
                bytesPerSecond(before.receivedBytes, reading.totals.receivedBytes, elapsed);
            sample.networkUpBytesPerSecond = bytesPerSecond(before.sentBytes, reading.totals.sentBytes, elapsed);
        }
        previousNetwork = reading;

        sample.thermalLevel = thermalLevel(sources.thermalState->level());
        return sample;
    }

    SerialExecutor executor;
    // Everything below is used inside the executor only, but for the clock.
    SystemMetricsSources sources;
    NetworkCounters network;
    std::optional<ProcessorLoad> previousCPU;
    std::optional<NetworkReading> previousNetwork;
};

SystemMetricsSampler SamplerAccess::sampler(SystemMetricsSources sources) {
    return SystemMetricsSampler{std::make_shared<SystemMetricsSampler::State>(std::move(sources))};
}

SystemMetricsSampler::SystemMetricsSampler() : state_{std::make_shared<State>(SystemMetricsSources::system())} {}
SystemMetricsSampler::SystemMetricsSampler(std::shared_ptr<State> state) : state_{std::move(state)} {}
SystemMetricsSampler::~SystemMetricsSampler() = default;

SystemSample SystemMetricsSampler::sample() { return state_->sample(); }
MemoryDetails SystemMetricsSampler::memoryDetails() { return state_->memoryDetails(); }

EventStream<SystemSample> SystemMetricsSampler::stream(std::chrono::duration<double> interval) {
    return streamOf<SystemSample>(state_, interval);
}

// ---- Processes -----------------------------------------------------------------------------------------------------

ProcessSources ProcessSources::system() {
    return {.table = ProcessTable::system(),
            .info = ProcessInfo::system(),
            .host = HostStatistics::system(),
            .clock = ContinuousClock::system()};
}

struct ProcessSampler::State {
    explicit State(ProcessSources given) : sources{std::move(given)} {}

    std::vector<ProcessSample> sample() {
        return executor.run([this] { return isolatedSample(); });
    }

    [[nodiscard]] const ContinuousClock& clock() const { return *sources.clock; }

private:
    using History = boost::unordered_flat_map<std::int32_t, ProcessorTimeReading>;

    std::vector<ProcessSample> isolatedSample() {
        executor.assertIsolated(sourceFile);
        std::vector<ProcessSample> samples;
        const std::chrono::nanoseconds now = sources.clock->now();
        sources.table->list(identifiers);
        // A listing that failed says nothing about the processes: what is known of them stays for the next one.
        if (identifiers.empty()) return samples;

        samples.reserve(identifiers.size());
        currentCPU.clear();
        const int processorCount = sources.host->activeProcessorCount();
        for (const std::int32_t identifier : identifiers) {
            if (identifier <= 0) continue;
            std::optional<ProcessDetails> details = sources.info->details(identifier);
            if (!details) continue;
            const ProcessorTimeReading reading{details->processorTime.count(), now};
            const auto before = previousCPU.find(identifier);
            samples.push_back({
                .id = identifier,
                .name = details->name ? std::move(*details->name) : Text{fmt::format("Process {}", identifier)},
                .executablePath = std::move(details->executablePath),
                .cpuPercent =
                    processorPercent(before == previousCPU.end() ? std::nullopt : std::optional{before->second},
                                     reading, processorCount),
                .residentBytes = details->residentBytes,
                .virtualBytes = details->virtualBytes,
                .threadCount = details->threadCount,
                .runningThreadCount = details->runningThreadCount,
                .priority = details->priority,
            });
            currentCPU.insert_or_assign(identifier, reading);
        }
        // The two maps take turns, so that the memory of both is used again.
        std::swap(previousCPU, currentCPU);
        return samples;
    }

    SerialExecutor executor;
    // Everything below is used inside the executor only, but for the clock.
    ProcessSources sources;
    History previousCPU;
    History currentCPU;
    std::vector<std::int32_t> identifiers;
};

ProcessSampler SamplerAccess::sampler(ProcessSources sources) {
    return ProcessSampler{std::make_shared<ProcessSampler::State>(std::move(sources))};
}

ProcessSampler::ProcessSampler() : state_{std::make_shared<State>(ProcessSources::system())} {}
ProcessSampler::ProcessSampler(std::shared_ptr<State> state) : state_{std::move(state)} {}
ProcessSampler::~ProcessSampler() = default;

std::vector<ProcessSample> ProcessSampler::sample() { return state_->sample(); }

EventStream<std::vector<ProcessSample>> ProcessSampler::stream(std::chrono::duration<double> interval) {
    return streamOf<std::vector<ProcessSample>>(state_, interval);
}

// ---- Process control -----------------------------------------------------------------------------------------------

bool canTerminate(const ProcessSample& sample, const ProcessSignals& signals) {
    static const std::array<Text, 4> protectedNames{"kernel_task", "launchd", "WindowServer", "loginwindow"};
    return sample.id >= 2 && sample.id != signals.ownIdentifier() &&
           std::ranges::find(protectedNames, sample.name) == protectedNames.end();
}

namespace {

constexpr const char* hasExitedSentence = "That process has already exited.";

/// A process that is gone already can't be held; without a path to check, the system's own words say so.
std::unique_ptr<ProcessHandle> held(const ProcessSample& sample, ProcessSignals& signals) {
    if (!canTerminate(sample, signals)) {
        throw KestrelError::safetyViolation(systemVocabulary().protectedProcess);
    }
    try {
        return signals.hold(sample.id);
    } catch (const PlatformError& error) {
        if (error.code() == ESRCH && sample.executablePath) throw KestrelError::staleItem(hasExitedSentence);
        throw KestrelError::unavailable(error.description());
    }
}

/// Held before it is looked at: whatever the path below belongs to, only the process held now is signalled.
void sendAfterCheck(const ProcessSample& sample, ProcessHandle& handle, ProcessInfo& info, ProcessSignal signal) {
    if (sample.executablePath) {
        const std::optional<Text> path = info.executablePath(sample.id);
        if (!path) throw KestrelError::staleItem(hasExitedSentence);
        if (*path != *sample.executablePath) {
            throw KestrelError::staleItem("The PID now belongs to a different process, so Kestrel left it alone.");
        }
    }
    try {
        handle.send(signal);
    } catch (const PlatformError& error) {
        throw KestrelError::unavailable(error.description());
    }
}

}  // namespace

void sendSignal(const ProcessSample& sample, ProcessSignal signal, ProcessInfo& info, ProcessSignals& signals) {
    sendAfterCheck(sample, *held(sample, signals), info, signal);
}

bool ProcessControl::canTerminate(const ProcessSample& sample) {
    return KestrelCore::canTerminate(sample, *ProcessSignals::system());
}

void ProcessControl::terminate(const ProcessSample& sample) {
    sendSignal(sample, ProcessSignal::quit, *ProcessInfo::system(), *ProcessSignals::system());
}

void ProcessControl::forceQuit(const ProcessSample& sample) {
    sendSignal(sample, ProcessSignal::forceQuit, *ProcessInfo::system(), *ProcessSignals::system());
}

void ProcessControl::freeze(const ProcessSample& sample) {
    sendSignal(sample, ProcessSignal::freeze, *ProcessInfo::system(), *ProcessSignals::system());
}

void ProcessControl::resume(const ProcessSample& sample) {
    sendSignal(sample, ProcessSignal::resume, *ProcessInfo::system(), *ProcessSignals::system());
}

struct HeldProcess::State {
    ProcessSample sample;
    std::unique_ptr<ProcessInfo> info;
    std::unique_ptr<ProcessHandle> handle;
};

HeldProcess::HeldProcess(const ProcessSample& sample)
    : state_{std::make_unique<State>(sample, ProcessInfo::system(), held(sample, *ProcessSignals::system()))} {}
HeldProcess::HeldProcess(HeldProcess&&) noexcept = default;
HeldProcess& HeldProcess::operator=(HeldProcess&&) noexcept = default;
HeldProcess::~HeldProcess() = default;

void HeldProcess::terminate() { sendAfterCheck(state_->sample, *state_->handle, *state_->info, ProcessSignal::quit); }

void HeldProcess::forceQuit() {
    sendAfterCheck(state_->sample, *state_->handle, *state_->info, ProcessSignal::forceQuit);
}

bool HeldProcess::hasExited() const { return state_->handle->hasExited(); }

}  // namespace KestrelCore
