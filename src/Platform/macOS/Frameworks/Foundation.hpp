#pragma once

#include "Platform/macOS/Trash/Portable/FoundationError.hpp"

#include <optional>
#include <string>

namespace KestrelCore {

/// What the file manager of Foundation answers when it is asked to move an item to the Trash.
struct TrashAnswer {
    std::optional<std::string> place;      ///< where the item is now; raw. Absent when it is not told
    std::optional<FoundationError> error;  ///< absent on success
};

/// Asks it to move the item at `path` (raw, absolute; a link is not followed at its end). Empty where the system has no
/// Foundation. Any thread; blocks on the disk.
[[nodiscard]] std::optional<TrashAnswer> moveToTrashByFoundation(const std::string& path, bool isFolder);

}  // namespace KestrelCore
