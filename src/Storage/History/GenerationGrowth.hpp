#pragma once

#include "KestrelCore/Storage/Growth.hpp"
#include "Storage/History/OpenGeneration.hpp"

namespace KestrelCore {

/// Compares what lies at the path in `growth`, whose generations these are, and fills in the rest of it; false where it
/// lies in neither. Throws what reading throws.
[[nodiscard]] bool compareGenerations(const OpenGeneration& since, const OpenGeneration& until,
                                      const GrowthOptions& options, Growth& growth);

}  // namespace KestrelCore
