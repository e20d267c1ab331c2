#pragma once

#include "Platform/Linux/MountTable.hpp"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// What the kernel says about disks and mounts, read by nobody here. None throws or allocates by what a text claims.

namespace KestrelCore::DiskText {

/// One line of /proc/diskstats.
struct Line {
    std::string device;  ///< "major:minor"
    std::string name;
    std::uint64_t readBytes = 0;
    std::uint64_t writtenBytes = 0;

    bool operator==(const Line&) const = default;
};
/// The lines that are understood, in their order; a count that claims more than 64 bits of bytes stays at the most.
[[nodiscard]] std::vector<Line> diskStatistics(std::string_view text);

/// The mounts of `table` whose room is worth asking for: those on disks of this machine and the one at "/", each file
/// system once, where it is mounted first with its own top folder, and at most `most` of them. Images that are never
/// written (squashfs and its like) are always full and left out.
[[nodiscard]] std::vector<const Mount*> volumesOf(const MountTable& table, std::size_t most);

}  // namespace KestrelCore::DiskText
