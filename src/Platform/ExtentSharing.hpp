#pragma once

#include <cstdint>

namespace KestrelCore {

class ContentFile;

/// What came of an attempt to let two files have the same blocks.
enum class SharingOutcome : std::uint8_t {
    shared,
    differs,      ///< the contents are not the same there; nothing was changed
    unsupported,  ///< the file system, or the pair of file systems, can't
    failed
};

struct SharingResult {
    SharingOutcome outcome = SharingOutcome::failed;
    std::int64_t bytes = 0;  ///< from the offset on, that stand in common blocks now; above 0 when `shared`
    int errorNumber = 0;     ///< of a failure
};

/// Whether the system has such a call at all. macOS has none: it makes clones as new files only, and one in the place
/// of an equal file would lose what another program that holds the old one writes to it.
[[nodiscard]] bool canShareExtents();

/// Has the system compare `bytes` bytes (above 0) from `offset` on of both files and, where they are equal, let
/// `destination` have the blocks of `source`. It may do less than was asked. Neither content changes, nor any time of
/// the files, whoever writes to them meanwhile.
[[nodiscard]] SharingResult shareExtents(const ContentFile& source, const ContentFile& destination, std::int64_t offset,
                                         std::int64_t bytes);

}  // namespace KestrelCore
