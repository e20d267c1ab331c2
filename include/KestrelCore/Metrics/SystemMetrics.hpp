#pragma once

#include "KestrelCore/Base/EventStream.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Metrics/ProcessSample.hpp"
#include "KestrelCore/Metrics/SystemSample.hpp"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace KestrelCore {

// ---- The system as a whole -----------------------------------------------------------------------------------------

/// What there is to say of the memory beside a `SystemSample`. Each is absent when the system does not tell.
struct MemoryDetails {
    /// Content of files that is kept in memory and given up on demand. On Linux none of it counts as used, but for the
    /// part that is shared memory; on macOS inactive pages of it do.
    std::optional<std::int64_t> cacheBytes{};
    std::optional<std::int64_t> swapTotalBytes{};  ///< 0 without swap

    bool operator==(const MemoryDetails&) const = default;
};

/// Reads the system's counters. Processor and network figures are rates since the sampler's previous reading, whoever
/// asked for that one; the first reading has zeros for them. Calls from any thread run one at a time.
///
///     SystemMetricsSampler sampler;
///     EventStream<SystemSample> samples = sampler.stream(std::chrono::seconds{1});
///     while (const auto sample = samples.next()) show(*sample);  // until somebody calls samples.cancel()
///
/// Two streams of one sampler shorten each other's intervals: each reading is the earlier one of the next, whichever
/// stream that belongs to. Give each stream its own sampler where that matters.
class KESTRELCORE_EXPORT SystemMetricsSampler {
public:
    SystemMetricsSampler();
    SystemMetricsSampler(const SystemMetricsSampler&) = delete;
    SystemMetricsSampler& operator=(const SystemMetricsSampler&) = delete;
    ~SystemMetricsSampler();

    /// Never fails: a figure that the system does not give is zero, absent or "Unknown".
    [[nodiscard]] SystemSample sample();

    /// What the memory holds now, beside what samples say of it. Never fails, and is no reading: it shortens nobody's
    /// interval.
    [[nodiscard]] MemoryDetails memoryDetails();

    /// A sample at once, then one after each `interval`, until the stream is cancelled or dropped, which never waits
    /// for the interval. Time during which the machine sleeps counts. An interval that is not above 0, or no number,
    /// counts as 0.05 s; an infinite one gives the first sample only. The stream keeps what it needs of the
    /// sampler alive. Throws `std::system_error` when no thread can be started; the stream itself never fails.
    [[nodiscard]] EventStream<SystemSample> stream(std::chrono::duration<double> interval);

private:
    friend struct SamplerAccess;
    struct State;
    explicit SystemMetricsSampler(std::shared_ptr<State> state);

    std::shared_ptr<State> state_;
};

// ---- Processes -----------------------------------------------------------------------------------------------------

/// Reads the process table. `cpuPercent` is a rate since the sampler's previous reading, whoever asked for that one; it
/// is 0 on the first sight of a process. Calls from any thread run one at a time.
class KESTRELCORE_EXPORT ProcessSampler {
public:
    ProcessSampler();
    ProcessSampler(const ProcessSampler&) = delete;
    ProcessSampler& operator=(const ProcessSampler&) = delete;
    ~ProcessSampler();

    /// Every process that may be inspected, in the kernel's order; zombies and processes that vanish meanwhile are left
    /// out. Never fails: empty when the processes can't be listed.
    [[nodiscard]] std::vector<ProcessSample> sample();

    /// As `SystemMetricsSampler::stream`.
    [[nodiscard]] EventStream<std::vector<ProcessSample>> stream(std::chrono::duration<double> interval);

private:
    friend struct SamplerAccess;
    struct State;
    explicit ProcessSampler(std::shared_ptr<State> state);

    std::shared_ptr<State> state_;
};

/// Asks a sampled process to quit, or tells it something harder. No state; any thread.
class KESTRELCORE_EXPORT ProcessControl {
public:
    ProcessControl() = delete;

    /// Whether `terminate` would try: not for the identifiers below 2, this process itself, and the names
    /// "kernel_task", "launchd", "WindowServer" and "loginwindow", exactly so spelled.
    [[nodiscard]] static bool canTerminate(const ProcessSample& sample);

    /// Sends the request to quit (SIGTERM), once, and does not wait for it to be heard.
    ///
    /// The process is held on to first and compared with the sample then, so that an identifier which another
    /// executable runs by now is never signalled. The same executable under a reused identifier, and a sample without
    /// an executable path, can't be told apart from the process that was sampled. On a kernel without process
    /// descriptors (before Linux 5.3) the identifier alone is signalled right after the comparison.
    ///
    /// Throws `KestrelError`: `safetyViolation` where `canTerminate` is false, `staleItem` when the process has exited
    /// or its identifier belongs to another one, `unavailable` with the system's text when it refuses.
    static void terminate(const ProcessSample& sample);

    /// Has the system end the process (SIGKILL), which can save nothing then. Checks and errors as `terminate`.
    static void forceQuit(const ProcessSample& sample);

    /// Lets the process stand still (SIGSTOP) until it is resumed (SIGCONT); it keeps what it holds meanwhile. Checks
    /// and errors as `terminate`.
    static void freeze(const ProcessSample& sample);
    static void resume(const ProcessSample& sample);
};

/// One process over a while: what is asked of it now and later is asked of the very process that was held, also when
/// that one ends meanwhile and its identifier is given to another. On a kernel without process descriptors (before
/// Linux 5.3) the identifier alone stands for it. One thread at a time.
class KESTRELCORE_EXPORT HeldProcess {
public:
    /// Takes hold of a sampled process. Throws as `ProcessControl::terminate` does where that would not try, and where
    /// the process is gone.
    explicit HeldProcess(const ProcessSample& sample);
    HeldProcess(HeldProcess&&) noexcept;
    HeldProcess& operator=(HeldProcess&&) noexcept;
    ~HeldProcess();

    /// As `ProcessControl`, with the same checks each time.
    void terminate();
    void forceQuit();
    /// Whether it has ended since. Does not wait.
    [[nodiscard]] bool hasExited() const;

private:
    struct State;

    std::unique_ptr<State> state_;
};

}  // namespace KestrelCore
