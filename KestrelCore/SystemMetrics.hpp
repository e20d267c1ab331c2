#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/EventStream.hpp"
#include "KestrelCore/Base/Hashing.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

struct SystemMetricsSources;
struct ProcessSources;

// ---- The system as a whole -----------------------------------------------------------------------------------------

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
[[nodiscard]] KESTRELCORE_EXPORT std::optional<ThermalLevel> thermalLevelFromRawValue(std::string_view rawValue);

/// One reading of the machine.
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

/// Reads the system's counters. Processor and network figures are rates since the sampler's previous reading, whoever
/// asked for that one; the first reading has zeros for them. Calls from any thread run one at a time.
class KESTRELCORE_EXPORT SystemMetricsSampler {
public:
    SystemMetricsSampler();
    /// For this library's own tests: hosts have no `SystemMetricsSources`.
    explicit SystemMetricsSampler(SystemMetricsSources sources);
    SystemMetricsSampler(const SystemMetricsSampler&) = delete;
    SystemMetricsSampler& operator=(const SystemMetricsSampler&) = delete;
    ~SystemMetricsSampler();

    /// Never fails: a figure that the system does not give is zero, absent or "Unknown".
    [[nodiscard]] SystemSample sample();

    /// A sample at once, then one after each interval of `every`, until the stream is cancelled or dropped, which never
    /// waits for the interval. Time during which the machine sleeps counts. An interval that is not above 0, or no
    /// number, counts as 0.05 s; an infinite one gives the first sample only. The stream keeps what it needs of the
    /// sampler alive. Throws `std::system_error` when no thread can be started; the stream itself never fails.
    [[nodiscard]] EventStream<SystemSample> stream(std::chrono::duration<double> every);

private:
    struct State;
    std::shared_ptr<State> state_;
};

// ---- Processes -----------------------------------------------------------------------------------------------------

/// One reading of one process.
struct KESTRELCORE_EXPORT ProcessSample {
    std::int32_t id = 0;                   ///< process identifier
    Text name{};                           ///< "Process 1234" when the system has no name for it
    std::optional<Text> executablePath{};  ///< absent for the kernel's own threads and where the system does not tell
    double cpuPercent = 0;                 ///< of one processor: 100 is one busy core; since the previous reading
    std::int64_t residentBytes = 0;        ///< physical memory held
    std::int64_t virtualBytes = 0;         ///< address space taken
    std::int64_t threadCount = 0;
    std::int64_t runningThreadCount = 0;  ///< threads on a processor or ready for one
    std::int64_t priority = 0;            ///< in the system's own scale

    bool operator==(const ProcessSample&) const = default;
};

/// Reads the process table. `cpuPercent` is a rate since the sampler's previous reading, whoever asked for that one; it
/// is 0 on the first sight of a process. Calls from any thread run one at a time.
class KESTRELCORE_EXPORT ProcessSampler {
public:
    ProcessSampler();
    /// For this library's own tests: hosts have no `ProcessSources`.
    explicit ProcessSampler(ProcessSources sources);
    ProcessSampler(const ProcessSampler&) = delete;
    ProcessSampler& operator=(const ProcessSampler&) = delete;
    ~ProcessSampler();

    /// Every process that may be inspected, in the kernel's order; zombies and processes that vanish meanwhile are left
    /// out. Never fails: empty when the processes can't be listed.
    [[nodiscard]] std::vector<ProcessSample> sample();

    /// As `SystemMetricsSampler::stream`.
    [[nodiscard]] EventStream<std::vector<ProcessSample>> stream(std::chrono::duration<double> every);

private:
    struct State;
    std::shared_ptr<State> state_;
};

/// Asks a sampled process to quit. No state; any thread.
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
};

}  // namespace KestrelCore

template <>
struct std::hash<KestrelCore::SystemSample> {
    std::size_t operator()(const KestrelCore::SystemSample& s) const {
        return KestrelCore::hashOf(s.timestamp, s.cpuUsedFraction, s.memoryUsedBytes, s.memoryTotalBytes,
                                   s.swapUsedBytes, s.memoryPressure, s.batteryPercent, s.isCharging, s.thermalLevel,
                                   s.networkDownBytesPerSecond, s.networkUpBytesPerSecond);
    }
};

template <>
struct std::hash<KestrelCore::ProcessSample> {
    std::size_t operator()(const KestrelCore::ProcessSample& s) const {
        return KestrelCore::hashOf(s.id, s.name, s.executablePath, s.cpuPercent, s.residentBytes, s.virtualBytes,
                                   s.threadCount, s.runningThreadCount, s.priority);
    }
};
