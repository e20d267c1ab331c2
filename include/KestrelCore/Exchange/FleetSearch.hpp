#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Model/SearchExplanation.hpp"
#include "KestrelCore/Model/SearchFilter.hpp"
#include "KestrelCore/Model/SearchQuery.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// A record of some machine's scan, as a column store gives it back.
struct FleetItem {
    std::string host;
    std::string volume;
    FileRecord record;
};

/// A row of the table `files`; its members in the order of `columns`.
struct KESTRELCORE_EXPORT FleetRow {
    static constexpr std::string_view columns = "host, volume, dir, name, label, parent, extension, kind, size, "
                                                "allocated, display, modified, device, inode, flags, risk";

    std::string host;
    std::string volume;
    std::string dir;
    std::string name;
    std::string label;
    std::string parent;
    std::string extension;
    std::int8_t kind = 0;
    std::int64_t size = 0;
    std::int64_t allocated = 0;
    std::int64_t display = 0;
    double modified = 0;
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint16_t flags = 0;
    std::int8_t risk = 0;

    /// What no scan writes (a kind beyond the last) becomes the first. The identifier is a new one.
    [[nodiscard]] FleetItem item() const;
};

/// One item that answers, and how well; see `ScoredRecord`.
struct FleetMatch {
    FleetItem item;
    std::int64_t score = 0;
};

/// A search, in the language of `SearchQuery`, as a question to the table `files` of a column store: SQL in which texts
/// stand as hexadecimal digits alone, `unhex('…')`, so that none can be SQL. A value; any thread.
///
/// The store knows bytes, so it can't judge each row: a name that is not ASCII may be a slip away from a word in ways
/// that only the library counts. Such rows pass `possible()` and not `certain()`, and `answering` judges them. Rows
/// that pass neither don't answer; those that pass both do. For most searches the two are one.
class KESTRELCORE_EXPORT FleetSearch {
public:
    /// Bytes of SQL beyond which no server takes a question.
    static constexpr std::size_t longestQuestion = 200'000;

    /// `now` is what words such as "recent" count from. Throws std::length_error for a query of too many words.
    FleetSearch(SearchQuery query, SearchFilter filter, Date now);

    [[nodiscard]] const SearchExplanation& explanation() const { return explanation_; }

    /// A cheap condition that holds wherever `possible()` does, for PREWHERE.
    [[nodiscard]] const std::string& coarse() const { return coarse_; }
    [[nodiscard]] const std::string& possible() const { return possible_; }
    [[nodiscard]] const std::string& certain() const { return certain_; }
    /// Whether `certain()` is `possible()`, so that no row is left to judge.
    [[nodiscard]] bool isCertain() const { return possible_ == certain_; }
    /// How well a row answers: for ASCII names the score of the library, for others near it.
    [[nodiscard]] const std::string& score() const { return score_; }

    /// Those of the items that answer, by the library's own search, best first as `order` has it; items that are equal
    /// in all of it stay in their order.
    [[nodiscard]] std::vector<FleetMatch> answering(std::vector<FleetItem> items, SearchOrder order) const;

private:
    SearchQuery query_;
    SearchFilter filter_;
    Date now_;
    SearchExplanation explanation_;
    std::string coarse_;
    std::string possible_;
    std::string certain_;
    std::string score_;
};

}  // namespace KestrelCore
