#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "Snapshot/RecordStorage.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace KestrelCore {

/// The best matches of a search, at most `limit` of them.
///
/// A match is better by a higher score, then by a larger display size, then by a name that sorts first in the natural
/// order, then by its earlier place in the snapshot. What is kept depends on the matches alone, never on the order in
/// which they came: several lists filled side by side merge into what one list would have kept.
///
/// That takes some care, since the natural order of odd names (not plain ASCII, or with a number beyond 64 bits) may
/// contradict itself: "1aÉ" < "1Aé" < "01Aé" < "1aÉ". Among plain names it doesn't, and those compete in a heap. The
/// odd ones are set aside while their numbers suffice, and get their places among the others in the end, in the order
/// of the snapshot. Memory grows with the matches kept and with the odd ones that tie with them, never with the limit.
class BoundedSearchResults {
public:
    struct Match {
        std::uint32_t record;  ///< position in the storage
        std::int64_t score;
        std::int64_t displayBytes;

        bool operator==(const Match&) const = default;
    };

    /// `storage` must outlive the list. A limit of 0 or below keeps nothing.
    BoundedSearchResults(const RecordStorage& storage, std::int64_t limit);

    void insert(std::uint32_t record, std::int64_t score);
    /// Inserts the matches of a list over the same storage.
    void merge(const BoundedSearchResults& other);
    /// What is kept, best first.
    [[nodiscard]] std::vector<Match> bestFirst() const;

private:
    [[nodiscard]] bool isFull() const { return heap_.size() >= limit_; }
    [[nodiscard]] bool isBetter(const Match& a, const Match& b) const;
    [[nodiscard]] bool isBetterThanWorst(const Match& match);
    [[nodiscard]] bool isOdd(const Match& match) const;
    void insert(const Match& match);
    void insertOdd(const Match& match);
    void dropHopelessOdd();

    const RecordStorage& storage_;
    std::uint64_t limit_;
    std::vector<Match> heap_;        ///< plain names; once full, a binary heap whose root is the worst match kept
    std::optional<Text> worstName_;  ///< of the root, while it stays: many records compete with one
    std::vector<Match> odd_;         ///< all odd names that may still be among the best
    std::size_t oddBeforeDropping_ = 1024;
};

}  // namespace KestrelCore
