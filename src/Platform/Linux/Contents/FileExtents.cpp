#include "Platform/FileExtents.hpp"

#include "KestrelCore/Base/Hashing.hpp"
#include "Platform/ContentFile.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <linux/fiemap.h>
#include <linux/fs.h>
#include <linux/magic.h>
#include <span>
#include <sys/ioctl.h>
#include <sys/statfs.h>

namespace KestrelCore {

namespace {

constexpr std::size_t extentsAtOnce = 64;

/// The kernel's request with room for its answer behind it.
struct ExtentRequest {
    alignas(fiemap) std::array<char, sizeof(fiemap) + extentsAtOnce * sizeof(fiemap_extent)> bytes{};

    /// The extents from `offset` on, at most `most`; empty span at the end, absent when the file system does not tell.
    std::optional<std::span<const fiemap_extent>> ask(int descriptor, std::uint64_t offset, std::uint32_t flags,
                                                      std::uint32_t most) {
        fiemap head{};
        head.fm_start = offset;
        head.fm_length = FIEMAP_MAX_OFFSET - offset;
        head.fm_flags = flags;
        head.fm_extent_count = most;
        std::memcpy(bytes.data(), &head, sizeof head);
        if (ioctl(descriptor, FS_IOC_FIEMAP, bytes.data()) != 0) return std::nullopt;
        std::memcpy(&head, bytes.data(), sizeof head);
        return std::span{reinterpret_cast<const fiemap_extent*>(bytes.data() + sizeof head),
                         std::min(head.fm_mapped_extents, most)};
    }
};

bool hasPlace(const fiemap_extent& extent) {
    constexpr std::uint32_t placeless = FIEMAP_EXTENT_UNKNOWN | FIEMAP_EXTENT_DELALLOC | FIEMAP_EXTENT_DATA_INLINE;
    return (extent.fe_flags & placeless) == 0;
}

}  // namespace

std::optional<FileExtents> fileExtents(const ContentFile& file) {
    FileExtents found;
    ExtentRequest request;
    std::uint64_t offset = 0;
    for (bool isLast = false; !isLast;) {
        const auto extents = request.ask(file.descriptor(), offset, offset == 0 ? FIEMAP_FLAG_SYNC : 0, extentsAtOnce);
        if (!extents) return std::nullopt;
        if (extents->empty()) break;
        for (const fiemap_extent& extent : *extents) {
            isLast = (extent.fe_flags & FIEMAP_EXTENT_LAST) != 0;
            const std::uint64_t end = extent.fe_logical + extent.fe_length;
            if (end <= offset) return std::nullopt;  // it goes in circles
            offset = end;
            // Whoever wants to hear of many petabytes is told less; sums stay far from their limits.
            constexpr std::uint64_t most = std::uint64_t{1} << 50;
            if (extent.fe_length > most || found.ownBytes + found.sharedBytes > static_cast<std::int64_t>(most))
                return std::nullopt;
            const auto bytes = static_cast<std::int64_t>(extent.fe_length);
            ((extent.fe_flags & FIEMAP_EXTENT_SHARED) != 0 ? found.sharedBytes : found.ownBytes) += bytes;
            for (const std::uint64_t value : {static_cast<std::uint64_t>(extent.fe_logical),
                                              static_cast<std::uint64_t>(hasPlace(extent) ? extent.fe_physical : 0),
                                              static_cast<std::uint64_t>(extent.fe_length)})
                found.fingerprint = Internal::mixHash(found.fingerprint, value + 1);
        }
    }
    return found;
}

std::optional<std::uint64_t> firstPlaceOnDisk(const ContentFile& file) {
    ExtentRequest request;
    const auto extents = request.ask(file.descriptor(), 0, 0, 1);
    if (!extents || extents->empty() || !hasPlace(extents->front())) return std::nullopt;
    return extents->front().fe_physical;
}

bool mayShareBlocks(const ContentFile& file) {
    struct statfs room {};
    if (fstatfs(file.descriptor(), &room) != 0) return false;
    constexpr std::array<std::uint64_t, 5> kinds{BTRFS_SUPER_MAGIC, XFS_SUPER_MAGIC, OVERLAYFS_SUPER_MAGIC,
                                                 0xCA451A4E /* bcachefs */, 0x7461636F /* OCFS2 */};
    // Some kinds of the type are signed; only these bits tell.
    return std::ranges::find(kinds, static_cast<std::uint64_t>(room.f_type) & 0xFFFFFFFFU) != kinds.end();
}

}  // namespace KestrelCore
