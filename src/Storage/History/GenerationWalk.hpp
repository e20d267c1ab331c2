#pragma once

#include "Snapshot/WalkedTree.hpp"

#include <memory>

namespace KestrelCore {

class OpenGeneration;

/// The tree of a generation, which must outlive it. Folders are held, some eight of a hundred records; of everything
/// else a chunk at a time. The calls throw what reading throws.
[[nodiscard]] std::unique_ptr<WalkedTree> walkedTree(const OpenGeneration& generation);

}  // namespace KestrelCore
