#pragma once

#include "Snapshot/RecordStorage.hpp"
#include "Storage/History/RecordMaker.hpp"
#include "Storage/History/RecordSelection.hpp"
#include "Storage/History/StreamView.hpp"

#include <memory>

namespace KestrelCore {

/// All records of a generation, as its snapshot has them. Throws `KestrelError::unavailable` where rows contradict each
/// other.
[[nodiscard]] std::shared_ptr<const RecordStorage> loadRecords(const GenerationRows& rows,
                                                               const GenerationContext& context);

/// The records that are chosen, in the order that they have in the snapshot, and the irregular ones, which nobody is
/// asked about. Throws as `loadRecords`.
[[nodiscard]] std::shared_ptr<const RecordStorage>
loadChosenRecords(const GenerationRows& rows, const GenerationContext& context, RecordSelection& selection);

}  // namespace KestrelCore
