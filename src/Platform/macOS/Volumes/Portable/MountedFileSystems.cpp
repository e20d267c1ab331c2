#include "Platform/macOS/Volumes/Portable/MountedFileSystems.hpp"

#include <cstring>
#include <limits>

namespace KestrelCore {

namespace {

// From the beginning of a record. Numbers of four bytes but for the counts of blocks, which have eight.
constexpr std::size_t blockBytesOffset = 0;
constexpr std::size_t blocksOffset = 8;
constexpr std::size_t freeOffset = 16;
constexpr std::size_t availableOffset = 24;
constexpr std::size_t deviceOffset = 48;
constexpr std::size_t flagsOffset = 64;
constexpr std::size_t kindOffset = 72;
constexpr std::size_t kindBytes = 16;
constexpr std::size_t pointOffset = kindOffset + kindBytes;
constexpr std::size_t pathBytes = 1024;
constexpr std::size_t sourceOffset = pointOffset + pathBytes;
constexpr std::size_t furtherFlagsOffset = sourceOffset + pathBytes;
static_assert(furtherFlagsOffset + 8 * sizeof(std::uint32_t) == mountRecordBytes);

constexpr std::uint32_t localFlag = 0x00001000;
constexpr std::uint32_t rootFlag = 0x00004000;
constexpr std::uint32_t outOfSightFlag = 0x00100000;
constexpr std::uint32_t snapshotFlag = 0x40000000;
constexpr std::uint32_t dataOfRootFlag = 0x00000001;  // among the further ones

template <typename Number>
Number numberAt(std::span<const char> record, std::size_t offset) {
    Number number = 0;
    std::memcpy(&number, record.data() + offset, sizeof number);
    return number;
}

/// Up to the NUL that ends it; whole when there is none.
std::string textAt(std::span<const char> record, std::size_t offset, std::size_t longest) {
    const std::string_view field{record.data() + offset, longest};
    return std::string{field.substr(0, field.find('\0'))};
}

}  // namespace

std::vector<MountedFileSystem> readMountedFileSystems(std::span<const char> bytes) {
    std::vector<MountedFileSystem> result;
    for (; bytes.size() >= mountRecordBytes; bytes = bytes.subspan(mountRecordBytes)) {
        const auto flags = numberAt<std::uint32_t>(bytes, flagsOffset);
        const auto furtherFlags = numberAt<std::uint32_t>(bytes, furtherFlagsOffset);
        MountedFileSystem mounted{.point = textAt(bytes, pointOffset, pathBytes),
                                  .source = textAt(bytes, sourceOffset, pathBytes),
                                  .kind = textAt(bytes, kindOffset, kindBytes),
                                  .device = numberAt<std::uint32_t>(bytes, deviceOffset),
                                  .blockBytes = numberAt<std::uint32_t>(bytes, blockBytesOffset),
                                  .blocks = numberAt<std::uint64_t>(bytes, blocksOffset),
                                  .freeBlocks = numberAt<std::uint64_t>(bytes, freeOffset),
                                  .availableBlocks = numberAt<std::uint64_t>(bytes, availableOffset),
                                  .isLocal = (flags & localFlag) != 0,
                                  .isRoot = (flags & rootFlag) != 0,
                                  .isDataOfRoot = (furtherFlags & dataOfRootFlag) != 0,
                                  .isSnapshot = (flags & snapshotFlag) != 0,
                                  .isOutOfSight = (flags & outOfSightFlag) != 0};
        if (mounted.point.starts_with('/')) result.push_back(std::move(mounted));
    }
    return result;
}

std::int64_t bytesOfBlocks(std::uint64_t blocks, std::uint64_t blockBytes) noexcept {
    constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max() / 4);
    if (blockBytes != 0 && blocks > largest / blockBytes) return static_cast<std::int64_t>(largest);
    return static_cast<std::int64_t>(blocks * blockBytes);
}

bool isAtOrBelow(std::string_view path, std::string_view folder) noexcept {
    if (folder == "/") return path.starts_with('/');
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

}  // namespace KestrelCore
