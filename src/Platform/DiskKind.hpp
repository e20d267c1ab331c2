#pragma once

#include <cstdint>

namespace KestrelCore {

/// How the disk behind a file system is read best.
enum class DiskKind : std::uint8_t {
    rotating,  ///< one place after the other, in the order in which they lie
    solid,     ///< many places at once
    unknown
};

/// Of the file system with that device number. Blocks on the system's own files only.
[[nodiscard]] DiskKind diskKind(std::uint64_t device);

}  // namespace KestrelCore
