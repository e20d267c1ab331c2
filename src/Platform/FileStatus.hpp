#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace KestrelCore {

/// The type of a file system item, from the type bits of its mode.
enum class FileType : std::uint8_t {
    regular,
    directory,
    symbolicLink,
    fifo,
    socket,
    characterDevice,
    blockDevice,
    unknown
};

/// What `lstat` says about an item: links are never followed. The fields that anything above asks for, in one layout on
/// every system. What claims a negative size, or more than 2^50 allocated bytes, is no status but EOVERFLOW.
struct FileStatus {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t links = 1;           ///< hard links to the inode
    std::int64_t size = 0;             ///< logical bytes
    std::int64_t allocatedBytes = 0;   ///< blocks × 512
    std::int64_t modifiedSeconds = 0;  ///< since 1970
    std::uint32_t modifiedNanoseconds = 0;
    FileType type = FileType::unknown;
    bool isUserHidden = false;  ///< the system's own hidden flag; always false where there is none
    bool isDataless = false;    ///< content is not on this disk; always false where there is no such flag

    bool operator==(const FileStatus&) const = default;
};

/// What came of a look: either the status, or the errno value that kept it.
struct FileStatusResult {
    std::optional<FileStatus> status;
    int errorNumber = 0;
};
/// Looks at the item at `path` (raw bytes, as the system takes them) and never opens it. ENOENT for the empty path,
/// EINVAL for one that holds a NUL, EOVERFLOW for absurd claims. Any thread; blocks on the disk.
[[nodiscard]] FileStatusResult fileStatus(const std::string& path);

/// The type bits that a mode has for an item of this type; the same values on every system, so no header of one is
/// needed. 0 for an unknown type.
[[nodiscard]] constexpr std::uint32_t fileTypeBits(FileType type) {
    switch (type) {
    case FileType::regular: return 0100000;
    case FileType::directory: return 0040000;
    case FileType::symbolicLink: return 0120000;
    case FileType::fifo: return 0010000;
    case FileType::socket: return 0140000;
    case FileType::characterDevice: return 0020000;
    case FileType::blockDevice: return 0060000;
    case FileType::unknown: break;
    }
    return 0;
}

}  // namespace KestrelCore
