#pragma once

#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Model/SearchQuery.hpp"

#include <cstdint>
#include <utility>
#include <vector>

namespace KestrelCore::testing {

/// The rules of the search read one after the other, record by record, with no thought of time. It shares the texts and
/// their order with the library, and nothing of its search.
[[nodiscard]] std::vector<std::pair<FileRecord, std::int64_t>>
naiveSearch(const std::vector<FileRecord>& records, const SearchQuery& query, std::int64_t limit, Date now);

}  // namespace KestrelCore::testing
