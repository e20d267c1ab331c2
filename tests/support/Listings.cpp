#include "support/Listings.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "Snapshot/TreeOrder.hpp"

#include <algorithm>
#include <sstream>
#include <unordered_set>

namespace KestrelCore::testing {

namespace {

bool isAt(const Text& path, const Text& folder) { return path == folder; }

/// Whether `path` is the folder's or below it.
bool isIn(Text path, const Text& folder) {
    while (!isAt(path, folder)) {
        if (!path.view().starts_with('/') || path == Text{"/"}) return false;
        path = Path::deletingLastComponent(path);
    }
    return true;
}

FolderSums below(const ScanSnapshot& snapshot, const Text& folder) {
    FolderSums sums;
    for (const FileRecord& record : snapshot.records()) {
        if (!record.parentPath() || !isIn(*record.parentPath(), folder)) continue;
        ++sums.items;
        if (!record.isHardLinkDuplicate()) sums.apparentBytes += std::max<std::int64_t>(record.logicalBytes(), 0);
    }
    return sums;
}

std::int64_t content(const FileRecord& record) { return record.aggregateAllocatedBytes() - record.allocatedBytes(); }

}  // namespace

std::optional<FolderListing> plainListing(const ScanSnapshot& snapshot, const Text& path) {
    FolderListing listing{.path = path, .below = below(snapshot, path), .isComplete = true, .entries = {}};
    bool isFolder = false;
    std::optional<std::int64_t> known;
    for (const FileRecord& record : snapshot.records()) {
        if (isAt(record.path(), path) && record.isContainer()) {
            isFolder = true;
            known = content(record);
        }
        if (!record.parentPath() || !isAt(*record.parentPath(), path)) continue;
        isFolder = true;
        FolderEntry entry{.record = record, .below = {}, .isComplete = true};
        if (record.isContainer()) {
            entry.below = below(snapshot, record.path());
            entry.below.allocatedBytes = content(record);
        }
        if (record.isContainer() || !record.isHardLinkDuplicate()) {
            listing.below.allocatedBytes += record.displayBytes();
        }
        listing.entries.push_back(std::move(entry));
    }
    if (!isFolder) return std::nullopt;
    if (known) listing.below.allocatedBytes = *known;
    std::ranges::stable_sort(listing.entries, [](const FolderEntry& a, const FolderEntry& b) {
        if (a.record.displayBytes() != b.record.displayBytes())
            return a.record.displayBytes() > b.record.displayBytes();
        return compareNames(a.record.name().view(), b.record.name().view()) < 0;
    });
    return listing;
}

std::vector<std::string> linesOf(const std::optional<FolderListing>& listing) {
    if (!listing) return {"none"};
    const auto line = [](const Text& path, const FolderSums& below, bool isComplete) {
        std::ostringstream out;
        out << path.view() << ": " << below.items << " items, " << below.allocatedBytes << " on disk, "
            << below.apparentBytes << " long" << (isComplete ? "" : ", so far");
        return out.str();
    };
    std::vector<std::string> lines{line(listing->path, listing->below, listing->isComplete)};
    for (const FolderEntry& entry : listing->entries) {
        std::ostringstream out;
        const FileRecord& record = entry.record;
        out << line(record.path(), entry.below, entry.isComplete) << "; " << record.name().view() << " in "
            << (record.parentPath() ? record.parentPath()->view() : "nothing") << ", "
            << static_cast<int>(record.kind()) << ' ' << record.logicalBytes() << ' ' << record.allocatedBytes() << ' '
            << record.aggregateAllocatedBytes() << ' ' << (record.isHidden() ? "hidden " : "")
            << (record.isCloudPlaceholder() ? "dataless " : "") << (record.isHardLinkDuplicate() ? "link " : "")
            << record.fileExtension().view() << ' ' << static_cast<int>(record.risk());
        if (const auto modified = record.modifiedAt()) out << " @" << modified->secondsSinceReferenceDate;
        if (const auto identity = record.identity()) out << " #" << identity->device << ':' << identity->inode;
        lines.push_back(out.str());
    }
    return lines;
}

std::vector<Text> pathsToList(const ScanSnapshot& snapshot) {
    std::unordered_set<Text> known;
    std::vector<Text> paths;
    const auto add = [&](const Text& path) {
        return known.insert(path).second ? (paths.push_back(path), true) : false;
    };
    for (const FileRecord& record : snapshot.records()) {
        (void)add(record.path());
        if (record.parentPath()) (void)add(*record.parentPath());
        for (Text above = record.path(); above.view().starts_with('/') && above != Text{"/"};) {
            above = Path::deletingLastComponent(above);
            if (!add(above)) break;
        }
    }
    return paths;
}

}  // namespace KestrelCore::testing
