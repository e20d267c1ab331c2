#pragma once

#include "Platform/POSIX/Removal/ItemLocation.hpp"
#include "Platform/POSIX/Removal/PlacesOnDisk.hpp"

#include <optional>
#include <string>
#include <vector>

namespace KestrelCore {

/// The trash folders of the user's home directory, each with its own implementation of a system; they need not exist.
[[nodiscard]] std::vector<std::string> homeTrashPaths();

/// Those folders on the disk, looked up now.
[[nodiscard]] PlacesOnDisk homeTrashOnDisk();

/// How the item stands to a home trash or to one at the top of a volume, by whatever path; nothing when it has to do
/// with none. A home trash that does not exist yet counts.
[[nodiscard]] std::optional<PlacesOnDisk::Standing> standingToTrash(const ItemLocation& item,
                                                                    const PlacesOnDisk& homeTrash = homeTrashOnDisk());

}  // namespace KestrelCore
