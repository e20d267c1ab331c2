#pragma once

#include "KestrelCore/Base/FileIdentity.hpp"
#include "KestrelCore/Base/Text.hpp"

#include <optional>
#include <vector>

namespace KestrelCore {

/// The identity of what `path` leads to; links are followed. Empty when there is nothing, or it can't be looked at.
[[nodiscard]] std::optional<FileIdentity> identityFollowingLinks(const Text& path);

/// Whether the item is a trash of this system or lies in one, by whatever path, or is a folder that holds the home
/// trash. False for a path that names nothing.
[[nodiscard]] bool isProtectedTrash(const Text& path);

/// The names in `folder` under which items stand while they are removed for good: what a removal that was interrupted
/// left. Sorted; empty for a folder that can't be listed.
[[nodiscard]] std::vector<Text> interruptedRemovals(const Text& folder);

}  // namespace KestrelCore
