#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/UUID.hpp"
#include "KestrelCore/Model/ScanIssue.hpp"
#include "KestrelCore/Model/ScanScope.hpp"
#include "Snapshot/RecordStorage.hpp"
#include "Snapshot/SnapshotLookup.hpp"

#include <memory>
#include <vector>

namespace KestrelCore {

class ScanSnapshot;

/// What the library's own wings see of a snapshot beyond its public face: hosts know records, not how they are kept.
/// Any thread. What the two readers give lives as long as the snapshot, or a copy of it.
struct SnapshotAccess {
    /// A snapshot of records that are in the compact form already, which is not null and finished. Takes no time.
    [[nodiscard]] static ScanSnapshot make(UUID id, ScanScope scope, Date startedAt, Date completedAt,
                                           std::shared_ptr<const RecordStorage> records, std::vector<ScanIssue> issues);
    [[nodiscard]] static const RecordStorage& storage(const ScanSnapshot& snapshot);
    /// The first call for a snapshot makes it, which takes some tenths of a second for a million records.
    [[nodiscard]] static const SnapshotLookup& lookup(const ScanSnapshot& snapshot);
};

}  // namespace KestrelCore
