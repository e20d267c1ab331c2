#pragma once

#include "KestrelCore/Model/SearchQuery.hpp"
#include "Snapshot/Search/SearchRecords.hpp"

#include <string>
#include <vector>

namespace KestrelCore::testing {

// Records and queries by chance, for properties; both meet the borders of the rules far more often than real ones.

/// When made queries are asked.
constexpr Date searchTime{800'000'000};

/// Lies in one of `folders`, which gain it where it is one.
[[nodiscard]] SearchedRecord aSearchedRecord(std::vector<std::string>& folders);
/// Of words, slips of them, pieces of the records' paths, and filters.
[[nodiscard]] SearchQuery aSearchQuery(const std::vector<SearchedRecord>& records);

}  // namespace KestrelCore::testing
