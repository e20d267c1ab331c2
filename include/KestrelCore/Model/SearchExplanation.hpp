#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileKind.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
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
};

/// How a search runs; the defaults are right for hosts.
struct SearchSettings {
    std::optional<CancellationToken> cancellation;  ///< absent: the search can't be abandoned
    std::optional<Date> now;                        ///< what "recent" and "old" count from; absent: the clock's time
    unsigned threads = 0;                           ///< 0: as many as fit the machine and the number of records
};

}  // namespace KestrelCore
