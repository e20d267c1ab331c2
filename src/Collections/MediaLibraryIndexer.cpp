#include "KestrelCore/Collections/MediaLibraryIndexer.hpp"

#include "Base/Checked.hpp"
#include "Collections/LibraryFolders.hpp"
#include "Collections/NewestFirst.hpp"
#include "Snapshot/SnapshotAccess.hpp"

#include <unordered_map>

namespace KestrelCore {

namespace {

constexpr std::string_view sourceFile = "KestrelCore/Libraries/MediaLibraryIndexer";

const std::unordered_map<Text, MediaAssetKind>& kindsByExtension() {
    static const std::unordered_map<Text, MediaAssetKind> table = [] {
        std::unordered_map<Text, MediaAssetKind> kinds;
        for (const char* image : {"avif", "bmp", "dng", "gif", "heic", "heif", "ico", "jpeg", "jpg", "jxl", "png",
                                  "psd", "raw", "svg", "tif", "tiff", "webp"}) {
            kinds.emplace(image, MediaAssetKind::image);
        }
        for (const char* video : {"3g2", "3gp", "avi", "flv", "m2ts", "m4v", "mkv", "mov", "mp4", "mpeg", "mpg", "mts",
                                  "ogv", "ts", "vob", "webm", "wmv"}) {
            kinds.emplace(video, MediaAssetKind::video);
        }
        return kinds;
    }();
    return table;
}

std::int64_t displayBytes(const std::vector<MediaAsset>& assets) {
    std::int64_t sum = 0;
    for (const MediaAsset& asset : assets) sum = Checked::add(sum, asset.record.displayBytes(), sourceFile);
    return sum;
}

}  // namespace

std::string_view rawValue(MediaAssetKind kind) { return kind == MediaAssetKind::image ? "image" : "video"; }

template <>
std::optional<MediaAssetKind> fromRawValue<MediaAssetKind>(std::string_view rawValue) {
    for (const MediaAssetKind kind : allMediaAssetKinds) {
        if (rawValue == KestrelCore::rawValue(kind)) return kind;
    }
    return std::nullopt;
}

std::int64_t MediaLibraryIndex::imageBytes() const { return displayBytes(images); }
std::int64_t MediaLibraryIndex::videoBytes() const { return displayBytes(videos); }
std::int64_t MediaLibraryIndex::totalBytes() const { return Checked::add(imageBytes(), videoBytes(), sourceFile); }

const MediaLibraryIndex& MediaLibraryIndex::empty() {
    static const MediaLibraryIndex index;
    return index;
}

std::optional<MediaAssetKind> MediaLibraryIndexer::kind(const Text& fileExtension) {
    const auto found = kindsByExtension().find(fileExtension.lowercased());
    return found == kindsByExtension().end() ? std::nullopt : std::optional{found->second};
}

MediaLibraryIndex MediaLibraryIndexer::makeIndex(const ScanSnapshot& snapshot, const Text& homePath) {
    const RecordStorage& storage = SnapshotAccess::storage(snapshot);
    // A snapshot has some hundred extensions: what each makes is looked up once, and a row's place among them is asked.
    std::vector<std::optional<MediaAssetKind>> kinds;
    kinds.reserve(storage.extensions().size());
    for (const Text& extension : storage.extensions()) kinds.push_back(kind(extension));

    const LibraryFolders folders{
        snapshot, homePath,
        LibraryFolders::Exclusion{.names = {".Trash", "node_modules", "Pods", "DerivedData", ".build", ".git"},
                                  .suffixes = {},
                                  .insideSuffix = {},
                                  .insideName = {},
                                  .admitsCloudDrives = false}};
    std::vector<std::uint32_t> images;
    std::vector<std::uint32_t> videos;
    for (std::uint32_t i = 0; i < storage.size(); ++i) {
        const RecordStorage::Row& row = storage.row(i);
        const auto kind = kinds[row.extension];
        if (!kind || row.kind() != FileKind::file || row.allocatedBytes <= 0 || row.isHardLinkDuplicate) continue;
        if (folders.admits(i)) (*kind == MediaAssetKind::image ? images : videos).push_back(i);
    }
    const auto assets = [&](const std::vector<std::uint32_t>& indices, MediaAssetKind kind) {
        return newestFirst<MediaAsset>(storage, indices, [kind](std::uint32_t) { return kind; });
    };
    MediaLibraryIndex index;
    index.images = assets(images, MediaAssetKind::image);
    index.videos = assets(videos, MediaAssetKind::video);
    return index;
}

}  // namespace KestrelCore

std::size_t std::hash<KestrelCore::MediaLibraryIndex>::operator()(const KestrelCore::MediaLibraryIndex& index) const {
    std::uint64_t hash = 0;
    hash = KestrelCore::Internal::mixHash(hash, index.images.size());
    for (const KestrelCore::MediaAsset& asset : index.images) {
        hash = KestrelCore::Internal::mixHash(hash, std::hash<KestrelCore::MediaAsset>{}(asset));
    }
    hash = KestrelCore::Internal::mixHash(hash, index.videos.size());
    for (const KestrelCore::MediaAsset& asset : index.videos) {
        hash = KestrelCore::Internal::mixHash(hash, std::hash<KestrelCore::MediaAsset>{}(asset));
    }
    return static_cast<std::size_t>(hash);
}
