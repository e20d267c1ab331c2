#pragma once

#include "Platform/HostStatistics.hpp"
#include "Platform/NetworkInterfaces.hpp"
#include "Platform/ProcessDescriptions.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The texts of /proc, read by nobody here: each parser takes what a file held, whole or cut off, and gives an absent
// result for what it can't use. None throws, allocates by what the text claims, or stops the process. Views in results
// point into the text.

namespace KestrelCore::ProcText {

/// The first line of /proc/stat. Time that the host of a virtual machine took ("steal") is left out; the guests' time
/// is in `user` and `nice` already.
[[nodiscard]] std::optional<ProcessorTicks> processorTicks(std::string_view text);

/// The further lines of /proc/stat that speak of one processor each, in their order, by the same rules. At most 4096.
[[nodiscard]] std::vector<ProcessorTicks> eachProcessorTicks(std::string_view text);

/// When the machine was started, in seconds since 1970, out of /proc/stat.
[[nodiscard]] std::optional<std::uint64_t> bootTime(std::string_view text);

/// /proc/meminfo. What is used, all of it as active, is the total without what is available, as `free` and the
/// desktop's monitors have it; on a kernel that does not tell what is available, Active, Inactive and the kernel's own
/// memory as wired. Absent without either; other missing keys count 0. The cache is Cached, Buffers and SReclaimable,
/// absent without the first.
[[nodiscard]] std::optional<MemoryStatistics> memory(std::string_view text, std::int64_t pageBytes);

/// /proc/net/dev: name and 64-bit byte counters of every complete line. Replaces the content of `interfaces`;
/// `isLoopback` is not known here and stays false.
void interfaces(std::string_view text, std::vector<InterfaceCounters>& interfaces);

/// /proc/PID/stat, as far as it is of use.
struct ProcessStatus {
    std::string_view name;  ///< as stored: any bytes at all, blanks, newlines and ')' included
    char state = '?';       ///< 'R' runs or could run, 'Z' and 'X' are dead
    std::int32_t parentIdentifier = 0;
    bool isKernelThread = false;
    std::uint64_t processorTicks = 0;  ///< user + system
    std::int64_t priority = 0;
    std::int64_t threadCount = 0;
    std::uint64_t startTicks = 0;  ///< since the machine was started
    std::int64_t virtualBytes = 0;

    /// Nothing is left of the process but its entry.
    [[nodiscard]] bool isDead() const { return state == 'Z' || state == 'X' || state == 'x'; }
};
[[nodiscard]] std::optional<ProcessStatus> processStatus(std::string_view text);

/// The state letter alone, of a process or a thread.
[[nodiscard]] std::optional<char> processState(std::string_view text);

/// The number of the user that a process acts for, out of /proc/PID/status.
[[nodiscard]] std::optional<std::uint32_t> effectiveUser(std::string_view text);

/// The arguments in /proc/PID/cmdline with a blank between each two. Processes overwrite theirs with anything at all:
/// the blanks and zero bytes at the end go, and nothing else is promised.
[[nodiscard]] std::string commandLine(std::string_view text);

/// /proc/PID/io: what went to and came from disks, not what a cache answered.
[[nodiscard]] std::optional<ProcessTraffic> traffic(std::string_view text);

/// Resident bytes out of /proc/PID/statm.
[[nodiscard]] std::optional<std::int64_t> residentBytes(std::string_view text, std::int64_t pageBytes);

/// The full name of a process whose `name` the kernel may have cut at 15 bytes: the last component of
/// `executablePath`, else of the first argument of the command line, when it begins with `name`; otherwise `name`.
[[nodiscard]] std::string_view fullName(std::string_view name, std::string_view executablePath,
                                        std::string_view commandLine);
/// Whether `fullName` could make the name longer with that executable path, or with a command line.
[[nodiscard]] bool mayBeCut(std::string_view name);

/// A process identifier: decimal digits without a leading zero or sign, in the range of 32 bits. Otherwise absent.
[[nodiscard]] std::optional<std::int32_t> processIdentifier(std::string_view name);

}  // namespace KestrelCore::ProcText
