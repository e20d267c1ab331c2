#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace KestrelCore {

/// A file system that is mounted somewhere, with the room it has. Raw: what is used is computed above the platform.
struct MountedVolume {
    Text mountPoint{};
    Text fileSystem{};                ///< its kind, such as "ext4"
    Text device{};                    ///< what is mounted, such as "/dev/sda1"
    std::string counters{};           ///< the name of its `DiskCounters`; empty where nobody counts for it
    std::int64_t totalBytes = 0;      ///< the size of the file system
    std::int64_t freeBytes = 0;       ///< not taken, room that is reserved for the system included
    std::int64_t availableBytes = 0;  ///< what a user may still take
};

/// What was read from and written to a disk, or a part of one, since the system started. Raw: a counter starts anew
/// when its disk is taken out and put back.
struct DiskCounters {
    std::string name;      ///< the system's, such as "sda1"
    bool isWhole = false;  ///< a whole disk, and neither a part of one nor made of others
    std::uint64_t readBytes = 0;
    std::uint64_t writtenBytes = 0;
};

/// The volumes and disks there are now. One thread at a time.
class Volumes {
public:
    virtual ~Volumes() = default;

    /// The volumes that keep their data on disks of this machine, each once however often it is mounted, in the
    /// system's order. Volumes behind a network or a program are left out: asking one may never come back. Empty when
    /// the system does not tell.
    [[nodiscard]] virtual std::vector<MountedVolume> mounted() = 0;

    /// Disks and their parts, in the system's order. Empty when the system does not tell.
    [[nodiscard]] virtual std::vector<DiskCounters> disks() = 0;

    [[nodiscard]] static std::unique_ptr<Volumes> system();
};

}  // namespace KestrelCore
