#include "Storage/History/GenerationSearch.hpp"

#include "Base/Checked.hpp"
#include "Snapshot/Search/SearchIndex.hpp"
#include "Snapshot/Search/SnapshotSearch.hpp"
#include "Snapshot/Search/StorageSearchPlan.hpp"
#include "Snapshot/SnapshotAccess.hpp"
#include "Storage/History/SnapshotLoading.hpp"

// A search turns nearly all records away by the letters of their names and by their folders. So these are read first,
// and what is turned away by them never becomes a record. Those that are left make a small snapshot, in the order of
// the whole one, and that is searched: what is found, its scores and its order are those of the whole one, since each
// record is judged by itself.
//
// A search without words has nothing to ask of names. Where the largest come first it looks at sizes before it reads
// any name, and only those that may come before the limit are read whole; the others are counted.

namespace KestrelCore {

namespace {

/// What a search can't turn away before it reads a name.
class MayMatch final : public RecordSelection {
public:
    MayMatch(const StorageSearchPlan& plan, const SearchSettings& settings, std::optional<std::size_t> mostLargest)
        : plan_{plan}, settings_{settings}, mostLargest_{mostLargest} {}

    void begin(const RecordStorage& storage) override {
        storage_ = &storage;
        index_.emplace(storage, 1);
        search_.emplace(storage, *index_, plan_, settings_);
    }
    bool mayTake(const RecordStorage::Row& row) const override {
        return search_->mayMatch(row, SearchIndex::maskOf(storage_->nameOf(row), row.isASCII != 0));
    }
    bool takes(const RecordStorage::Row& row) const override { return search_->passesFilters(row); }
    std::optional<Largest> largest() const override {
        if (!mostLargest_) return std::nullopt;
        const SearchFilter& filter = settings_.filter;
        return Largest{.count = *mostLargest_,
                       .asksForDates = plan_.modifiedAfter || plan_.modifiedBefore || filter.modifiedAfter ||
                                       filter.modifiedBefore};
    }
    void leaveOut(std::int64_t files, std::int64_t bytes) override {
        filesLeftOut_ = files;
        bytesLeftOut_ = bytes;
    }
    bool isGivenUp() const override { return settings_.cancellation && settings_.cancellation->isCancelled(); }

    // What matches, and is not among the largest.
    [[nodiscard]] std::int64_t filesLeftOut() const { return filesLeftOut_; }
    [[nodiscard]] std::int64_t bytesLeftOut() const { return bytesLeftOut_; }

private:
    const StorageSearchPlan& plan_;
    const SearchSettings& settings_;
    std::optional<std::size_t> mostLargest_;
    std::int64_t filesLeftOut_ = 0;
    std::int64_t bytesLeftOut_ = 0;
    const RecordStorage* storage_ = nullptr;
    std::optional<SearchIndex> index_;  ///< of the folders: there are no records yet
    std::optional<SnapshotSearch> search_;
};

/// Whether items of that kind may match at all.
bool admits(const StorageSearchPlan& plan, const SearchFilter& filter, FileKind kind) {
    const bool isAnyType = filter.kinds.empty() && filter.categories.empty();
    const bool isApplication = kind == FileKind::package && filter.categories.contains(ItemCategory::applications);
    return (plan.kinds.empty() || plan.kinds.contains(kind)) &&
           (isAnyType || isApplication || filter.kinds.contains(kind));
}

/// Whether files can be judged without their names, and the larger of two that match comes first.
bool isBySizeAlone(const StorageSearchPlan& plan, const SearchSettings& settings) {
    const SearchFilter& filter = settings.filter;
    const bool asksForNames = !plan.terms.empty() || !plan.pathTerms.empty() || !filter.wordsInPath.empty() ||
                              !filter.wordsNotInPath.empty() || !filter.notInFolders.empty();
    // Without words all scores are equal, and then sizes decide.
    const bool isLargestFirst = settings.order == SearchOrder::size || settings.order == SearchOrder::score;
    // What lies in a folder that matches must not be counted again.
    const bool mayCountTwice = settings.measuresMatches &&
                               (admits(plan, filter, FileKind::directory) || admits(plan, filter, FileKind::package));
    return !asksForNames && isLargestFirst && !mayCountTwice;
}

}  // namespace

std::optional<SearchAnswer> searchGeneration(const OpenGeneration& generation, const SearchQuery& query,
                                             std::int64_t limit, const SearchSettings& settings) {
    SearchSettings sameTime = settings;
    sameTime.now = settings.now.value_or(Date::now());
    const StorageSearchPlan plan{query, *sameTime.now};
    if (limit <= 0) return SearchAnswer{.explanation = plan, .results = {}};
    // Of many that are wanted few would be left out.
    const bool areFew = limit <= std::int64_t{generation.rows().files().size()} / 4;
    MayMatch selection{plan, sameTime,
                       areFew && isBySizeAlone(plan, sameTime) ? std::optional{static_cast<std::size_t>(limit)}
                                                               : std::nullopt};
    const auto records = loadChosenRecords(generation.rows(), generation.context(), selection);
    if (selection.isGivenUp()) return std::nullopt;
    auto answer = generation.snapshotOf(records).search(query, limit, sameTime);
    if (!answer) return std::nullopt;
    answer->matches += selection.filesLeftOut();
    if (answer->matchedBytes)
        answer->matchedBytes = Checked::add(*answer->matchedBytes, selection.bytesLeftOut(), "KestrelCore/Search");
    return answer;
}

}  // namespace KestrelCore
