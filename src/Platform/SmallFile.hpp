#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace KestrelCore {

/// Whether a link as the last component of a path is followed.
enum class FinalLink : std::uint8_t { refused, followed };

/// The whole content of a regular file of at most `mostBytes` bytes, read once. Empty for everything else: a link where
/// that is refused, a FIFO or a device (they are not waited for), a larger file, one that grows past the limit while it
/// is read, one that can't be read.
[[nodiscard]] std::optional<std::string> readSmallFile(const Text& path, std::size_t mostBytes,
                                                       FinalLink finalLink = FinalLink::refused);

/// What a link holds; empty when the path is none.
[[nodiscard]] std::optional<Text> linkTarget(const Text& path);

/// Whether a folder is there.
[[nodiscard]] bool isFolder(const Text& path, FinalLink finalLink = FinalLink::followed);

}  // namespace KestrelCore
