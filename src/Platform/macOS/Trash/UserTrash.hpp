#pragma once

#include "KestrelCore/Base/URL.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/Removal/ItemLocation.hpp"

#include <ctime>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCore {

/// A trash folder of this user: what is thrown away lies right in it, under its own name. Reached through no link in
/// it, and this user's alone. What it says about where items were is Finder's own.
struct UserTrash {
    std::string path;  ///< raw, absolute
    FileDescriptor folder;

    /// Those below the home directory that there are.
    [[nodiscard]] static std::vector<UserTrash> ofHome();
    /// The one at the top of a volume; empty where there is none.
    [[nodiscard]] static std::optional<UserTrash> ofVolume(int volume, const std::string& volumePath);
    /// All in which an item from there would be.
    [[nodiscard]] static std::vector<UserTrash> forItem(const ItemLocation& item);

    /// When the item of that name came into it; empty where that is not known.
    [[nodiscard]] std::optional<std::time_t> addedTime(const std::string& name) const;
};

}  // namespace KestrelCore
