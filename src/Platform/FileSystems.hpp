#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCore {

/// The room of a file system, as it tells itself.
struct FileSystemSpace {
    std::int64_t totalBytes = 0;      ///< 0 of one that keeps nothing anywhere, such as /proc
    std::int64_t freeBytes = 0;       ///< not taken, what is reserved for the system included
    std::int64_t availableBytes = 0;  ///< what a user may still take

    bool operator==(const FileSystemSpace&) const = default;
};

/// A file system by where it is mounted.
struct FileSystemMount {
    std::string path;  ///< absolute, raw
    std::string kind;  ///< such as "ext4"; empty where the system does not tell

    bool operator==(const FileSystemMount&) const = default;
};

/// What is mounted at a folder, and below it.
struct FileSystemLayout {
    FileSystemMount top;
    /// Its figures count what can't be reached from its top (layers, other subvolumes, snapshots), or less than its
    /// files add up to (shared and compressed data).
    bool sharesRoom = false;
    /// Other file systems, each once, in the system's order; also those that keep nothing.
    std::vector<FileSystemMount> below;
};

/// Absent where `folder` (absolute, free of links) is not the top of a file system that is shown there whole, and where
/// the system does not tell.
[[nodiscard]] std::optional<FileSystemLayout> fileSystemAt(const std::string& folder);

/// Of the file system that holds `path`; absent when it can't be asked. Blocks for as long as that takes, behind a
/// network for ever.
[[nodiscard]] std::optional<FileSystemSpace> fileSystemSpace(const std::string& path);

}  // namespace KestrelCore
