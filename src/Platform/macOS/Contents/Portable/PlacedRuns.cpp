#include "Platform/macOS/Contents/Portable/PlacedRuns.hpp"

#include "KestrelCore/Base/Hashing.hpp"
#include "Platform/macOS/Portable/ByteFields.hpp"

#include <algorithm>

namespace KestrelCore {

namespace {

/// Nobody has a file of more; sums stay far from their limits.
constexpr std::int64_t most = std::int64_t{1} << 50;

}  // namespace

std::optional<FileExtents> extentsOf(std::span<const PlacedRun> runs, std::int64_t allocatedBytes,
                                     std::int64_t privateBytes) {
    if (allocatedBytes < 0 || allocatedBytes > most || privateBytes < 0) return std::nullopt;
    FileExtents found;
    found.ownBytes = std::min(privateBytes, allocatedBytes);
    found.sharedBytes = allocatedBytes - found.ownBytes;
    std::int64_t end = 0;
    for (const PlacedRun& run : runs) {
        if (run.bytes <= 0 || run.bytes > most || run.offset < end || run.offset > most) return std::nullopt;
        end = run.offset + run.bytes;
        const std::int64_t place = std::max<std::int64_t>(run.place, -1);
        for (const std::int64_t value : {run.offset, place + 1, run.bytes})
            found.fingerprint = Internal::mixHash(found.fingerprint, static_cast<std::uint64_t>(value) + 1);
    }
    return found;
}

std::optional<std::int64_t> privateSizeOf(std::string_view answer) {
    constexpr std::size_t extendedSet = 4 + 4 * sizeof(std::uint32_t);
    constexpr std::size_t value = extendedSet + sizeof(std::uint32_t);
    static_assert(value + sizeof(std::int64_t) == privateSizeAnswerBytes);
    if (answer.size() < privateSizeAnswerBytes) return std::nullopt;
    if (numberAt<std::uint32_t>(answer, 0) < privateSizeAnswerBytes) return std::nullopt;
    if ((numberAt<std::uint32_t>(answer, extendedSet) & privateSizeAttribute) == 0) return std::nullopt;
    const auto size = numberAt<std::int64_t>(answer, value);
    return size < 0 ? std::nullopt : std::optional{size};
}

}  // namespace KestrelCore
