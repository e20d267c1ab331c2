#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Model/ScanIssue.hpp"
#include "Snapshot/RecordStorage.hpp"
#include "Snapshot/SnapshotLookup.hpp"

#include <cstdint>
#include <memory>
#include <unordered_set>
#include <vector>

namespace KestrelCore {

/// What is left of a snapshot when some of its records are taken out. Linear in the number of records; the number of
/// removed paths counts only by their depth, since every question "does it lie beneath" is asked of a path's own
/// ancestors.
class SnapshotPruning {
public:
    /// Keeps of `paths` those that are records. Records that share a path are taken or reduced all alike: it is
    /// `ScanSnapshot::removing` that refuses them.
    SnapshotPruning(const RecordStorage& storage, const SnapshotLookup& lookup, const std::vector<ScanIssue>& issues,
                    const std::unordered_set<Text>& paths);

    /// Whether no requested path is a record.
    [[nodiscard]] bool isEmpty() const { return removed_.empty(); }
    /// The records that are not covered, containers above the removed ones reduced by what was shown for those. Stops
    /// the process when a sum overflows.
    [[nodiscard]] std::shared_ptr<const RecordStorage> keptRecords() const;
    [[nodiscard]] std::vector<ScanIssue> keptIssues() const;

private:
    [[nodiscard]] bool covers(const Text& path) const;

    const RecordStorage& storage_;
    const SnapshotLookup& lookup_;
    const std::vector<ScanIssue>& issues_;
    std::unordered_set<Text> removed_;
    std::vector<std::uint32_t> removedIndices_;
};

}  // namespace KestrelCore
