#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Snapshot/FolderListing.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <memory>
#include <mutex>
#include <optional>

namespace KestrelCore {

class GrowingFolders;
class GrowingTree;

/// What the copies of a growing tree share, with each other and with the scan. Any thread.
class GrowingTreeState {
public:
    /// As of `GrowingTree`.
    [[nodiscard]] std::optional<FolderListing> listing(const Text& path) const;

private:
    friend class WatchedWalk;

    mutable std::mutex mutex_;
    const GrowingFolders* folders_ = nullptr;  ///< guarded by `mutex_`; null where no walk is under way
    std::optional<ScanSnapshot> snapshot_;     ///< guarded by `mutex_`; of the scan that has ended
};

/// What the library sees of a tree that a host has handed in.
struct GrowingTreeAccess {
    [[nodiscard]] static std::shared_ptr<GrowingTreeState> state(const GrowingTree& tree);
};

/// A scan's time with a tree; without one it does nothing. One thread.
class WatchedWalk {
public:
    /// `tree` may be null; `folders` must outlive this.
    WatchedWalk(std::shared_ptr<GrowingTreeState> tree, const GrowingFolders* folders);
    ~WatchedWalk();
    WatchedWalk(const WatchedWalk&) = delete;
    WatchedWalk& operator=(const WatchedWalk&) = delete;

    /// Held while the walk changes its folders: nobody looks then, and whoever looks makes this wait.
    [[nodiscard]] std::unique_lock<std::mutex> working() const {
        return tree_ != nullptr ? std::unique_lock{tree_->mutex_} : std::unique_lock<std::mutex>{};
    }
    /// The walk is over: nobody looks at its folders any more.
    void leave();
    /// The scan's result takes their place.
    void end(const ScanSnapshot& snapshot);

private:
    std::shared_ptr<GrowingTreeState> tree_;
    bool hasLeft_ = false;
};

}  // namespace KestrelCore
