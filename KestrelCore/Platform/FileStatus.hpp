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

/// What `lstat` says about an item: links are never followed.
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

/// Looks at the item at `path` (raw bytes, as the system takes them). The errno value when that fails. Never opens it.
struct FileStatusResult {
    std::optional<FileStatus> status;
    int errorNumber = 0;
};
[[nodiscard]] FileStatusResult fileStatus(const std::string& path);

}  // namespace KestrelCore
