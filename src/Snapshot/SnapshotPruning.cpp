#include "Snapshot/SnapshotPruning.hpp"

#include "Base/Checked.hpp"
#include "Snapshot/PathAncestors.hpp"

#include <algorithm>
#include <unordered_map>

// A thousand paths taken out of a million records: asking of each record whether one of the paths covers it would be a
// thousand million questions. A folder is covered when it is removed or its parent is covered, and parents come first,
// so one pass over the folders answers for all records that lie in them. A folder's stored hash tells nearly always
// that it is none of the removed ones, so few paths are ever joined.
//
// What the folders above lose is summed per ancestor of each removed path. A path below another removed one is summed,
// too, as the user saw it: its bytes leave the folders above twice, but no container goes below its own size.

namespace KestrelCore {

namespace {

constexpr std::string_view sourceFile = "KestrelCore/Model/ScanSnapshot";

}  // namespace

SnapshotPruning::SnapshotPruning(const RecordStorage& storage, const SnapshotLookup& lookup,
                                 const std::vector<ScanIssue>& issues, const std::unordered_set<Text>& paths)
    : storage_{storage}, lookup_{lookup}, issues_{issues} {
    for (const Text& path : paths) {
        if (const auto index = lookup.record(storage, path)) {
            removed_.insert(path);
            removedIndices_.push_back(*index);
        }
    }
}

bool SnapshotPruning::covers(const Text& path) const { return isCovered(path, removed_); }

std::shared_ptr<const RecordStorage> SnapshotPruning::keptRecords() const {
    const auto& folders = storage_.folders();

    // A folder is covered when it or one above it is removed; parents come first.
    std::vector<bool> coveredFolder(folders.size(), false);
    coveredFolder[RecordStorage::topFolder] = removed_.contains(Text{"/"}) || removed_.contains(Text{});
    std::unordered_set<std::uint64_t> removedHashes;
    for (const Text& removed : removed_) removedHashes.insert(RecordStorage::pathHash(removed.view()));
    for (std::size_t i = 1; i < folders.size(); ++i) {
        coveredFolder[i] = coveredFolder[folders[i].parent];
        if (coveredFolder[i] || !removedHashes.contains(folders[i].pathHash)) continue;
        coveredFolder[i] = removed_.contains(storage_.folderPath(static_cast<RecordStorage::FolderIndex>(i)));
    }

    const bool hasDuplicates = lookup_.hasDuplicatePaths();

    // What each container that stays loses: the bytes shown for every removed path below it, nested ones counted each.
    // For any other ancestor nothing is summed, since nobody has looked whether such a sum overflows.
    std::unordered_map<Text, std::optional<std::int64_t>> lossByPath;
    const auto lossOf = [&](const Text& ancestor) -> std::optional<std::int64_t>& {
        const auto [known, isNew] = lossByPath.try_emplace(ancestor);
        if (isNew && !covers(ancestor)) {
            const auto index = lookup_.record(storage_, ancestor);
            if (index && (hasDuplicates || storage_.row(*index).isContainer())) known->second = 0;
        }
        return known->second;
    };
    for (const std::uint32_t index : removedIndices_) {
        const std::int64_t bytes = storage_.row(index).displayBytes();
        (void)anyAncestor(storage_.path(storage_.row(index)), [&](const Text& ancestor) {
            if (std::optional<std::int64_t>& loss = lossOf(ancestor)) loss = Checked::add(*loss, bytes, sourceFile);
            return false;
        });
    }

    // Mostly a path names one record, so that both sets are positions; else every record is asked for its path.
    std::vector<bool> isRemoved(storage_.size(), false);
    for (const std::uint32_t index : removedIndices_) isRemoved[index] = true;
    std::unordered_map<std::size_t, std::int64_t> lossByIndex;
    for (const auto& [ancestor, loss] : lossByPath) {
        if (loss) lossByIndex.emplace(lookup_.record(storage_, ancestor).value(), *loss);
    }
    std::vector<std::pair<std::size_t, std::int64_t>> losers;  // new position, loss
    std::size_t kept = 0;
    auto result = storage_.copy([&](std::size_t i) {
        const RecordStorage::Row& row = storage_.row(i);
        if (hasDuplicates) {
            const Text path = storage_.path(row);
            if (covers(path)) return false;
            const auto loss = lossByPath.find(path);
            if (loss != lossByPath.end() && loss->second) losers.emplace_back(kept, *loss->second);
        } else {
            if (isRemoved[i]) return false;
            if (row.isIrregular ? covers(storage_.irregular(row).path) : coveredFolder[row.folder]) return false;
            const auto loss = lossByIndex.find(i);
            if (loss != lossByIndex.end()) losers.emplace_back(kept, loss->second);
        }
        ++kept;
        return true;
    });
    auto loser = losers.begin();
    for (std::size_t i = 0; i < result->size(); ++i) {
        RecordStorage::Row& row = result->row(i);
        const std::int64_t loss = loser != losers.end() && loser->first == i ? (loser++)->second : 0;
        if (!row.isContainer()) continue;
        row.aggregateAllocatedBytes =
            std::max(row.allocatedBytes, Checked::subtract(row.aggregateAllocatedBytes, loss, sourceFile));
    }
    return result;
}

std::vector<ScanIssue> SnapshotPruning::keptIssues() const {
    std::vector<ScanIssue> issues;
    std::copy_if(issues_.begin(), issues_.end(), std::back_inserter(issues),
                 [this](const ScanIssue& issue) { return !covers(issue.path); });
    return issues;
}

}  // namespace KestrelCore
