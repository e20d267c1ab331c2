#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// What the system says of one mounted file system.
struct MountedFileSystem {
    std::string point;   ///< where, absolute and raw
    std::string source;  ///< what, such as "/dev/disk3s5"; a server's name, or any word
    std::string kind;    ///< such as "apfs"
    /// The number that `FileStatus` gives for what is on it; but what is on the data volume bears the number of "/".
    std::uint32_t device = 0;
    std::uint64_t blockBytes = 0;  ///< what the three figures that follow count in
    std::uint64_t blocks = 0;
    std::uint64_t freeBlocks = 0;
    std::uint64_t availableBlocks = 0;
    bool isLocal = false;       ///< on a disk of this machine, or at least behind no network
    bool isRoot = false;        ///< the one at "/"
    bool isDataOfRoot = false;  ///< what people put on the volume that the system starts from
    bool isSnapshot = false;    ///< a state of another volume
    bool isOutOfSight = false;  ///< of no interest to people, as whoever mounted it said

    bool operator==(const MountedFileSystem&) const = default;
};

/// The length of one record that `getfsstat` gives, and how it is laid out: numbers first, then three texts.
inline constexpr std::size_t mountRecordBytes = 2168;

/// Reads records that stand one behind the other; what is behind the last whole one is left out, and so is a record
/// without a place.
[[nodiscard]] std::vector<MountedFileSystem> readMountedFileSystems(std::span<const char> bytes);

/// Blocks as bytes. A file system may claim anything: at most a quarter of the largest number.
[[nodiscard]] std::int64_t bytesOfBlocks(std::uint64_t blocks, std::uint64_t blockBytes) noexcept;

/// Whether `path` is `folder` or lies below it; both absolute and standardised.
[[nodiscard]] bool isAtOrBelow(std::string_view path, std::string_view folder) noexcept;

}  // namespace KestrelCore
