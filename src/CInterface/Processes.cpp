#include "CInterface/Boundary.hpp"

#include "KestrelCore/Metrics/ProcessSample.hpp"
#include "KestrelCore/Metrics/SystemMetrics.hpp"

#include <memory>
#include <utility>
#include <vector>

using namespace KestrelCore;
using namespace KestrelC;

struct kestrel_process_sampler {
    ProcessSampler sampler;
};

struct kestrel_processes {
    std::vector<ProcessSample> samples;
    std::vector<kestrel_process> shown{};  ///< views of these
};

namespace {

kestrel_process shown(const ProcessSample& sample) {
    return {.id = sample.id,
            .may_be_signalled = ProcessControl::canTerminate(sample),
            .name = viewOf(sample.name),
            .executable_path = sample.executablePath ? viewOf(*sample.executablePath) : kestrel_text{},
            .cpu_percent = sample.cpuPercent,
            .resident_bytes = sample.residentBytes,
            .virtual_bytes = sample.virtualBytes,
            .thread_count = sample.threadCount,
            .running_thread_count = sample.runningThreadCount,
            .priority = sample.priority};
}

void send(const ProcessSample& sample, kestrel_signal signal) {
    switch (signal) {
    case KESTREL_SIGNAL_QUIT: return ProcessControl::terminate(sample);
    case KESTREL_SIGNAL_FORCE_QUIT: return ProcessControl::forceQuit(sample);
    case KESTREL_SIGNAL_FREEZE: return ProcessControl::freeze(sample);
    case KESTREL_SIGNAL_RESUME: return ProcessControl::resume(sample);
    default: throw Failure{KESTREL_INVALID_ARGUMENT, "There is no such signal."};
    }
}

}  // namespace

kestrel_code kestrel_process_sampler_new(kestrel_process_sampler** sampler, kestrel_error** error) noexcept {
    return making(sampler, error, [] { return std::make_unique<kestrel_process_sampler>(); });
}

kestrel_code kestrel_process_sampler_read(kestrel_process_sampler* sampler, kestrel_processes** processes,
                                          kestrel_error** error) noexcept {
    return making(processes, error, [&] {
        auto list = std::make_unique<kestrel_processes>(needed(sampler, "sampler").sampler.sample());
        list->shown.reserve(list->samples.size());
        for (const ProcessSample& sample : list->samples) list->shown.push_back(shown(sample));
        return list;
    });
}

void kestrel_process_sampler_free(kestrel_process_sampler* sampler) noexcept { delete sampler; }

size_t kestrel_processes_count(const kestrel_processes* processes) noexcept {
    return processes == nullptr ? 0 : processes->shown.size();
}

const kestrel_process* kestrel_processes_at(const kestrel_processes* processes, size_t index) noexcept {
    return index < kestrel_processes_count(processes) ? &processes->shown[index] : nullptr;
}

void kestrel_processes_free(kestrel_processes* processes) noexcept { delete processes; }

kestrel_code kestrel_processes_signal(const kestrel_processes* processes, size_t index, kestrel_signal signal,
                                      kestrel_error** error) noexcept {
    return guarded(error, [&] {
        if (index >= needed(processes, "processes").samples.size())
            throw Failure{KESTREL_INVALID_ARGUMENT, "The list has no process at that index."};
        send(processes->samples[index], signal);
    });
}
