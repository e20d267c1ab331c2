#pragma once

#include "Platform/Linux/Removal/ItemLocation.hpp"
#include "Platform/Linux/Removal/PlacesOnDisk.hpp"

#include <optional>
#include <string>

namespace KestrelCore {

/// The trash folder of the user's home directory (`$XDG_DATA_HOME/Trash`), as it is named but for empty components; it
/// need not exist.
[[nodiscard]] std::string homeTrashPath();

/// That folder on the disk, looked up now.
[[nodiscard]] PlacesOnDisk homeTrashOnDisk();

/// How the item stands to the home trash or to one at the top of a volume, by whatever path; nothing when it has to do
/// with none. A home trash that does not exist yet counts.
[[nodiscard]] std::optional<PlacesOnDisk::Standing> standingToTrash(const ItemLocation& item,
                                                                    const PlacesOnDisk& homeTrash = homeTrashOnDisk());

}  // namespace KestrelCore
