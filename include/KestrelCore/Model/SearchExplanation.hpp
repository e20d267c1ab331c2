#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileKind.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Model/SearchFilter.hpp"
#include "KestrelCore/Model/SearchQuery.hpp"

#include <cstdint>
#include <optional>
#include <set>
#include <vector>

namespace KestrelCore {

/// How a query was understood: what hosts show to a user who wonders about a result. A record must satisfy every part
/// that is not empty, and hold every word.
struct KESTRELCORE_EXPORT SearchExplanation {
    std::vector<Text> terms;        ///< plain words, case folded, in query order
    std::set<FileKind> kinds;       ///< empty = any
    std::set<Text> extensions;      ///< lower case, without the dot; empty = any
    std::vector<Text> pathTerms;    ///< words that must occur in the path
    std::int64_t minimumBytes = 0;  ///< of the display size
    std::optional<std::int64_t> maximumBytes;
    std::optional<Date> modifiedAfter;
    std::optional<Date> modifiedBefore;
    bool hiddenOnly = false;

    /// What a search for `query` at `now` would go by; words such as "recent" become dates that way.
    [[nodiscard]] static SearchExplanation of(const SearchQuery& query, Date now);

    bool operator==(const SearchExplanation&) const = default;
};

/// A record that answers a query, and how well: the higher the better. Scores compare within one answer only; they are
/// no percentage, and what makes them may change.
struct ScoredRecord {
    FileRecord record;
    std::int64_t score;

    bool operator==(const ScoredRecord&) const = default;
};

/// What a search found, best first, and how it read the query. No results when nothing answers, or when the limit was 0
/// or below.
struct SearchAnswer {
    SearchExplanation explanation;
    std::vector<ScoredRecord> results;
    std::int64_t matches = 0;  ///< how many records answer, beyond the limit too; 0 when the limit was 0 or below
    /// What all of these take on the disk: what lies in a folder that answers, too, counts once, a further hard link
    /// for nothing. Absent unless the settings ask for it.
    std::optional<std::int64_t> matchedBytes{};
};

/// Which results come first, and so which ones a limit leaves over. What is equal in it is told apart by score, size
/// and name, in that order.
enum class SearchOrder : std::uint8_t {
    score,  ///< best first
    size,   ///< largest first
    date,   ///< youngest first, without a date last
    name    ///< in the natural order of lists
};

/// How a search runs; the defaults are right for hosts.
struct SearchSettings {
    std::optional<CancellationToken> cancellation;  ///< absent: the search can't be abandoned
    std::optional<Date> now;                        ///< what "recent" and "old" count from; absent: the clock's time
    unsigned threads = 0;                           ///< 0: as many as fit the machine and the number of records
    SearchFilter filter{};
    SearchOrder order = SearchOrder::score;
    /// Whether the answer has `matchedBytes`; that stops the process on sums that overflow: see `isConsistent`.
    bool measuresMatches = false;
};

}  // namespace KestrelCore
