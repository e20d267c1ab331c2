#pragma once

#include "Storage/History/RecordBuilder.hpp"

namespace KestrelCore {

/// All records of a generation, as its snapshot has them. Throws `KestrelError::unavailable` where rows contradict each
/// other.
[[nodiscard]] std::shared_ptr<const RecordStorage> loadRecords(const GenerationRows& rows,
                                                               const GenerationContext& context);

}  // namespace KestrelCore
