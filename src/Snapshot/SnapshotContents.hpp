#pragma once

#include "Base/Lazy.hpp"
#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/UUID.hpp"
#include "KestrelCore/Model/ScanIssue.hpp"
#include "KestrelCore/Model/ScanScope.hpp"
#include "KestrelCore/Snapshot/RecordList.hpp"
#include "Snapshot/RecordStorage.hpp"
#include "Snapshot/SnapshotLookup.hpp"

#include <memory>
#include <utility>
#include <vector>

namespace KestrelCore {

class SearchIndex;

/// What the copies of one snapshot share. Fixed after construction, but for the search index, which the first search
/// makes under a lock of its own: most snapshots are never searched. The order of the members is that of their making:
/// the list and the index are made over the storage.
struct SnapshotContents {
    SnapshotContents(UUID id, ScanScope scope, Date startedAt, Date completedAt,
                     std::shared_ptr<const RecordStorage> storage, std::vector<ScanIssue> issues)
        : id{id}, scope{std::move(scope)}, startedAt{startedAt}, completedAt{completedAt}, storage{std::move(storage)},
          records{this->storage}, issues{std::move(issues)}, lookup{*this->storage} {}

    UUID id;
    ScanScope scope;
    Date startedAt;
    Date completedAt;
    std::shared_ptr<const RecordStorage> storage;
    RecordList records;
    std::vector<ScanIssue> issues;
    SnapshotLookup lookup;
    Lazy<SearchIndex> searchIndex;  ///< made by the first search
};

}  // namespace KestrelCore
