#pragma once

#include "KestrelCore/Base/URL.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/Removal/ItemLocation.hpp"

#include <ctime>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCore {

/// A trash that may be this user's and can't be looked into, as without full disk access.
struct UnopenedTrash {
    std::string path;  ///< raw, absolute
    int errorNumber = 0;
};

/// A trash folder of this user: what is thrown away lies right in it, under its own name. Reached through no link in
/// it, and this user's alone. What it says about where items were is Finder's own.
struct UserTrash {
    std::string path;  ///< raw, absolute
    FileDescriptor folder;

    // Each adds those that can't be opened to `unopened`; what is no folder, or not there, is none of them.
    /// Those below the home directory that there are.
    [[nodiscard]] static std::vector<UserTrash> ofHome(std::vector<UnopenedTrash>& unopened);
    /// The one at the top of a volume; empty where there is none.
    [[nodiscard]] static std::optional<UserTrash> ofVolume(int volume, const std::string& volumePath,
                                                           std::vector<UnopenedTrash>& unopened);
    /// All in which an item from there would be.
    [[nodiscard]] static std::vector<UserTrash> forItem(const ItemLocation& item, std::vector<UnopenedTrash>& unopened);

    /// When the item of that name came into it; empty where that is not known.
    [[nodiscard]] std::optional<std::time_t> addedTime(const std::string& name) const;
};

}  // namespace KestrelCore
