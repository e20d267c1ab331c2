#pragma once

#include <array>
#include <cstdint>
#include <optional>

namespace KestrelCore {

/// What a scanned item is. The raw value is the case's position and is what snapshots store.
enum class FileKind : std::uint8_t { file, directory, package, symbolicLink, other };

inline constexpr std::array allFileKinds{FileKind::file, FileKind::directory, FileKind::package, FileKind::symbolicLink,
                                         FileKind::other};

[[nodiscard]] constexpr int rawValue(FileKind kind) { return static_cast<int>(kind); }
/// Empty for any integer outside 0…4.
[[nodiscard]] constexpr std::optional<FileKind> fileKind(std::int64_t rawValue) {
    if (rawValue < 0 || rawValue > 4) return std::nullopt;
    return static_cast<FileKind>(rawValue);
}

}  // namespace KestrelCore
