#include "Storage/History/GenerationSearch.hpp"

#include "Snapshot/Search/SearchIndex.hpp"
#include "Snapshot/Search/SnapshotSearch.hpp"
#include "Snapshot/Search/StorageSearchPlan.hpp"
#include "Snapshot/SnapshotAccess.hpp"
#include "Storage/History/SnapshotLoading.hpp"

// A search turns nearly all records away by the letters of their names and by their folders. So these are read first,
// and what is turned away by them never becomes a record. Those that are left make a small snapshot, in the order of
// the whole one, and that is searched: what is found, its scores and its order are those of the whole one, since each
// record is judged by itself.

namespace KestrelCore {

namespace {

/// What a search can't turn away before it reads a name.
class MayMatch final : public RecordSelection {
public:
    MayMatch(const StorageSearchPlan& plan, const SearchSettings& settings) : plan_{plan}, settings_{settings} {}

    void begin(const RecordStorage& storage) override {
        storage_ = &storage;
        index_.emplace(storage, 1);
        search_.emplace(storage, *index_, plan_, settings_);
    }
    bool mayTake(const RecordStorage::Row& row) const override {
        return search_->mayMatch(row, SearchIndex::maskOf(storage_->nameOf(row), row.isASCII != 0));
    }
    bool takes(const RecordStorage::Row& row) const override { return search_->passesFilters(row); }
    bool isGivenUp() const override { return settings_.cancellation && settings_.cancellation->isCancelled(); }

private:
    const StorageSearchPlan& plan_;
    const SearchSettings& settings_;
    const RecordStorage* storage_ = nullptr;
    std::optional<SearchIndex> index_;  ///< of the folders: there are no records yet
    std::optional<SnapshotSearch> search_;
};

}  // namespace

std::optional<SearchAnswer> searchGeneration(const OpenGeneration& generation, const SearchQuery& query,
                                             std::int64_t limit, const SearchSettings& settings) {
    SearchSettings sameTime = settings;
    sameTime.now = settings.now.value_or(Date::now());
    const StorageSearchPlan plan{query, *sameTime.now};
    if (limit <= 0) return SearchAnswer{.explanation = plan, .results = {}};
    MayMatch selection{plan, sameTime};
    const auto records = loadChosenRecords(generation.rows(), generation.context(), selection);
    if (selection.isGivenUp()) return std::nullopt;
    return generation.snapshotOf(records).search(query, limit, sameTime);
}

}  // namespace KestrelCore
