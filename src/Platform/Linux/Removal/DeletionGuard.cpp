#include "Platform/DeletionGuard.hpp"

#include "Platform/Linux/Removal/ItemLocation.hpp"
#include "Platform/Linux/Removal/SafeRemoval.hpp"
#include "Platform/Linux/Walk/FolderListing.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>

namespace KestrelCore {

std::optional<FileIdentity> identityFollowingLinks(const Text& path) {
    struct stat status {};
    if (::stat(path.string().c_str(), &status) != 0) return std::nullopt;
    return FileIdentity{static_cast<std::uint64_t>(status.st_dev), static_cast<std::uint64_t>(status.st_ino)};
}

bool isProtectedTrash(const Text& path) {
    try {
        const ItemLocation item = locateItem(URL::fromPath(path), FileOperation::remove);
        return isTrashOrInIt(item, statusIn(item.folder.get(), item.name)) || holdsHomeTrash(item);
    } catch (const PlatformError&) {
        return false;
    }
}

std::vector<Text> interruptedRemovals(const Text& folder) {
    std::vector<Text> names;
    const FileDescriptor opened{
        ::open(folder.string().c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK)};
    if (!opened.isOpen()) return names;
    FolderListing listing;
    while (listing.readPiece(opened.get())) {
        while (const ListedEntry* entry = listing.next()) {
            if (isRemovalName(entry->name)) names.emplace_back(entry->name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace KestrelCore
