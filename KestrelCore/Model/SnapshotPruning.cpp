#include "KestrelCore/Model/SnapshotPruning.hpp"

#include "KestrelCore/Base/Checked.hpp"
#include "KestrelCore/Base/FatalError.hpp"
#include "KestrelCore/Model/SnapshotContents.hpp"

#include <algorithm>
#include <string>
#include <unordered_map>

namespace KestrelCore {

namespace {

constexpr std::string_view sourceFile = "KestrelCore/Model/ScanSnapshot";

/// Calls `visit` with every path that `path` lies beneath, until one answers true: what stands before each "/", and "/"
/// itself for every other path that begins with it.
template <typename Visit>
bool anyAncestor(const Text& path, Visit visit) {
    const std::string_view bytes = path.view();
    if (bytes.size() > 1 && bytes.front() == '/' && visit(Text{"/"})) return true;
    for (std::size_t slash = bytes.find('/'); slash != std::string_view::npos; slash = bytes.find('/', slash + 1)) {
        if (slash == 1 && bytes.front() == '/') continue;  // "/" has been asked
        if (visit(path.slice(0, slash))) return true;
    }
    return false;
}

[[noreturn]] void stopAtDuplicate(const RecordStorage& storage) {
    std::unordered_set<Text> seen;
    for (std::size_t i = 0; i < storage.size(); ++i) {
        const Text path = storage.path(storage.row(i));
        if (!seen.insert(path).second) fatalError(sourceFile, "Duplicate values for key: '" + path.string() + "'");
    }
    fatalError(sourceFile, "Duplicate values for key");
}

}  // namespace

SnapshotPruning::SnapshotPruning(const SnapshotContents& contents, const std::unordered_set<Text>& paths)
    : contents_{contents} {
    for (const Text& path : paths) {
        if (const auto index = contents.lookup.record(*contents.storage, path)) {
            removed_.insert(path);
            removedIndices_.push_back(*index);
        }
    }
    if (!removed_.empty() && contents.lookup.hasDuplicatePaths()) stopAtDuplicate(*contents.storage);
}

bool SnapshotPruning::covers(const Text& path) const {
    return removed_.contains(path) ||
           anyAncestor(path, [this](const Text& ancestor) { return removed_.contains(ancestor); });
}

std::shared_ptr<const RecordStorage> SnapshotPruning::keptRecords() const {
    const RecordStorage& storage = *contents_.storage;
    const auto& folders = storage.folders();

    // A folder is covered when it or one above it is removed; parents come first.
    std::vector<bool> coveredFolder(folders.size(), false);
    coveredFolder[RecordStorage::topFolder] = removed_.contains(Text{"/"}) || removed_.contains(Text{});
    std::string path;
    std::unordered_set<std::uint64_t> removedHashes;
    for (const Text& removed : removed_) removedHashes.insert(RecordStorage::pathHash(removed.view()));
    for (std::size_t i = 1; i < folders.size(); ++i) {
        coveredFolder[i] = coveredFolder[folders[i].parent];
        if (coveredFolder[i] || !removedHashes.contains(folders[i].pathHash)) continue;
        coveredFolder[i] = removed_.contains(storage.folderPath(static_cast<RecordStorage::FolderIndex>(i)));
    }

    // What each ancestor loses: the bytes shown for every removed path below it, nested ones counted each.
    std::unordered_map<std::uint32_t, std::int64_t> losses;
    for (const std::uint32_t index : removedIndices_) {
        const std::int64_t bytes = storage.row(index).displayBytes();
        (void)anyAncestor(storage.path(storage.row(index)), [&](const Text& ancestor) {
            if (const auto above = contents_.lookup.record(storage, ancestor)) {
                std::int64_t& loss = losses[*above];
                loss = Checked::add(loss, bytes, sourceFile);
            }
            return false;
        });
    }

    std::vector<bool> isRemoved(storage.size(), false);
    for (const std::uint32_t index : removedIndices_) isRemoved[index] = true;
    std::vector<std::pair<std::size_t, std::int64_t>> losers;  // new position, loss
    std::size_t kept = 0;
    auto result = storage.copy([&](std::size_t i) {
        const RecordStorage::Row& row = storage.row(i);
        const bool isCovered =
            isRemoved[i] || (row.isIrregular ? covers(storage.irregular(row).path) : coveredFolder[row.folder]);
        if (isCovered) return false;
        if (const auto loss = losses.find(static_cast<std::uint32_t>(i)); loss != losses.end()) {
            losers.emplace_back(kept, loss->second);
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
    std::copy_if(contents_.issues.begin(), contents_.issues.end(), std::back_inserter(issues),
                 [this](const ScanIssue& issue) { return !covers(issue.path); });
    return issues;
}

}  // namespace KestrelCore
