#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Scanning/ScanOptions.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <cstdint>
#include <optional>
#include <vector>

namespace KestrelCore {

/// Where the room went that a file system says is used, beside what a scan of all of it shows. It adds up:
/// `usedBytes` = `shownBytes` + `deletedOpenBytes()` + `restBytes()`, to the byte.
struct KESTRELCORE_EXPORT DiskAccount {
    struct Process {
        std::int32_t id = 0;
        Text name;

        bool operator==(const Process&) const = default;
    };
    /// A file that was deleted and takes its room until the last of these processes closes it.
    struct DeletedOpenFile {
        Text path;  ///< what it was called
        std::int64_t allocatedBytes = 0;
        std::vector<Process> processes;

        bool operator==(const DeletedOpenFile&) const = default;
    };
    /// One that is mounted below the root of the scan, which did not enter it.
    struct OtherFileSystem {
        Text path;
        Text kind;                              ///< such as "ext4"; empty when unknown
        std::optional<std::int64_t> usedBytes;  ///< absent when it did not answer in time

        bool operator==(const OtherFileSystem&) const = default;
    };

    Text kind;                        ///< of the file system; empty when unknown
    std::int64_t totalBytes = 0;      ///< of all its room
    std::int64_t usedBytes = 0;       ///< what it says is taken
    std::int64_t freeBytes = 0;       ///< not taken
    std::int64_t availableBytes = 0;  ///< of that what users may take; the rest is reserved

    std::int64_t shownBytes = 0;                ///< the total of the scan
    std::int64_t unreadItems = 0;               ///< issues of the scan, which keeps a bounded number
    std::vector<Text> leftOut;                  ///< see `ScanOptions::leftOut`; part of the rest
    std::vector<DeletedOpenFile> deletedOpen;   ///< as far as this user may see, largest first
    std::vector<OtherFileSystem> otherSystems;  ///< those that keep anything, largest first; no part of the sum
    /// Its figures count what can't be reached here (layers, subvolumes, snapshots), or less than its files add up to
    /// (shared and compressed data): the rest may then be large, or below zero.
    bool sharesRoom = false;

    [[nodiscard]] std::int64_t deletedOpenBytes() const;
    /// What nothing above explains: the file system's own data, what could not be read or was left out, what lies under
    /// mounts, what changed meanwhile. May be below zero.
    [[nodiscard]] std::int64_t restBytes() const;

    /// Asks the system now, so right after the scan; a file system below the root that does not answer is waited for
    /// half a second. Absent where the root of the scan is not the top of a file system, the options enter
    /// others, or the system does not tell.
    [[nodiscard]] static std::optional<DiskAccount> of(const ScanSnapshot& snapshot, const ScanOptions& options);
};

}  // namespace KestrelCore
