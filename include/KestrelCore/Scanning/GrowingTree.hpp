#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Snapshot/FolderListing.hpp"

#include <memory>
#include <optional>

namespace KestrelCore {

class GrowingTreeState;

/// The folders of a scan while it runs, for who looks into them meanwhile: handed in as `ScanOptions::growing`, kept by
/// the host too. Copies share one tree, and one tree serves one scan after the other. Any thread.
class KESTRELCORE_EXPORT GrowingTree {
public:
    GrowingTree();

    /// The folder at `path` (canonical equivalence) with what has been found in and below it so far, in the order of
    /// listings. Sums only grow; where a name stands twice in one folder, in other code points, they may still fall by
    /// the item that is left out in the end. Records have no identifier yet, and folders' aggregates are those so far.
    /// Waits for no system call of the walk, also not for one that hangs, and never longer than the walk takes for one
    /// entry, or another thread for its listing.
    ///
    /// When the scan has ended with a snapshot, this is the snapshot's own listing, with its identifiers; the tree then
    /// keeps the snapshot. Empty for a path that no folder found so far has, before a scan has found its root, after
    /// one that gave no snapshot, and for the moment in which the walk is over and its records are put in order: who
    /// shows a listing keeps the last one.
    [[nodiscard]] std::optional<FolderListing> listing(const Text& path) const;

private:
    friend struct GrowingTreeAccess;

    std::shared_ptr<GrowingTreeState> state_;
};

}  // namespace KestrelCore
