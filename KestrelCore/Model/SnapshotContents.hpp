#pragma once

#include "KestrelCore/Model/RecordStorage.hpp"
#include "KestrelCore/Model/ScanSnapshot.hpp"
#include "KestrelCore/Model/SnapshotLookup.hpp"
#include "KestrelCore/Search/SearchIndex.hpp"

#include <memory>
#include <utility>
#include <vector>

namespace KestrelCore {

/// What the copies of one snapshot share.
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
    LazySearchIndex searchIndex;
};

}  // namespace KestrelCore
