#include "KestrelCore/Snapshot/RecordView.hpp"

#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "Snapshot/SnapshotAccess.hpp"

namespace KestrelCore {

RecordView RecordView::of(const ScanSnapshot& snapshot, std::size_t index) {
    const RecordStorage& storage = SnapshotAccess::storage(snapshot);
    const RecordStorage::Row& row = storage.row(index);
    return {.name = storage.nameOf(row),
            .fileExtension = storage.extensions()[row.extension].view(),
            .identity = storage.identityOf(row),
            .modifiedAt = row.hasModified ? std::optional{Date{row.modifiedAt}} : std::nullopt,
            .logicalBytes = row.logicalBytes,
            .allocatedBytes = row.allocatedBytes,
            .aggregateAllocatedBytes = row.aggregateAllocatedBytes,
            .displayBytes = row.displayBytes(),
            .kind = row.kind(),
            .risk = row.risk(),
            .isHidden = row.isHidden != 0,
            .isCloudPlaceholder = row.isCloudPlaceholder != 0,
            .isHardLinkDuplicate = row.isHardLinkDuplicate != 0};
}

void RecordView::assignPath(const ScanSnapshot& snapshot, std::size_t index, std::string& path) {
    const RecordStorage& storage = SnapshotAccess::storage(snapshot);
    storage.assignPath(storage.row(index), path);
}

}  // namespace KestrelCore
