#pragma once

#include "Snapshot/RecordStorage.hpp"
#include "Storage/History/RecordMaker.hpp"
#include "Storage/History/StreamView.hpp"

#include <memory>

namespace KestrelCore {

/// All records of a generation, as its snapshot has them. Throws `KestrelError::unavailable` where rows contradict each
/// other.
[[nodiscard]] std::shared_ptr<const RecordStorage> loadRecords(const GenerationRows& rows,
                                                               const GenerationContext& context);

/// Chooses among records while they are read: by folder and name first, since whoever is turned away there has no
/// column read for it. Any thread may ask at once.
class RecordSelection {
public:
    virtual ~RecordSelection() = default;
    /// `storage` has all folders and extensions, and no record yet. Called once, before all else.
    virtual void begin(const RecordStorage& storage) = 0;
    /// `row` has its folder and its name, and no values.
    [[nodiscard]] virtual bool mayTake(const RecordStorage::Row& row) const = 0;
    /// `row` has all its values.
    [[nodiscard]] virtual bool takes(const RecordStorage::Row& row) const = 0;
    /// True when the records are not wanted any more: what is read then is not whole.
    [[nodiscard]] virtual bool isGivenUp() const = 0;
};

/// The records that are chosen, in the order that they have in the snapshot, and the irregular ones, which nobody is
/// asked about. Throws as `loadRecords`.
[[nodiscard]] std::shared_ptr<const RecordStorage>
loadChosenRecords(const GenerationRows& rows, const GenerationContext& context, RecordSelection& selection);

}  // namespace KestrelCore
