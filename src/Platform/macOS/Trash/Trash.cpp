#include "Platform/macOS/Trash/Trash.hpp"

#include "Platform/POSIX/Removal/ItemLocation.hpp"
#include "Platform/POSIX/Removal/SureRename.hpp"
#include "Platform/POSIX/Removal/TrashStanding.hpp"
#include "Platform/POSIX/Walk/FolderOnMount.hpp"
#include "Platform/macOS/Frameworks/Foundation.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

// Only Foundation knows how an item goes to the Trash so that Finder can put it back, and it takes a path. The path
// that it is given is that of the folder which was reached, without any link, and what stands there is compared right
// before; between that and the move somebody may still exchange it. So what came into the Trash is compared too.

namespace KestrelCore {

namespace {

PlatformError failure(const ItemLocation& item, int errorNumber) {
    return itemError(FileOperation::trash, item, errorNumber);
}

/// Where the item stands, by the way that does not depend on links.
std::string placeOf(const ItemLocation& item) {
    const std::string otherwise = item.path.substr(0, item.path.size() - item.name.size() - 1);
    const std::string folder = pathOfDescriptor(item.folder.get(), otherwise);
    return (folder == "/" ? "" : folder) + "/" + item.name;
}

struct stat expectedStatus(const ItemLocation& item, const std::optional<ExpectedItem>& expected) {
    const auto status = statusIn(item.folder.get(), item.name);
    if (!status) throw fileManagerError(FileOperation::trash, item.text(), errno);
    if (!matches(*status, expected)) throw changedItemError();
    return *status;
}

/// Throws when what came to `place` is another item than `status` tells, and gives that its own place back. A trash
/// that this process may not look into tells nothing against it.
void compareInTrash(const ItemLocation& item, const struct stat& status, const std::string& place) {
    const std::size_t slash = place.rfind('/');
    if (slash == std::string::npos || slash + 1 == place.size()) return;
    const std::string name = place.substr(slash + 1);
    const FileDescriptor folder = openFolderToPass(AT_FDCWD, slash == 0 ? "/" : place.substr(0, slash));
    if (!folder.isOpen()) return;
    const auto found = statusIn(folder.get(), name);
    if (!found || asExpected(*found) == asExpected(status)) return;
    if (renameSurely(folder.get(), name, item.folder.get(), item.name, asExpected(*found)) != 0)
        throw withSentence(changedItemError(), "What took its place is in the trash.");
    throw changedItemError();
}

}  // namespace

std::optional<URL> moveToTrash(const URL& url, const std::optional<ExpectedItem>& expected,
                               const CancellationToken& cancellation) {
    const ItemLocation item = locateItem(url, FileOperation::trash);
    struct stat status = expectedStatus(item, expected);
    const auto standing = standingToTrash(item);
    if (standing && *standing != PlacesOnDisk::Standing::holds) throw protectedTrashError();
    refuseMounts(item, FileOperation::trash);
    // It can't be moved into itself.
    if (standing)
        throw withSentence(fileManagerError(FileOperation::trash, item.text(), EINVAL), "The trash itself is in it.");
    const bool isFolder = S_ISDIR(status.st_mode);
    if (isFolder) {
        int error = 0;
        const FileDescriptor folder = openFolderOnSameMount(item.folder.get(), item.name, 0, error);
        if (!folder.isOpen() && error == EXDEV) throw mountedItemError(item, FileOperation::trash);
    }
    if (cancellation.isCancelled()) throw failure(item, ECANCELED);

    const std::string place = placeOf(item);
    status = expectedStatus(item, asExpected(status));
    const auto answer = moveToTrashByFoundation(place, isFolder);
    if (!answer) throw failure(item, ENOTSUP);
    if (answer->error) throw trashError(*answer->error, item.text());
    if (!answer->place) return std::nullopt;
    compareInTrash(item, status, *answer->place);
    return URL::fromPath(*answer->place, isFolder);
}

}  // namespace KestrelCore
