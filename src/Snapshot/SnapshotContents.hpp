#pragma once

#include "Base/Lazy.hpp"
#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/UUID.hpp"
#include "KestrelCore/Model/ScanIssue.hpp"
#include "KestrelCore/Model/ScanScope.hpp"
#include "KestrelCore/Snapshot/RecordList.hpp"
#include "Snapshot/RecordStorage.hpp"
#include "Snapshot/SnapshotLookup.hpp"
#include "Snapshot/SnapshotTree.hpp"

#include <memory>
#include <utility>
#include <vector>

namespace KestrelCore {

class SearchIndex;

/// What the copies of one snapshot share. Fixed after construction, but for the indices, each made under a lock of
/// its own by the first who needs it: most snapshots are never searched, and many are only searched. The order of the
/// members is that of their making: the list is made over the storage.
struct SnapshotContents {
    SnapshotContents(UUID id, ScanScope scope, Date startedAt, Date completedAt,
                     std::shared_ptr<const RecordStorage> storage, std::vector<ScanIssue> issues)
        : id{id}, scope{std::move(scope)}, startedAt{startedAt}, completedAt{completedAt}, storage{std::move(storage)},
          records{this->storage}, issues{std::move(issues)} {}

    /// The path index; the first call makes it.
    [[nodiscard]] const SnapshotLookup& lookup() const {
        return madeLookup.get([this] { return std::make_shared<const SnapshotLookup>(*storage); });
    }

    /// The folders as they are listed; the first call makes them.
    [[nodiscard]] const SnapshotTree& tree() const {
        return madeTree.get([this] { return std::make_shared<const SnapshotTree>(*storage); });
    }

    UUID id;
    ScanScope scope;
    Date startedAt;
    Date completedAt;
    std::shared_ptr<const RecordStorage> storage;
    RecordList records;
    std::vector<ScanIssue> issues;
    Lazy<SnapshotLookup> madeLookup;  ///< made by the first look at a path
    Lazy<SnapshotTree> madeTree;      ///< made by the first listing
    Lazy<SearchIndex> searchIndex;    ///< made by the first search
};

}  // namespace KestrelCore
