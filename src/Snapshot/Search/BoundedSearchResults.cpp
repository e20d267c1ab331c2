#include "Snapshot/Search/BoundedSearchResults.hpp"

#include "KestrelCore/Base/NaturalOrder.hpp"

#include <algorithm>

namespace KestrelCore {

namespace {

Text nameOf(const RecordStorage& storage, std::uint32_t record) { return Text{storage.nameOf(storage.row(record))}; }

/// Whether `a` is better (true) or worse (false) by score and size; empty when these don't tell.
std::optional<bool> isBetterByNumbers(const BoundedSearchResults::Match& a, const BoundedSearchResults::Match& b) {
    if (a.score != b.score) return a.score > b.score;
    if (a.displayBytes != b.displayBytes) return a.displayBytes > b.displayBytes;
    return std::nullopt;
}

bool isBetterByName(std::uint32_t recordA, const Text& nameA, std::uint32_t recordB, const Text& nameB) {
    const std::weak_ordering order = NaturalOrder::compare(nameA, nameB);
    return order != 0 ? order < 0 : recordA < recordB;
}

}  // namespace

BoundedSearchResults::BoundedSearchResults(const RecordStorage& storage, std::int64_t limit)
    : storage_{storage}, limit_{static_cast<std::uint64_t>(std::max<std::int64_t>(limit, 0))} {}

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
    if (isFull()) {
        if (isBetterThanWorst(match)) replaceWorst(match);
        return;
    }
    // Until the list is full nobody asks for the worst, so the heap is made only then.
    heap_.push_back(match);
    if (isFull()) {
        std::make_heap(heap_.begin(), heap_.end(), [&](const Match& a, const Match& b) { return isBetter(a, b); });
    }
}

void BoundedSearchResults::replaceWorst(const Match& match) {
    worstName_.reset();
    // Down from the root: the worst of each pair of children moves up until none is worse than the new match.
    std::size_t hole = 0;
    while (2 * hole + 1 < heap_.size()) {
        std::size_t child = 2 * hole + 1;
        if (child + 1 < heap_.size() && isBetter(heap_[child], heap_[child + 1])) ++child;
        if (!isBetter(match, heap_[child])) break;
        heap_[hole] = heap_[child];
        hole = child;
    }
    heap_[hole] = match;
}

void BoundedSearchResults::merge(const BoundedSearchResults& other) {
    for (const Match& match : other.heap_) insert(match);
}

std::vector<BoundedSearchResults::Match> BoundedSearchResults::bestFirst() const {
    // A heap sort stays inside the list even if the natural order of some odd names should contradict itself.
    std::vector<Match> matches = heap_;
    const auto isBefore = [&](const Match& a, const Match& b) { return isBetter(a, b); };
    std::make_heap(matches.begin(), matches.end(), isBefore);
    std::sort_heap(matches.begin(), matches.end(), isBefore);
    return matches;
}

}  // namespace KestrelCore
