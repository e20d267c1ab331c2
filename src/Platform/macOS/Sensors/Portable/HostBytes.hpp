#pragma once

#include "Platform/HostStatistics.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

// What the Mach host and `sysctl` say of the machine, as bytes that somebody else fetched. An answer that is shorter
// than its record is none; what a newer system puts behind it is passed over.

namespace KestrelCore::HostBytes {

/// Four 32-bit counters, of all processors (HOST_CPU_LOAD_INFO) or of one (PROCESSOR_CPU_LOAD_INFO).
struct TicksLayout {
    static constexpr std::size_t user = 0;
    static constexpr std::size_t system = 4;
    static constexpr std::size_t idle = 8;
    static constexpr std::size_t nice = 12;
    static constexpr std::size_t size = 16;
};

/// `vm_statistics64` (HOST_VM_INFO64): 32-bit counts of pages among 64-bit counters of events.
struct MemoryLayout {
    static constexpr std::size_t active = 4;
    static constexpr std::size_t inactive = 8;
    static constexpr std::size_t wired = 12;
    static constexpr std::size_t compressor = 128;
    static constexpr std::size_t external = 136;
    static constexpr std::size_t size = 152;
};

/// `xsw_usage` (vm.swapusage), in bytes.
struct SwapLayout {
    static constexpr std::size_t total = 0;
    static constexpr std::size_t used = 16;
    static constexpr std::size_t size = 32;
};

/// The counters are of 32 bits and begin anew when they are full, which the sampler takes for a moment without load.
[[nodiscard]] std::optional<ProcessorTicks> processorTicks(std::string_view load);

/// One record after the other; a last one that is cut off is left out. At most 4096.
[[nodiscard]] std::vector<ProcessorTicks> eachProcessorTicks(std::string_view loads);

/// Absent without the statistics. Without `swap`, 0 bytes of it are used and the total is absent. The cache is what
/// files back; a part of it is also among the inactive pages, which count as used here.
[[nodiscard]] std::optional<MemoryStatistics> memory(std::string_view statistics, std::string_view swap,
                                                     std::int64_t pageBytes);

}  // namespace KestrelCore::HostBytes
