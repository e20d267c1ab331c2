#include "Platform/ItemOwner.hpp"

#include <sys/stat.h>
#include <unistd.h>

namespace KestrelCore {

std::optional<ItemOwner> ownerOf(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) return std::nullopt;
    return ItemOwner{.user = status.st_uid, .isLink = S_ISLNK(status.st_mode)};
}

std::uint32_t currentUser() { return geteuid(); }

}  // namespace KestrelCore
