#include "commands/BrowseFolders.hpp"

#include "commands/SearchHints.hpp"
#include "output/ByteFormat.hpp"
#include "store/HistoryAccess.hpp"

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/NaturalOrder.hpp"
#include "KestrelCore/Model/ItemCategory.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Model/SearchExplanation.hpp"
#include "KestrelCore/Model/SearchQuery.hpp"

#include <fmt/format.h>

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
/// Of each rule: as many as somebody may want to mark at once.
constexpr std::size_t mostSuggested = 10'000;

/// A folder is drawn with its content from one part in so many of the picture.
constexpr std::int64_t smallestShare = 60;
/// More than have room in a picture, and in a tile.
constexpr std::size_t mostItems = 1000;
constexpr std::size_t mostChildren = 200;

PictureItem pictureItem(const FileRecord& record, std::optional<std::int64_t> change) {
    PictureItem item{.name = record.name().string(), .bytes = record.displayBytes(), .isFolder = record.isContainer()};
    if (record.isHardLinkDuplicate()) item.bytes = 0;
    if (!item.isFolder) item.category = ItemCategories::of(record);
    item.change = change;
    return item;
}

/// Ends a sort that nobody waits for any more.
struct Overtaken {};

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
        if (scan_ != nullptr) {
            if (const auto record = scan_->record(path)) folder->displayBytes = record->displayBytes();
        }
        if (earlier_ != nullptr) compare(*folder, *earlier_);
    } catch (const std::exception& error) {
        folder->failure = error.what();
    }
    return folder;
}

std::shared_ptr<const BrowsePicture> BrowseFolders::picture(const std::shared_ptr<const BrowseFolder>& folder,
                                                            const CancellationToken& cancellation) const {
    auto picture = std::make_shared<BrowsePicture>();
    picture->folder = folder;
    std::int64_t all = 0;
    PictureItem rest;
    for (const BrowseItem& item : folder->items) {
        PictureItem shown = pictureItem(item.record(), item.change);
        all += shown.bytes;
        if (picture->items.size() < mostItems) {
            picture->items.push_back(std::move(shown));
        } else {
            rest.bytes += shown.bytes;
        }
    }
    const std::size_t itemCount = picture->items.size();
    for (std::size_t index = 0; index < itemCount; ++index) {
        const FileRecord& record = folder->items[index].record();
        if (record.isContainer()) fill(picture->items[index], record.path(), all / smallestShare, 2, cancellation);
        if (cancellation.isCancelled()) return nullptr;
    }
    if (const std::size_t others = folder->items.size() - itemCount; others > 0) {
        rest.name = fmt::format("{} smaller items", ByteFormat::count(static_cast<std::int64_t>(others)));
        picture->items.push_back(std::move(rest));
    }
    return picture;
}

/// Puts what is in a folder into its item where it takes at least `least` bytes, which is about where a tile has room
/// for any of it.
void BrowseFolders::fill(PictureItem& item, const Text& path, std::int64_t least, int levels,
                         const CancellationToken& cancellation) const {
    if (levels == 0 || item.bytes < std::max<std::int64_t>(least, 1) || cancellation.isCancelled()) return;
    try {
        const auto listing = listing_(path);
        if (!listing) return;
        std::unordered_map<Text, std::int64_t> before;
        if (earlier_ != nullptr) {
            for (const FileRecord& child : earlier_->children(path)) before.emplace(child.name(), child.displayBytes());
        }
        for (const FolderEntry& entry : listing->entries) {
            // The rest is one tile.
            if (item.children.size() >= mostChildren) break;
            const auto size = before.find(entry.record.name());
            const std::int64_t then = size == before.end() ? 0 : size->second;
            item.children.push_back(pictureItem(entry.record, earlier_ != nullptr && entry.isComplete
                                                                  ? std::optional{entry.record.displayBytes() - then}
                                                                  : std::nullopt));
            if (entry.record.isContainer())
                fill(item.children.back(), entry.record.path(), least, levels - 1, cancellation);
        }
    } catch (const KestrelError&) {
        // Without its content it is a tile all the same.
    }
}

std::shared_ptr<const BrowseFound> BrowseFolders::find(const FindBelow& query,
                                                       const CancellationToken& cancellation) const {
    auto found = std::make_shared<BrowseFound>();
    found->number = query.number;
    found->folder = query.folder;
    try {
        for (const SearchHint& hint : searchHints(query.words)) {
            // What is an option of the command can't be typed here.
            const bool isOption = hint.meant.find("--") != std::string::npos;
            found->hints.push_back(isOption ? hint.problem + hint.outcome + "; here ages are old, recent, and the key o"
                                            : hint.told());
        }
        if (scan_ == nullptr) return found;
        if (!query.rule.isEmpty()) {
            const auto all = suggestions(query.folder, cancellation);
            if (all == nullptr) return nullptr;
            for (const SuggestionGroup& group : all->groups) {
                if (group.rule.identifier != query.rule) continue;
                for (const SuggestedItem& item : group.items) found->records.push_back(item.record);
                found->matches = group.itemCount;
                found->matchedBytes = group.freedBytes;
            }
            return found;
        }
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

std::shared_ptr<const Suggestions> BrowseFolders::suggestions(const Text& path,
                                                              const CancellationToken& cancellation) const {
    if (scan_ == nullptr) return nullptr;
    SuggestionSettings settings{
        .places = ReclaimPlaces::ofThisProcess(), .mostItems = mostSuggested, .cancellation = cancellation};
    // From above the home directory nobody means other people's places.
    const bool holdsHome = path == Text{"/"} || settings.places.home.view().starts_with(path.string() + '/');
    if (!holdsHome) settings.folder = path;
    auto suggestions = scan_->suggestions(ReclaimCatalogue::standard(), settings);
    if (!suggestions) return nullptr;
    suggestions->leaveOutObjections(settings);
    return std::make_shared<const Suggestions>(std::move(*suggestions));
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

std::optional<BrowseNameOrder> nameOrder(const std::shared_ptr<const BrowseFolder>& folder,
                                         const CancellationToken& cancellation) {
    std::vector<std::uint32_t> order(folder->items.size());
    std::iota(order.begin(), order.end(), 0U);
    const auto name = [&](std::uint32_t index) -> const Text& { return folder->items[index].record().name(); };
    try {
        std::ranges::sort(order, [&](std::uint32_t a, std::uint32_t b) {
            if (cancellation.isCancelled()) throw Overtaken{};
            const auto natural = NaturalOrder::compareInList(name(a), name(b));
            return natural == 0 ? a < b : natural < 0;
        });
    } catch (const Overtaken&) {
        return std::nullopt;
    }
    BrowseNameOrder result{.folder = folder, .ranks = std::vector<std::uint32_t>(order.size())};
    for (std::uint32_t rank = 0; rank < order.size(); ++rank) result.ranks[order[rank]] = rank;
    return result;
}

std::shared_ptr<const SavedScan> scanBefore(const SnapshotHistory& history, const Text& root,
                                            const std::optional<Generation>& scan) {
    try {
        // What was made by taking items out has the date of its scan, and is not compared with that.
        const auto isBefore = [&](const Generation& each) {
            return each.isComplete && (!scan || (each.number < scan->number && each.completedAt < scan->completedAt));
        };
        // An import is compared with those of its name, and not with a scan of this disk.
        const bool isOfImport = scan && isImported(*scan);
        std::vector<Generation> all = isOfImport ? history.generations() : history.generations(root);
        std::erase_if(all, [&](const Generation& each) {
            return isOfImport && (each.source.name != scan->source.name || each.scope.root.path() != root);
        });
        const auto before = std::ranges::find_if(all, isBefore);
        return before == all.end() ? nullptr : std::make_shared<const SavedScan>(history.open(before->number));
    } catch (const KestrelError&) {
        return nullptr;
    }
}

}  // namespace KestrelCLI
