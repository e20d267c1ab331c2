#include "report/ReportTree.hpp"

#include "terminal/Interruption.hpp"

#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Model/ItemCategory.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <unordered_map>
#include <utility>

// Records come in the order of the snapshot, which need not have a folder before what lies in it. So folders are taken
// first, and everything else finds its folder by its parent's path; then the tree is laid out from its top. What names
// a parent that does not lie below the top is left out by that.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

std::uint8_t typeOf(const FileRecord& record) {
    switch (record.kind()) {
    case FileKind::file: break;
    case FileKind::directory: return static_cast<std::uint8_t>(ReportType::folder);
    case FileKind::package: return static_cast<std::uint8_t>(ReportType::package);
    case FileKind::symbolicLink: return static_cast<std::uint8_t>(ReportType::link);
    case FileKind::other: return static_cast<std::uint8_t>(ReportType::other);
    }
    return static_cast<std::uint8_t>(ItemCategories::of(record).value_or(ItemCategory::other));
}

std::optional<std::int64_t> wholeSeconds(const std::optional<Date>& date) {
    constexpr double farthest = 2e11;  // some six thousand years; a page's dates reach no farther
    if (!date) return std::nullopt;
    const double seconds = std::floor(date->secondsSince1970());
    if (!(std::fabs(seconds) < farthest)) return std::nullopt;
    return static_cast<std::int64_t>(seconds);
}

/// The folders that were found, by path.
class Folders {
public:
    void add(const Text& path, std::uint32_t node) { nodes_.try_emplace(path, node); }
    /// Neighbours have the same parent mostly.
    std::uint32_t find(const Text& path) {
        if (last_ && last_->first == path) return last_->second;
        const auto found = nodes_.find(path);
        last_.emplace(path, found == nodes_.end() ? ReportNode::none : found->second);
        return last_->second;
    }

private:
    std::unordered_map<Text, std::uint32_t> nodes_;
    std::optional<std::pair<Text, std::uint32_t>> last_;
};

/// Calls `take` with each record for which `isWanted` holds.
void forEachRecord(const RecordList& records, const auto& isWanted, const auto& take) {
    constexpr std::size_t between = 0x10000;
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (i % between == 0) Interruption::check();
        if (isWanted(records.sizeOf(i))) take(records[i]);
    }
}

}  // namespace

ReportTree::ReportTree(const ScanSnapshot& snapshot, const Text& path) {
    const RecordList& records = snapshot.records();
    std::vector<ReportNode> found;
    std::vector<Text> parents;  // of the folders
    Folders folders;
    const auto add = [&](const FileRecord& record, std::string_view name) -> ReportNode& {
        ReportNode& node = found.emplace_back();
        node.nameOffset = names_.size();
        node.nameLength = static_cast<std::uint32_t>(name.size());
        names_ += name;
        node.ownBytes = record.displayBytes();
        node.modified = wholeSeconds(record.modifiedAt());
        node.type = typeOf(record);
        node.isFurtherLink = record.isHardLinkDuplicate() && !node.isContainer();
        return node;
    };
    if (const auto top = snapshot.record(path)) {
        add(*top, path.view());
    } else {
        add(FileRecord{{.path = path, .name = path, .kind = FileKind::directory}}, path.view());
    }
    folders.add(path, 0);
    parents.emplace_back();
    forEachRecord(
        records, [](const RecordSize& size) { return size.isContainer; },
        [&](const FileRecord& record) {
            if (!record.parentPath() || record.path() == path) return;
            add(record, record.name().view());
            folders.add(record.path(), static_cast<std::uint32_t>(found.size() - 1));
            parents.push_back(*record.parentPath());
        });
    for (std::size_t i = 1; i < parents.size(); ++i) found[i].parent = folders.find(parents[i]);
    forEachRecord(
        records, [](const RecordSize& size) { return !size.isContainer; },
        [&](const FileRecord& record) {
            if (!record.parentPath()) return;
            const std::uint32_t parent = folders.find(*record.parentPath());
            if (parent != ReportNode::none) add(record, record.name().view()).parent = parent;
        });
    arrange(std::move(found));
    sumUp();
}

void ReportTree::arrange(std::vector<ReportNode> found) {
    // The items of each folder, one folder after the other.
    std::vector<std::size_t> starts(found.size() + 1);
    for (const ReportNode& node : found) {
        if (node.parent != ReportNode::none) ++starts[node.parent + 1];
    }
    std::partial_sum(starts.begin(), starts.end(), starts.begin());
    std::vector<std::uint32_t> items(starts.back());
    std::vector<std::size_t> next{starts.begin(), starts.end() - 1};
    for (std::uint32_t i = 0; i < found.size(); ++i) {
        if (found[i].parent != ReportNode::none) items[next[found[i].parent]++] = i;
    }
    nodes_.reserve(found.size());
    std::vector<std::uint32_t> sources{0};  // where each node stood before
    sources.reserve(found.size());
    nodes_.push_back(found.front());
    for (std::uint32_t i = 0; i < nodes_.size(); ++i) {
        const auto begin = items.begin() + static_cast<std::ptrdiff_t>(starts[sources[i]]);
        const auto end = items.begin() + static_cast<std::ptrdiff_t>(starts[sources[i] + 1]);
        std::sort(begin, end, [&](std::uint32_t a, std::uint32_t b) { return nameOf(found[a]) < nameOf(found[b]); });
        nodes_[i].firstChild = static_cast<std::uint32_t>(nodes_.size());
        nodes_[i].childCount = static_cast<std::uint32_t>(end - begin);
        for (auto each = begin; each != end; ++each) {
            nodes_.push_back(found[*each]);
            nodes_.back().parent = i;
            sources.push_back(*each);
        }
    }
}

void ReportTree::sumUp() {
    for (std::size_t i = nodes_.size(); i-- > 0;) {
        ReportNode& node = nodes_[i];
        node.bytes = node.ownBytes;
        if (!node.isContainer()) continue;
        std::int64_t below = 0;
        for (std::uint32_t child = node.firstChild; child < node.firstChild + node.childCount; ++child) {
            below += nodes_[child].weight();
            node.items += 1 + nodes_[child].items;
        }
        // What a scan says of a folder holds all that is in it; a folder that says less is held to its content.
        node.ownBytes = std::max<std::int64_t>(0, node.ownBytes - below);
        node.bytes = node.ownBytes + below;
    }
}

}  // namespace KestrelCLI
