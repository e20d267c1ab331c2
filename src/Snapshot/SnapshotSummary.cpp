#include "KestrelCore/Snapshot/Summary.hpp"

#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "Snapshot/SnapshotAccess.hpp"
#include "Snapshot/SummaryGroups.hpp"
#include "Snapshot/SummaryPlace.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>

// For each folder it is found out first how deep below the asked one it lies, and whether in a package; then one pass
// over the rows counts.

namespace KestrelCore {

namespace {

using FolderIndex = RecordStorage::FolderIndex;
using Row = RecordStorage::Row;

class Places {
public:
    Places(const RecordStorage& storage, const Text& path, SummaryGrouping grouping) : storage_{storage}, path_{path} {
        if (grouping == SummaryGrouping::type) collectPackages();
        const auto& folders = storage.folders();
        ofFolder_.resize(folders.size());
        // Parents come before children.
        for (FolderIndex i = 0; i < folders.size(); ++i) {
            if (storage.hasPath(i, path)) {
                ofFolder_[i].depth = 1;
                isThere_ = true;
            } else if (i != RecordStorage::topFolder && ofFolder_[folders[i].parent].depth > 0) {
                const SummaryPlace& above = ofFolder_[folders[i].parent];
                ofFolder_[i] = {.depth = above.depth + 1, .isInPackage = above.isInPackage || isPackage(i)};
            }
        }
        for (std::size_t i = 0; !isThere_ && i < storage.size(); ++i)
            isThere_ = storage.row(i).isContainer() && storage.hasPath(storage.row(i), path);
    }

    /// Whether there is such a folder, with something in it or without.
    [[nodiscard]] bool isThere() const { return isThere_; }

    [[nodiscard]] SummaryPlace of(const Row& row) const {
        return row.isIrregular == 0 ? ofFolder_[row.folder] : ofIrregular(storage_.irregular(row).path);
    }

private:
    void collectPackages() {
        for (std::size_t i = 0; i < storage_.size(); ++i) {
            const Row& row = storage_.row(i);
            if (row.kind() != FileKind::package) continue;
            packageHashes_.insert(storage_.pathHash(row));
            packages_.insert(storage_.path(row).string());
        }
    }
    [[nodiscard]] bool isPackage(FolderIndex folder) const {
        return packageHashes_.contains(storage_.folders()[folder].pathHash) &&
               packages_.contains(storage_.folderPath(folder).string());
    }
    [[nodiscard]] SummaryPlace ofIrregular(const Text& path) const {
        return SummaryPlace::ofPath(path, path_, [&](std::string_view above) {
            return !packages_.empty() && packages_.contains(std::string{above});
        });
    }

    const RecordStorage& storage_;
    const Text& path_;
    std::unordered_set<std::uint64_t> packageHashes_;
    std::unordered_set<std::string> packages_;  ///< paths
    std::vector<SummaryPlace> ofFolder_;
    bool isThere_ = false;
};

}  // namespace

std::optional<Summary> Summary::of(const ScanSnapshot& snapshot, const Text& path, SummaryGrouping grouping,
                                   const SummarySettings& settings) {
    constexpr std::size_t rowsBetweenLooks = 4096;
    const RecordStorage& storage = SnapshotAccess::storage(snapshot);
    const Places places{storage, path, grouping};
    if (!places.isThere()) return std::nullopt;
    const SummaryGroups groups{grouping, storage.extensions(), settings.now.value_or(Date::now())};
    SummaryGroups::Tally tally;
    for (std::size_t i = 0; i < storage.size(); ++i) {
        if (i % rowsBetweenLooks == 0 && settings.cancellation && settings.cancellation->isCancelled())
            return std::nullopt;
        const Row& row = storage.row(i);
        if (row.kind() != FileKind::file) continue;
        const SummaryPlace place = places.of(row);
        if (place.depth == 0) continue;
        const auto group = [&]() -> std::uint32_t {
            switch (grouping) {
            case SummaryGrouping::type:
                return place.isInPackage ? SummaryGroups::applications : groups.ofExtension(row.extension);
            case SummaryGrouping::extension: return groups.ofExtension(row.extension);
            case SummaryGrouping::age:
                return groups.ofAge(row.hasModified != 0 ? wholeSeconds(row.modifiedAt) : std::nullopt);
            case SummaryGrouping::size: return SummaryGroups::ofSize(row.allocatedBytes);
            case SummaryGrouping::depth: break;
            }
            return place.depth;
        }();
        tally.add(group, row.isHardLinkDuplicate != 0 ? 0 : static_cast<std::uint64_t>(row.allocatedBytes));
    }
    return groups.summary(path, tally);
}

}  // namespace KestrelCore
