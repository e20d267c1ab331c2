#pragma once

#include "Platform/FileExtents.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace KestrelCore {

/// A piece of a file's content that lies in one piece on its disk.
struct PlacedRun {
    std::int64_t offset = 0;  ///< in the file
    std::int64_t place = -1;  ///< on the disk, in bytes; negative where the content has none of its own
    std::int64_t bytes = 0;
};

/// How a file lies: its pieces in the order of the file, its bytes on the disk (blocks × 512), and the bytes that would
/// become free with it. Empty for pieces that no file can have, such as overlapping ones.
[[nodiscard]] std::optional<FileExtents> extentsOf(std::span<const PlacedRun> runs, std::int64_t allocatedBytes,
                                                   std::int64_t privateBytes);

/// The place of the attribute in the system's sets: the bytes of a file that no clone and no snapshot holds as well.
inline constexpr std::uint32_t privateSizeAttribute = 0x00000008;
/// The length of the system's answer to a question for that attribute.
inline constexpr std::size_t privateSizeAnswerBytes = 32;

/// Reads that answer: its length, the five sets of what was returned (the last one has the attribute), and the number.
/// Empty where the file system did not give it, or the answer is none.
[[nodiscard]] std::optional<std::int64_t> privateSizeOf(std::string_view answer);

}  // namespace KestrelCore
