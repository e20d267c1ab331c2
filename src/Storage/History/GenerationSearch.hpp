#pragma once

#include "KestrelCore/Model/SearchQuery.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "Storage/History/OpenGeneration.hpp"

#include <cstdint>
#include <optional>

namespace KestrelCore {

/// As of `GenerationReader::search`.
[[nodiscard]] std::optional<SearchAnswer> searchGeneration(const OpenGeneration& generation, const SearchQuery& query,
                                                           std::int64_t limit, const SearchSettings& settings);

}  // namespace KestrelCore
