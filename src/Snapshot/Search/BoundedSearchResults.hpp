#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Model/SearchExplanation.hpp"
#include "Snapshot/RecordStorage.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace KestrelCore {

/// The best matches of a search, at most `limit` of them. Memory grows with the matches kept, never with the limit.
///
/// A match is better by what the order names, then by a higher score, then by a larger display size, then by a name
/// that sorts first in the natural order of lists, then by its earlier place in the snapshot. That order is total, so
/// what is kept depends on the matches alone, never on the order in which they came: several lists filled side by side
/// merge into what one list would have kept.
class BoundedSearchResults {
public:
    struct Match {
        std::uint32_t record;  ///< position in the storage
        std::int64_t score;
        std::int64_t displayBytes;

        bool operator==(const Match&) const = default;
    };

    /// `storage` must outlive the list. A limit of 0 or below keeps nothing.
    BoundedSearchResults(const RecordStorage& storage, std::int64_t limit, SearchOrder order = SearchOrder::score);

    void insert(std::uint32_t record, std::int64_t score);
    /// Inserts the matches of a list over the same storage.
    void merge(const BoundedSearchResults& other);
    /// What is kept, best first.
    [[nodiscard]] std::vector<Match> bestFirst() const;

private:
    [[nodiscard]] bool isFull() const { return heap_.size() >= limit_; }
    /// Whether `a` is better (true) or worse (false) by all but the name; empty when that does not tell.
    [[nodiscard]] std::optional<bool> isBetterByNumbers(const Match& a, const Match& b) const;
    [[nodiscard]] bool isBetter(const Match& a, const Match& b) const;
    [[nodiscard]] bool isBetterThanWorst(const Match& match);
    void insert(const Match& match);

    const RecordStorage& storage_;
    std::uint64_t limit_;
    SearchOrder order_;
    std::vector<Match> heap_;        ///< once full, a binary heap whose root is the worst match kept
    std::optional<Text> worstName_;  ///< of the root, while it stays: many records compete with one
};

}  // namespace KestrelCore
