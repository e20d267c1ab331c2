#pragma once

#include "report/ReportSelection.hpp"
#include "report/ReportTree.hpp"

#include "KestrelCore/Storage/Growth.hpp"

#include <cstdint>
#include <string_view>
#include <vector>

namespace KestrelCLI {

/// What became of an item, as `kestrel growth` has it in JSON.
[[nodiscard]] std::string_view reportWordFor(KestrelCore::GrowthChangeKind what);

/// For each shown item by how many bytes it grew, with all that lies in it: the changes that `growth` tells at its path
/// and below. One of an item that is not shown, or is gone, counts for the folders above it that are.
[[nodiscard]] std::vector<std::int64_t> reportChanges(const ReportTree& tree, const ReportSelection& selection,
                                                      const KestrelCore::Growth& growth);

}  // namespace KestrelCLI
