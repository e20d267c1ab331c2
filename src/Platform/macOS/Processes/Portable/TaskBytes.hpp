#pragma once

#include "Platform/ProcessDescriptions.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

// The records of `libproc` that speak of one process, as bytes that somebody else fetched. An answer that is shorter
// than its record is none.

namespace KestrelCore::TaskBytes {

/// `proc_bsdinfo` (PROC_PIDTBSDINFO), which is also the first part of `proc_taskallinfo` (PROC_PIDTASKALLINFO).
struct ProcessLayout {
    static constexpr std::size_t status = 4;
    static constexpr std::size_t parent = 16;
    static constexpr std::size_t user = 20;  ///< the one it acts for
    static constexpr std::size_t startSeconds = 120;
    static constexpr std::size_t startMicroseconds = 128;
    static constexpr std::size_t size = 136;

    static constexpr std::uint32_t stopped = 4;  ///< SSTOP
    static constexpr std::uint32_t zombie = 5;   ///< SZOMB
};

/// `proc_taskinfo` (PROC_PIDTASKINFO), from the start of `proc_taskallinfo`, of which it is the second part.
struct TaskLayout {
    static constexpr std::size_t virtualBytes = ProcessLayout::size + 0;
    static constexpr std::size_t residentBytes = ProcessLayout::size + 8;
    static constexpr std::size_t userTime = ProcessLayout::size + 16;
    static constexpr std::size_t systemTime = ProcessLayout::size + 24;
    static constexpr std::size_t threads = ProcessLayout::size + 84;
    static constexpr std::size_t runningThreads = ProcessLayout::size + 88;
    static constexpr std::size_t priority = ProcessLayout::size + 92;
    static constexpr std::size_t size = ProcessLayout::size + 96;
};

/// `rusage_info_v2` (RUSAGE_INFO_V2).
struct UsageLayout {
    static constexpr std::size_t readBytes = 144;
    static constexpr std::size_t writtenBytes = 152;
    static constexpr std::size_t size = 160;
};

/// `vnode_fdinfowithpath` (PROC_PIDFDVNODEPATHINFO).
struct OpenFileLayout {
    static constexpr std::size_t device = 24;
    static constexpr std::size_t mode = 28;
    static constexpr std::size_t links = 30;
    static constexpr std::size_t inode = 32;
    static constexpr std::size_t blocks = 120;  ///< of 512 bytes
    static constexpr std::size_t path = 176;
    static constexpr std::size_t pathBytes = 1024;
    static constexpr std::size_t size = 1200;
};

/// When a process was started, exactly as the system says it: two processes that follow one another under one
/// identifier have different ones.
struct StartTime {
    std::uint64_t seconds = 0;  ///< since 1970
    std::uint64_t microseconds = 0;

    bool operator==(const StartTime&) const = default;
};

struct ProcessRecord {
    std::int32_t parentIdentifier = 0;
    std::uint32_t user = 0;
    StartTime started{};
    bool isStopped = false;
    bool isZombie = false;
};
/// Of the first part alone, or of both.
[[nodiscard]] std::optional<ProcessRecord> processRecord(std::string_view bytes);

struct TaskRecord {
    std::int64_t virtualBytes = 0;
    std::int64_t residentBytes = 0;
    std::uint64_t processorTime = 0;  ///< user and system together, in units of Mach time
    std::int64_t threadCount = 0;
    std::int64_t runningThreadCount = 0;
    std::int64_t priority = 0;
};
/// Needs both parts. Sizes and counts are never below 0, whatever the bytes say, and sums stay at their largest.
[[nodiscard]] std::optional<TaskRecord> taskRecord(std::string_view bytes);

[[nodiscard]] std::optional<ProcessTraffic> traffic(std::string_view usage);

/// One open file of a process.
struct OpenFile {
    std::uint32_t device = 0;
    std::uint64_t inode = 0;
    bool isRegular = false;
    bool isDeleted = false;           ///< no name leads to it any more
    std::int64_t allocatedBytes = 0;  ///< 0 to 2^50: a file system may say anything
    std::string_view path;            ///< a part of the bytes; the end of one that is too long, empty when unknown
};
[[nodiscard]] std::optional<OpenFile> openFile(std::string_view bytes);

}  // namespace KestrelCore::TaskBytes
