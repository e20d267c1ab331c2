#pragma once

#include "Platform/macOS/Trash/Portable/FoundationTrash.hpp"

#include <optional>
#include <string>

namespace KestrelCore {

/// Asks the file manager of Foundation to move the item at `path` (raw, absolute; a link is not followed at its end).
/// Empty where the system has no Foundation. Any thread; blocks on the disk.
[[nodiscard]] std::optional<TrashAnswer> moveByFoundation(const std::string& path, bool isFolder);

}  // namespace KestrelCore
