#pragma once

#include "Platform/Traversal.hpp"

#include <memory>

namespace KestrelCore {

/// The reference: the C library's `fts`, physical, on one device, without changing folder and without sorting. It can't
/// look at paths of 4096 bytes and more, knows no limit of claims, and enters bind mounts of the same device.
[[nodiscard]] std::unique_ptr<Traversal> openFtsTraversal(const TraversalOptions& options);

}  // namespace KestrelCore
