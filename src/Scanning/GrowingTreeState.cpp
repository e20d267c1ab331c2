#include "Scanning/GrowingTreeState.hpp"

#include "Scanning/GrowingFolders.hpp"

#include <utility>

// The walk and whoever looks take turns under one lock. The walk has it while it makes a record of an entry, which
// takes less than a microsecond, and not while it asks the file system for the next: so a look needs no help of the
// walk, and works while a system call hangs. A lock that nobody else wants costs some nanoseconds an entry.

namespace KestrelCore {

std::optional<FolderListing> GrowingTreeState::listing(const Text& path) const {
    std::optional<ScanSnapshot> snapshot;
    std::optional<FolderGlimpse> glimpse;
    {
        const std::lock_guard lock{mutex_};
        snapshot = snapshot_;
        if (!snapshot && folders_ != nullptr) glimpse = folders_->look(path);
    }
    if (snapshot) return snapshot->listing(path);
    if (!glimpse) return std::nullopt;
    return listingOf(path, *glimpse);
}

WatchedWalk::WatchedWalk(std::shared_ptr<GrowingTreeState> tree, const GrowingFolders* folders)
    : tree_{std::move(tree)} {
    if (tree_ == nullptr) return;
    const std::lock_guard lock{tree_->mutex_};
    tree_->snapshot_.reset();
    tree_->folders_ = folders;
}

WatchedWalk::~WatchedWalk() { leave(); }

void WatchedWalk::leave() {
    if (tree_ == nullptr || std::exchange(hasLeft_, true)) return;
    const std::lock_guard lock{tree_->mutex_};
    tree_->folders_ = nullptr;
}

void WatchedWalk::end(const ScanSnapshot& snapshot) {
    leave();
    if (tree_ == nullptr) return;
    const std::lock_guard lock{tree_->mutex_};
    tree_->snapshot_ = snapshot;
}

}  // namespace KestrelCore
