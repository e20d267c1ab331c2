#pragma once

#include "Platform/POSIX/Walk/FolderSource.hpp"
#include "Platform/Traversal.hpp"

#include <memory>

namespace KestrelCore {

/// The walk with read-ahead over folders that `system` lists. The threads that read ahead share `system`, and one that
/// is stuck may keep it longer than the walk lives.
[[nodiscard]] std::unique_ptr<Traversal> openFolderWalk(const TraversalOptions& options,
                                                        std::shared_ptr<const WalkSystem> system);

}  // namespace KestrelCore
