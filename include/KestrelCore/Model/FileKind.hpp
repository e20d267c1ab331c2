#pragma once

#include "KestrelCore/Base/RawValue.hpp"

#include <array>
#include <cstdint>
#include <optional>

namespace KestrelCore {

/// What a scanned item is. The raw value is the case's position and is what snapshots store. A package is a directory
/// that file browsers show as one file, told by its extension; a symbolic link is the link itself, wherever it leads;
/// other is what holds no content of its own: sockets, FIFOs, devices.
enum class FileKind : std::uint8_t { file, directory, package, symbolicLink, other };

/// Every case, in the order of the raw values.
inline constexpr std::array allFileKinds{FileKind::file, FileKind::directory, FileKind::package, FileKind::symbolicLink,
                                         FileKind::other};

/// 0 to 4.
[[nodiscard]] constexpr int rawValue(FileKind kind) { return static_cast<int>(kind); }
/// Empty for any integer outside 0…4.
template <>
[[nodiscard]] constexpr std::optional<FileKind> fromRawValue<FileKind>(std::int64_t rawValue) {
    if (rawValue < 0 || rawValue > 4) return std::nullopt;
    return static_cast<FileKind>(rawValue);
}

}  // namespace KestrelCore
