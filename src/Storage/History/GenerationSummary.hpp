#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Snapshot/Summary.hpp"
#include "Storage/History/FolderTable.hpp"
#include "Storage/History/RecordMaker.hpp"
#include "Storage/History/StreamView.hpp"

#include <optional>

namespace KestrelCore {

/// As of `GenerationReader::summary`. `table` has the generation's folders.
[[nodiscard]] std::optional<Summary> summaryOfGeneration(const GenerationRows& rows, const GenerationContext& context,
                                                         const FolderTable& table, const Text& path,
                                                         SummaryGrouping grouping, const SummarySettings& settings);

}  // namespace KestrelCore
