#pragma once

#include <cstdint>
#include <optional>

namespace KestrelCore {

class ContentFile;

/// Where the content of a file lies on its disk.
struct FileExtents {
    std::int64_t ownBytes = 0;     ///< in blocks that no other file has
    std::int64_t sharedBytes = 0;  ///< in blocks that other files, or snapshots of the file system, have too
    /// Equal for two files of one device whose content stands in the same blocks. 0 of one that has none.
    std::uint64_t fingerprint = 0;
};
/// Has the system write down first what has no place yet. Empty where the file system does not tell.
[[nodiscard]] std::optional<FileExtents> fileExtents(const ContentFile& file);

/// Where on its disk the content of a file begins, in bytes; empty where the file system does not tell.
[[nodiscard]] std::optional<std::uint64_t> firstPlaceOnDisk(const ContentFile& file);

/// Whether files of the file system that holds this one can have blocks in common, as far as its kind tells.
[[nodiscard]] bool mayShareBlocks(const ContentFile& file);

}  // namespace KestrelCore
