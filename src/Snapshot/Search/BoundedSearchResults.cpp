#include "Snapshot/Search/BoundedSearchResults.hpp"

#include "KestrelCore/Base/NaturalOrder.hpp"

#include <algorithm>
#include <iterator>

namespace KestrelCore {

namespace {

Text nameOf(const RecordStorage& storage, std::uint32_t record) { return Text{storage.nameOf(storage.row(record))}; }

/// Whether `a` is better (true) or worse (false) by score and size; empty when these don't tell.
std::optional<bool> isBetterByNumbers(const BoundedSearchResults::Match& a, const BoundedSearchResults::Match& b) {
    if (a.score != b.score) return a.score > b.score;
    if (a.displayBytes != b.displayBytes) return a.displayBytes > b.displayBytes;
    return std::nullopt;
}

/// By score and size, with nothing between equal ones.
bool hasBetterNumbers(const BoundedSearchResults::Match& a, const BoundedSearchResults::Match& b) {
    return isBetterByNumbers(a, b).value_or(false);
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

bool BoundedSearchResults::isOdd(const Match& match) const {
    constexpr std::size_t mostDigits = 19;  // of a number that surely fits 64 bits
    std::size_t digits = 0;
    for (const char c : storage_.nameOf(storage_.row(match.record))) {
        digits = c >= '0' && c <= '9' ? digits + 1 : 0;
        if (c < ' ' || c > '~' || digits > mostDigits) return true;
    }
    return false;
}

void BoundedSearchResults::insert(const Match& match) {
    if (limit_ == 0 || (isFull() && hasBetterNumbers(heap_.front(), match))) return;
    if (isOdd(match)) {
        insertOdd(match);
        return;
    }
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

void BoundedSearchResults::insertOdd(const Match& match) {
    odd_.push_back(match);
    if (odd_.size() < oddBeforeDropping_) return;
    dropHopelessOdd();
    // Whatever is left: as many more come before the next look, so that all looks together cost little.
    oddBeforeDropping_ = std::max(oddBeforeDropping_, 2 * odd_.size());
}

/// Drops the odd matches that `limit` other ones beat by numbers alone.
void BoundedSearchResults::dropHopelessOdd() {
    if (odd_.size() > limit_) {
        const auto last = odd_.begin() + static_cast<std::ptrdiff_t>(limit_ - 1);
        std::nth_element(odd_.begin(), last, odd_.end(), hasBetterNumbers);
        const Match bound = *last;
        std::erase_if(odd_, [&](const Match& match) { return hasBetterNumbers(bound, match); });
    }
    if (isFull()) std::erase_if(odd_, [&](const Match& match) { return hasBetterNumbers(heap_.front(), match); });
}

void BoundedSearchResults::merge(const BoundedSearchResults& other) {
    for (const Match& match : other.heap_) insert(match);
    for (const Match& match : other.odd_) insert(match);
}

std::vector<BoundedSearchResults::Match> BoundedSearchResults::bestFirst() const {
    const auto isBefore = [&](const Match& a, const Match& b) { return isBetter(a, b); };
    std::vector<Match> plain = heap_;
    std::sort(plain.begin(), plain.end(), isBefore);

    std::vector<Match> odd = odd_;
    std::sort(odd.begin(), odd.end(),
              [](const Match& a, const Match& b) { return isBetterByNumbers(a, b).value_or(a.record < b.record); });
    std::vector<Match> best;
    best.reserve(std::min<std::uint64_t>(limit_, plain.size() + odd.size()));
    auto nextPlain = plain.begin();
    auto nextOdd = odd.begin();
    while (best.size() < limit_ && (nextPlain != plain.end() || nextOdd != odd.end())) {
        // All that equal the best ones by numbers: what is plain among them, then what is odd.
        const bool isPlainFirst =
            nextOdd == odd.end() || (nextPlain != plain.end() && !hasBetterNumbers(*nextOdd, *nextPlain));
        const Match first = isPlainFirst ? *nextPlain : *nextOdd;
        const auto isBehind = [&](const Match& match) { return hasBetterNumbers(first, match); };
        const auto plainEnd = std::find_if(nextPlain, plain.end(), isBehind);
        const auto oddEnd = std::find_if(nextOdd, odd.end(), isBehind);
        // A sort by heap, and a merge, stay inside their ranges whatever the comparison says, and give one result for
        // one order of what they are given.
        const std::size_t room =
            std::min<std::size_t>(limit_ - best.size(), static_cast<std::size_t>(oddEnd - nextOdd));
        const auto sortedEnd = nextOdd + static_cast<std::ptrdiff_t>(room);
        std::partial_sort(nextOdd, sortedEnd, oddEnd, isBefore);
        std::merge(nextPlain, plainEnd, nextOdd, sortedEnd, std::back_inserter(best), isBefore);
        nextPlain = plainEnd;
        nextOdd = oddEnd;
    }
    best.resize(std::min<std::size_t>(best.size(), limit_));
    return best;
}

}  // namespace KestrelCore
