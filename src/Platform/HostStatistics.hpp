#pragma once

#include <cstdint>
#include <memory>
#include <optional>

namespace KestrelCore {

/// Processor time of all processors together since the machine started, in the system's ticks. Their length does not
/// matter: only shares of differences are ever computed. Waiting for a disk counts as idle, interrupts as system.
struct ProcessorTicks {
    std::uint64_t user = 0;
    std::uint64_t system = 0;
    std::uint64_t idle = 0;
    std::uint64_t nice = 0;  ///< user time of processes with lowered priority; not part of `user`
};

/// What the memory holds now, in pages of `HostStatistics::pageBytes`. The four make up what counts as used: free pages
/// are in none of them. A system that tells what is used in one figure has it as active, and zeros in the others.
struct MemoryStatistics {
    std::uint64_t activePages = 0;
    std::uint64_t inactivePages = 0;
    std::uint64_t wiredPages = 0;       ///< can't be paged out, the kernel's own memory included
    std::uint64_t compressorPages = 0;  ///< what compressed memory takes
    std::int64_t swapUsedBytes = 0;     ///< 0 when the system does not tell
    /// Content of files that is kept in memory and given up on demand. Absent when the system does not tell.
    std::optional<std::int64_t> cacheBytes{};
    std::optional<std::int64_t> swapTotalBytes{};  ///< absent when the system does not tell; 0 without swap
};

/// Raw figures of the machine as a whole. An absent result is a failed query, which is an ordinary outcome.
/// One thread at a time.
class HostStatistics {
public:
    virtual ~HostStatistics() = default;

    [[nodiscard]] virtual std::optional<ProcessorTicks> processorTicks() = 0;
    [[nodiscard]] virtual std::optional<MemoryStatistics> memory() = 0;
    /// Bytes of a page of `MemoryStatistics`. Above 0, and the same for as long as the machine runs.
    [[nodiscard]] virtual std::int64_t pageBytes() const = 0;
    /// Memory that the system can use; 0 when it does not tell.
    [[nodiscard]] virtual std::int64_t physicalMemoryBytes() const = 0;
    /// Processors that run now, at least 1. Quotas of this process do not count.
    [[nodiscard]] virtual int activeProcessorCount() const = 0;

    [[nodiscard]] static std::unique_ptr<HostStatistics> system();
};

}  // namespace KestrelCore
