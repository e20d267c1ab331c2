#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "Snapshot/RecordStorage.hpp"
#include "Snapshot/Search/BoundedSearchResults.hpp"
#include "Snapshot/Search/FolderAnswers.hpp"
#include "Snapshot/Search/NameMatcher.hpp"
#include "Snapshot/Search/RowFilter.hpp"
#include "Snapshot/Search/SearchIndex.hpp"
#include "Snapshot/Search/SearchPattern.hpp"
#include "Snapshot/Search/StorageSearchPlan.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace KestrelCore {

/// One search over the records of a snapshot: the plan made ready, and the pass over the records.
///
/// The answer does not depend on how many threads make it. Nothing here changes the storage or the index.
class SnapshotSearch {
public:
    /// The storage, the index, the plan and the settings must outlive the search.
    SnapshotSearch(const RecordStorage& storage, const SearchIndex& index, const StorageSearchPlan& plan,
                   const SearchSettings& settings);

    struct Found {
        std::vector<BoundedSearchResults::Match> best;  ///< at most `limit`, best first
        std::int64_t matches = 0;                       ///< how many there are
        std::optional<std::int64_t> bytes{};            ///< of all of them, where the settings ask for it
    };
    /// Empty when the search was abandoned. `limit` is above 0.
    [[nodiscard]] std::optional<Found> run(std::int64_t limit, unsigned threads) const;

    // What turns nearly all records away, for who reads records only to search them. Any thread.

    using Row = RecordStorage::Row;
    /// Whether a record with this folder and a name with these letters may match, whatever its values are.
    [[nodiscard]] bool mayMatch(const Row& row, LetterMask letters) const;
    /// Whether the row's values pass the filters.
    [[nodiscard]] bool passesFilters(const Row& row) const;

private:
    using PatternNumber = std::size_t;

    /// A distinct term, and how often the query holds it.
    struct Term {
        PatternNumber pattern;
        std::int64_t times;
    };
    /// What a thread works with; reused from record to record.
    struct Candidate;

    struct Added {
        PatternNumber number;
        bool isNew;
    };

    void addPathFilters();
    void addWordFilters();
    void addTerms();
    /// The pattern for a text; equal texts share one.
    Added add(const Text& text);
    void narrowBounds();
    void allowExtensions();
    [[nodiscard]] bool mayMatchTerm(const Row& row, LetterMask letters, PatternNumber number) const;
    [[nodiscard]] bool mayMatchPath(const Row& row, LetterMask letters, PatternNumber number) const;
    [[nodiscard]] bool isAnswered(const Row& row, PatternNumber number) const;
    [[nodiscard]] std::optional<std::int64_t> score(Candidate& candidate) const;
    [[nodiscard]] bool passesPathFilters(Candidate& candidate) const;
    /// `isInPath` answers for the number of a pattern.
    template <typename IsInPath>
    [[nodiscard]] bool isAtWantedPlace(const Row& row, IsInPath&& isInPath) const;
    [[nodiscard]] std::int64_t termScore(Candidate& candidate, PatternNumber number) const;
    [[nodiscard]] std::int64_t phraseBonus(Candidate& candidate) const;
    [[nodiscard]] bool pathContains(Candidate& candidate, PatternNumber number) const;
    [[nodiscard]] bool nameContains(Candidate& candidate, PatternNumber number) const;

    const RecordStorage& storage_;
    const SearchIndex& index_;
    const StorageSearchPlan& plan_;
    const SearchSettings& settings_;
    RowFilter filter_;
    // The bounds of the query and of the filter beside it together.
    std::int64_t minimumBytes_ = 0;
    std::optional<std::int64_t> maximumBytes_;
    std::optional<Date> modifiedAfter_;
    std::optional<Date> modifiedBefore_;
    std::unordered_map<Text, PatternNumber> numbers_;
    std::vector<SearchPattern> patterns_;  ///< all distinct; of the path filters first, then of the terms
    std::vector<PatternNumber> pathPatterns_;
    std::vector<PatternNumber> wantedPatterns_;     ///< one of them in the path is as good as a wanted folder
    std::vector<PatternNumber> unwantedPatterns_;   ///< none of them may occur in the path
    std::vector<PatternNumber> developerPatterns_;  ///< one of them must occur in the path; empty = no such filter
    std::vector<Term> terms_;
    std::optional<PatternNumber> phrase_;
    std::uint32_t kindBits_ = 0;                   ///< 0 = any kind
    std::vector<std::uint8_t> allowedExtensions_;  ///< by position; empty = any
    FolderAnswers folders_;
};

}  // namespace KestrelCore
