#pragma once

#include "Base/FatalError.hpp"
#include "Platform/POSIX/Walk/StatusAt.hpp"
#include "Platform/macOS/Volumes/Portable/VolumeTable.hpp"
#include "Platform/macOS/Walk/Portable/BulkAttributes.hpp"

#include <cstddef>
#include <string_view>

namespace KestrelCore::Fuzzing {

inline void expectOfRecords(bool holds, const char* promise) {
    if (!holds) fatalError("fuzz/BulkAttributes", promise);
}

/// Any bytes as what the system says of a folder: record by record as far as they go, and however many are claimed.
/// Stops the process when a promise is broken. The number of records that were understood.
inline std::size_t exerciseBulkRecords(std::string_view input) {
    std::size_t count = 0;
    std::size_t offset = 0;
    BulkRecord record;
    while (const std::size_t length = readBulkRecord(input.substr(offset), record)) {
        expectOfRecords(length <= input.size() - offset, "A record lies in its bytes");
        offset += length;
        ++count;
        expectOfRecords(!record.name.empty() && record.name != "." && record.name != "..", "A record has a name");
        expectOfRecords(record.name.find('/') == std::string_view::npos, "A name is no path");
        expectOfRecords(record.name.data() >= input.data() &&
                            record.name.data() + record.name.size() < input.data() + input.size() &&
                            *(record.name.data() + record.name.size()) == '\0',
                        "A name lies in the bytes, with its NUL");
        const FileStatus& status = record.status;
        expectOfRecords(status.size >= 0 && status.allocatedBytes >= 0 && status.allocatedBytes <= largestAllocation,
                        "Sizes are in range");
        expectOfRecords(status.modifiedNanoseconds < 1'000'000'000, "A time is one");
        expectOfRecords(!record.isComplete || record.errorNumber == 0, "What is complete has no error");
    }
    const auto extent = bulkRecordsExtent(input, count);
    expectOfRecords(extent == offset, "The lengths of what was read add up");
    return count;
}

/// The same bytes as the system's table of mounts, and as the text of its firmlinks.
inline void exerciseVolumes(std::string_view input) {
    const VolumeTable table{readMountedFileSystems(input), Firmlinks::parse(input)};
    for (const MountedFileSystem& mounted : table.mounted()) {
        expectOfRecords(mounted.point.starts_with('/'), "What is mounted is mounted somewhere");
        (void)table.isSeenElsewhere(mounted, "/");
        (void)table.layoutAt(mounted.point);
    }
    for (const MountedVolume& volume : table.volumes(4)) {
        expectOfRecords(volume.totalBytes >= 0 && volume.freeBytes >= 0 && volume.availableBytes >= 0,
                        "Room is not negative");
    }
    for (const Firmlinks::Link& link : table.firmlinks().links)
        expectOfRecords(link.place.starts_with('/') && link.folder.starts_with('/'), "Firmlinks are absolute");
}

}  // namespace KestrelCore::Fuzzing
