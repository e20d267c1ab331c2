#include "commands/BrowseFolders.hpp"

#include "commands/SearchHints.hpp"

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/NaturalOrder.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Model/SearchExplanation.hpp"
#include "KestrelCore/Model/SearchQuery.hpp"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <numeric>
#include <unordered_map>
#include <utility>
#include <vector>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// More than anybody goes through; further ones want another word.
constexpr std::int64_t mostFound = 1000;

void rankNames(std::vector<BrowseItem>& items) {
    std::vector<std::uint32_t> order(items.size());
    std::iota(order.begin(), order.end(), 0U);
    std::ranges::sort(order, [&](std::uint32_t a, std::uint32_t b) {
        const auto natural = NaturalOrder::compareInList(items[a].record().name(), items[b].record().name());
        return natural == 0 ? a < b : natural < 0;
    });
    for (std::uint32_t rank = 0; rank < order.size(); ++rank) items[order[rank]].nameRank = rank;
}

/// What each item took at the scan before, and what is gone since.
void compare(BrowseFolder& folder, const SavedScan& earlier) {
    const std::optional<FileRecord> before = earlier.record(folder.path);
    folder.knowsChanges = true;
    std::unordered_map<Text, std::int64_t> sizes;
    for (const FileRecord& child : earlier.children(folder.path)) sizes.emplace(child.name(), child.displayBytes());
    for (BrowseItem& item : folder.items) {
        const auto size = sizes.find(item.record().name());
        const std::int64_t then = size == sizes.end() ? 0 : size->second;
        // Of what is not whole yet nothing can be told.
        if (item.entry.isComplete) item.change = item.record().displayBytes() - then;
        if (size != sizes.end()) sizes.erase(size);
    }
    if (!folder.isComplete) return;
    folder.change = folder.displayBytes - (before ? before->displayBytes() : 0);
    for (const auto& gone : sizes) {
        ++folder.goneItems;
        folder.goneBytes += gone.second;
    }
}

}  // namespace

BrowseFolders::BrowseFolders(std::shared_ptr<const SavedScan> scan, std::shared_ptr<const SavedScan> earlier)
    : root_{scan->summary().scope.root.path()}, listing_{[scan](const Text& path) { return scan->listing(path); }},
      scan_{scan}, earlier_{std::move(earlier)} {}

BrowseFolders::BrowseFolders(Text root, Listing listing, std::shared_ptr<const SavedScan> earlier)
    : root_{std::move(root)}, listing_{std::move(listing)}, earlier_{std::move(earlier)} {}

std::shared_ptr<const BrowseFolder> BrowseFolders::folder(const Text& path) const {
    auto folder = std::make_shared<BrowseFolder>();
    folder->path = path;
    folder->hasParent = path != root_ && path.view() != "/";
    try {
        std::optional<FolderListing> listing = listing_(path);
        if (!listing) {
            folder->failure = scan_ != nullptr ? "This folder is not in the scan any more."
                                               : "The scan has not come to this folder yet.";
            return folder;
        }
        folder->below = listing->below;
        folder->displayBytes = listing->below.allocatedBytes;
        folder->isComplete = listing->isComplete;
        folder->items.reserve(listing->entries.size());
        for (FolderEntry& entry : listing->entries) folder->items.push_back({.entry = std::move(entry)});
        rankNames(folder->items);
        if (scan_ != nullptr) {
            if (const auto record = scan_->record(path)) folder->displayBytes = record->displayBytes();
        }
        if (earlier_ != nullptr) compare(*folder, *earlier_);
    } catch (const std::exception& error) {
        folder->failure = error.what();
    }
    return folder;
}

std::shared_ptr<const BrowseFound> BrowseFolders::find(const FindBelow& query,
                                                       const CancellationToken& cancellation) const {
    auto found = std::make_shared<BrowseFound>();
    found->number = query.number;
    found->folder = query.folder;
    try {
        for (const SearchHint& hint : searchHints(query.words)) found->hints.push_back(hint.told());
        if (scan_ == nullptr) return found;
        auto answer = scan_->search(SearchQuery{Text{query.words}}, mostFound,
                                    {.cancellation = cancellation,
                                     .now = Date::now(),
                                     .filter = query.filter,
                                     .order = query.order,
                                     .measuresMatches = true});
        if (!answer) return nullptr;
        found->matches = answer->matches;
        found->matchedBytes = answer->matchedBytes;
        found->records.reserve(answer->results.size());
        for (ScoredRecord& result : answer->results) found->records.push_back(std::move(result.record));
    } catch (const std::exception& error) {
        found->failure = error.what();
    }
    return found;
}

std::shared_ptr<const Summary> BrowseFolders::summary(const Text& path, SummaryGrouping grouping,
                                                      const CancellationToken& cancellation) const {
    if (scan_ == nullptr) return nullptr;
    auto summary = scan_->summarize(path, grouping, {.cancellation = cancellation});
    return summary ? std::make_shared<const Summary>(std::move(*summary)) : nullptr;
}

std::shared_ptr<const BrowseFolders> BrowseFolders::newest(const SnapshotHistory& history) const {
    try {
        const std::vector<Generation> all = history.generations(root_);
        if (!all.empty()) {
            return std::make_shared<const BrowseFolders>(
                std::make_shared<const SavedScan>(history.open(all.front().number)),
                scanBefore(history, root_, all.front()));
        }
    } catch (const KestrelError&) {
        // It was readable a moment ago, and what was read then still is.
    }
    return std::make_shared<const BrowseFolders>(*this);
}

std::shared_ptr<const SavedScan> scanBefore(const SnapshotHistory& history, const Text& root,
                                            const std::optional<Generation>& scan) {
    try {
        // What was made by taking items out has the date of its scan, and is not compared with that.
        const auto isBefore = [&](const Generation& each) {
            return each.isComplete && (!scan || (each.number < scan->number && each.completedAt < scan->completedAt));
        };
        const std::vector<Generation> all = history.generations(root);
        const auto before = std::ranges::find_if(all, isBefore);
        return before == all.end() ? nullptr : std::make_shared<const SavedScan>(history.open(before->number));
    } catch (const KestrelError&) {
        return nullptr;
    }
}

}  // namespace KestrelCLI
