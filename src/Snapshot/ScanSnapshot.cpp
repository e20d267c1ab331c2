#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include "Base/ByteBudget.hpp"
#include "Base/FatalError.hpp"
#include "Snapshot/LogicalSizes.hpp"
#include "Snapshot/SnapshotAccess.hpp"
#include "Snapshot/SnapshotContents.hpp"
#include "Snapshot/SnapshotPruning.hpp"

#include <algorithm>

namespace KestrelCore {

namespace {

std::shared_ptr<const RecordStorage> compactForm(const std::vector<FileRecord>& records) {
    auto storage = std::make_shared<RecordStorage>();
    for (const FileRecord& record : records) storage->append(record);
    storage->finishBuilding();
    return storage;
}

/// Stops the process with the first path that two records share. Not looked for before: the index only knows that there
/// is one.
[[noreturn]] void stopAtDuplicate(const RecordStorage& storage) {
    constexpr std::string_view sourceFile = "KestrelCore/Model/ScanSnapshot";
    std::unordered_set<Text> seen;
    for (std::size_t i = 0; i < storage.size(); ++i) {
        const Text path = storage.path(storage.row(i));
        if (!seen.insert(path).second) fatalError(sourceFile, "Duplicate values for key: '" + path.string() + "'");
    }
    fatalError(sourceFile, "Duplicate values for key");
}

/// The aggregate of the last record with that path; 0 where there is none. One look at each record, far less than
/// making the path index takes.
std::int64_t totalOf(const RecordStorage& storage, const Text& path) {
    // A record with that path that is not irregular lies in a folder with the parent's path. There is mostly one.
    std::vector<RecordStorage::FolderIndex> parents;
    const std::size_t slash = path.view().rfind('/');
    if (slash == 0) parents.push_back(RecordStorage::topFolder);
    if (slash != 0 && slash != std::string_view::npos) {
        const std::uint64_t hash = RecordStorage::pathHash(path.view().substr(0, slash));
        const auto& folders = storage.folders();
        for (RecordStorage::FolderIndex i = 1; i < folders.size(); ++i) {
            if (folders[i].pathHash == hash) parents.push_back(i);
        }
    }
    std::int64_t total = 0;
    for (std::size_t i = 0; i < storage.size(); ++i) {
        const RecordStorage::Row& row = storage.row(i);
        if (!row.isIrregular && std::ranges::find(parents, row.folder) == parents.end()) continue;
        if (storage.hasPath(row, path)) total = row.aggregateAllocatedBytes;
    }
    return total;
}

}  // namespace

ScanSnapshot::ScanSnapshot(UUID id, ScanScope scope, Date startedAt, Date completedAt,
                           const std::vector<FileRecord>& records, std::vector<ScanIssue> issues)
    : ScanSnapshot{SnapshotAccess::make(id, std::move(scope), startedAt, completedAt, compactForm(records),
                                        std::move(issues))} {}

ScanSnapshot SnapshotAccess::make(UUID id, ScanScope scope, Date startedAt, Date completedAt,
                                  std::shared_ptr<const RecordStorage> records, std::vector<ScanIssue> issues) {
    return ScanSnapshot{std::make_shared<const SnapshotContents>(id, std::move(scope), startedAt, completedAt,
                                                                 std::move(records), std::move(issues))};
}

const RecordStorage& SnapshotAccess::storage(const ScanSnapshot& snapshot) { return *snapshot.contents_->storage; }
const SnapshotLookup& SnapshotAccess::lookup(const ScanSnapshot& snapshot) { return snapshot.contents_->lookup(); }

const UUID& ScanSnapshot::id() const { return contents_->id; }
const ScanScope& ScanSnapshot::scope() const { return contents_->scope; }
Date ScanSnapshot::startedAt() const { return contents_->startedAt; }
Date ScanSnapshot::completedAt() const { return contents_->completedAt; }
const RecordList& ScanSnapshot::records() const { return contents_->records; }
const std::vector<ScanIssue>& ScanSnapshot::issues() const { return contents_->issues; }

std::optional<FileRecord> ScanSnapshot::record(const Text& path) const {
    const auto index = contents_->lookup().record(*contents_->storage, path);
    return index ? std::optional{contents_->storage->record(*index)} : std::nullopt;
}

std::vector<FileRecord> ScanSnapshot::children(const std::optional<Text>& folder) const {
    std::vector<FileRecord> result;
    const auto indices =
        folder ? contents_->lookup().children(*contents_->storage, *folder) : contents_->lookup().roots();
    result.reserve(indices.size());
    for (const std::uint32_t index : indices) result.push_back(contents_->storage->record(index));
    return result;
}

std::optional<FolderListing> ScanSnapshot::listing(const Text& path) const { return contents_->tree().listing(path); }

std::int64_t ScanSnapshot::totalAllocatedBytes() const { return totalOf(*contents_->storage, scope().root.path()); }

ScanSnapshot ScanSnapshot::removing(const std::unordered_set<Text>& paths) const {
    const SnapshotPruning pruning{*contents_->storage, contents_->lookup(), issues(), paths};
    if (pruning.isEmpty()) return *this;
    if (contents_->lookup().hasDuplicatePaths()) stopAtDuplicate(*contents_->storage);
    std::vector<ScanIssue> issues = pruning.keptIssues();
    return SnapshotAccess::make(UUID::random(), scope(), startedAt(), completedAt(), pruning.keptRecords(),
                                std::move(issues));
}

ScanSnapshot ScanSnapshot::withLogicalSizes() const {
    return SnapshotAccess::make(id(), scope(), startedAt(), completedAt(),
                                KestrelCore::withLogicalSizes(*contents_->storage), issues());
}

bool ScanSnapshot::isConsistent() const {
    if (contents_->lookup().hasDuplicatePaths()) return false;
    ByteBudget budget;
    for (std::size_t i = 0; i < contents_->storage->size(); ++i) {
        const RecordStorage::Row& row = contents_->storage->row(i);
        if (row.logicalBytes < 0 || row.allocatedBytes < 0 || row.aggregateAllocatedBytes < 0) return false;
        // Every sum takes one of the two of each record, and which one is not the same everywhere.
        if (!budget.take(std::max(row.allocatedBytes, row.aggregateAllocatedBytes))) return false;
    }
    return true;
}

}  // namespace KestrelCore
