#pragma once

#include "KestrelCore/Base/Hashing.hpp"
#include "KestrelCore/Base/RawValue.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// What an asset is, told by its extension alone: no file is opened.
enum class MediaAssetKind : std::uint8_t { image, video };

/// Every case, in their order.
inline constexpr std::array allMediaAssetKinds{MediaAssetKind::image, MediaAssetKind::video};
/// "image" or "video".
[[nodiscard]] KESTRELCORE_EXPORT std::string_view rawValue(MediaAssetKind kind);
/// Empty for any other text.
template <>
[[nodiscard]] KESTRELCORE_EXPORT std::optional<MediaAssetKind> fromRawValue<MediaAssetKind>(std::string_view rawValue);

/// One photo or video of a snapshot.
struct MediaAsset {
    FileRecord record;
    MediaAssetKind kind;

    [[nodiscard]] const UUID& id() const { return record.id(); }
    bool operator==(const MediaAsset&) const = default;
};

/// The photos and videos of a snapshot, each list newest first, names in natural order where dates are equal.
struct KESTRELCORE_EXPORT MediaLibraryIndex {
    std::vector<MediaAsset> images;
    std::vector<MediaAsset> videos;

    /// Sums of `displayBytes`, made anew at each call; a sum that overflows stops the process.
    [[nodiscard]] std::int64_t imageBytes() const;
    [[nodiscard]] std::int64_t videoBytes() const;
    [[nodiscard]] std::int64_t totalBytes() const;

    /// A shared index without assets, which lives as long as the process.
    [[nodiscard]] static const MediaLibraryIndex& empty();

    bool operator==(const MediaLibraryIndex&) const = default;
};

/// Finds the photos and videos among a snapshot's records. Touches no file; any thread.
class KESTRELCORE_EXPORT MediaLibraryIndexer {
public:
    MediaLibraryIndexer() = delete;

    /// The kind of an extension given without its dot, in any case; empty when it is neither.
    [[nodiscard]] static std::optional<MediaAssetKind> kind(const Text& fileExtension);
    /// An index of the snapshot as it is: items that have gone since are still in it. Takes some hundred milliseconds
    /// for a million records, on more than one thread. `homePath` comes without a trailing "/". Below the scan's root
    /// (of a whole-disk scan: below the home directory and /Users/Shared), plain files with blocks of their own
    /// qualify, outside hidden, library and build folders.
    [[nodiscard]] static MediaLibraryIndex makeIndex(const ScanSnapshot& snapshot, const Text& homePath);
};

}  // namespace KestrelCore

template <>
struct std::hash<KestrelCore::MediaAsset> {
    std::size_t operator()(const KestrelCore::MediaAsset& asset) const {
        return KestrelCore::Internal::hashOf(asset.record, static_cast<int>(asset.kind));
    }
};

template <>
struct KESTRELCORE_EXPORT std::hash<KestrelCore::MediaLibraryIndex> {
    std::size_t operator()(const KestrelCore::MediaLibraryIndex& index) const;
};
