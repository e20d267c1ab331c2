#include "Snapshot/Search/BoundedSearchResults.hpp"

#include "KestrelCore/Base/NaturalOrder.hpp"

#include <algorithm>

namespace KestrelCore {

namespace {

Text nameOf(const RecordStorage& storage, std::uint32_t record) { return Text{storage.nameOf(storage.row(record))}; }

bool isBetterByName(std::uint32_t recordA, const Text& nameA, std::uint32_t recordB, const Text& nameB) {
    const std::weak_ordering order = NaturalOrder::compareInList(nameA, nameB);
    return order != 0 ? order < 0 : recordA < recordB;
}

}  // namespace

BoundedSearchResults::BoundedSearchResults(const RecordStorage& storage, std::int64_t limit, SearchOrder order)
    : storage_{storage}, limit_{static_cast<std::uint64_t>(std::max<std::int64_t>(limit, 0))}, order_{order} {}

std::optional<bool> BoundedSearchResults::isBetterByNumbers(const Match& a, const Match& b) const {
    const auto date = [this](const Match& match) {
        const RecordStorage::Row& row = storage_.row(match.record);
        return row.hasModified ? row.modifiedAt : Date::distantPast().secondsSinceReferenceDate;
    };
    if (order_ == SearchOrder::name) return std::nullopt;
    if (order_ == SearchOrder::size && a.displayBytes != b.displayBytes) return a.displayBytes > b.displayBytes;
    if (order_ == SearchOrder::date && date(a) != date(b)) return date(a) > date(b);
    if (a.score != b.score) return a.score > b.score;
    if (a.displayBytes != b.displayBytes) return a.displayBytes > b.displayBytes;
    return std::nullopt;
}

bool BoundedSearchResults::isBetter(const Match& a, const Match& b) const {
    if (const std::optional<bool> decided = isBetterByNumbers(a, b)) return *decided;
    return isBetterByName(a.record, nameOf(storage_, a.record), b.record, nameOf(storage_, b.record));
}

bool BoundedSearchResults::isBetterThanWorst(const Match& match) {
    const Match& worst = heap_.front();
    if (const std::optional<bool> decided = isBetterByNumbers(match, worst)) return *decided;
    if (!worstName_) worstName_ = nameOf(storage_, worst.record);
    return isBetterByName(match.record, nameOf(storage_, match.record), worst.record, *worstName_);
}

void BoundedSearchResults::insert(std::uint32_t record, std::int64_t score) {
    insert(Match{record, score, storage_.row(record).displayBytes()});
}

void BoundedSearchResults::insert(const Match& match) {
    if (limit_ == 0) return;
    const auto isBefore = [&](const Match& a, const Match& b) { return isBetter(a, b); };
    if (!isFull()) {
        // Until the list is full nobody asks for the worst, so the heap is made only then.
        heap_.push_back(match);
        if (isFull()) std::make_heap(heap_.begin(), heap_.end(), isBefore);
    } else if (isBetterThanWorst(match)) {
        worstName_.reset();
        std::pop_heap(heap_.begin(), heap_.end(), isBefore);
        heap_.back() = match;
        std::push_heap(heap_.begin(), heap_.end(), isBefore);
    }
}

void BoundedSearchResults::merge(const BoundedSearchResults& other) {
    for (const Match& match : other.heap_) insert(match);
}

std::vector<BoundedSearchResults::Match> BoundedSearchResults::bestFirst() const {
    std::vector<Match> matches = heap_;
    std::sort(matches.begin(), matches.end(), [&](const Match& a, const Match& b) { return isBetter(a, b); });
    return matches;
}

}  // namespace KestrelCore
