#include "KestrelCore/Scanning/GrowingTree.hpp"

#include "Scanning/GrowingTreeState.hpp"

namespace KestrelCore {

GrowingTree::GrowingTree() : state_{std::make_shared<GrowingTreeState>()} {}

std::optional<FolderListing> GrowingTree::listing(const Text& path) const { return state_->listing(path); }

std::shared_ptr<GrowingTreeState> GrowingTreeAccess::state(const GrowingTree& tree) { return tree.state_; }

}  // namespace KestrelCore
