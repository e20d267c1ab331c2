#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Snapshot/Summary.hpp"
#include "Storage/History/OpenGeneration.hpp"

#include <optional>

namespace KestrelCore {

/// As of `GenerationReader::summary`.
[[nodiscard]] std::optional<Summary> summaryOfGeneration(const OpenGeneration& generation, const Text& path,
                                                         SummaryGrouping grouping, const SummarySettings& settings);

}  // namespace KestrelCore
