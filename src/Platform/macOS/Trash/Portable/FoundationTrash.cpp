#include "Platform/macOS/Trash/Portable/FoundationTrash.hpp"

#include "Platform/POSIX/Removal/ItemLocation.hpp"
#include "Platform/POSIX/Removal/SureRename.hpp"
#include "Platform/POSIX/Removal/TrashStanding.hpp"
#include "Platform/POSIX/StatusIdentity.hpp"
#include "Platform/POSIX/Walk/FolderOnMount.hpp"

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

/// The folder of the item, by the way that does not depend on links.
std::string folderOf(const ItemLocation& item) {
    const std::string otherwise = item.path.substr(0, item.path.size() - item.name.size() - 1);
    return pathOfDescriptor(item.folder.get(), otherwise.empty() ? "/" : otherwise);
}

/// Whether that path still leads to the folder of the item.
bool leadsToFolder(const std::string& path, const ItemLocation& item) {
    const FileDescriptor folder = openFolderToPass(AT_FDCWD, path);
    struct stat status {};
    return folder.isOpen() && ::fstat(folder.get(), &status) == 0 && identityOf(status) == item.ancestors.back();
}

struct stat expectedStatus(const ItemLocation& item, const std::optional<ExpectedItem>& expected) {
    const auto status = statusIn(item.folder.get(), item.name);
    if (!status) throw fileManagerError(FileOperation::trash, item.text(), errno);
    if (!matches(*status, expected)) throw changedItemError();
    return *status;
}

/// Throws when what came from the folder at `origin` to `place` is another item than `status` tells, and puts that
/// back, unless somebody exchanged a folder on the way: then it came from who knows where, and Finder can tell. A trash
/// that this process may not look into tells nothing against it.
void compareInTrash(const ItemLocation& item, const struct stat& status, const std::string& origin,
                    const std::string& place) {
    const std::size_t slash = place.rfind('/');
    if (slash == std::string::npos || slash + 1 == place.size()) return;
    const std::string name = place.substr(slash + 1);
    const FileDescriptor folder = openFolderToPass(AT_FDCWD, slash == 0 ? "/" : place.substr(0, slash));
    if (!folder.isOpen()) return;
    const auto found = statusIn(folder.get(), name);
    if (!found || asExpected(*found) == asExpected(status)) return;
    if (!leadsToFolder(origin, item) ||
        renameSurely(folder.get(), name, item.folder.get(), item.name, asExpected(*found)) != 0)
        throw withSentence(changedItemError(), "What took its place is in the trash.");
    throw changedItemError();
}

}  // namespace

std::optional<URL> moveToTrashThroughFoundation(const URL& url, const std::optional<ExpectedItem>& expected,
                                                const FoundationMove& move, const CancellationToken& cancellation) {
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

    const std::string origin = folderOf(item);
    status = expectedStatus(item, asExpected(status));
    const auto answer = move((origin == "/" ? "" : origin) + "/" + item.name, isFolder);
    if (!answer) throw failure(item, ENOTSUP);
    if (answer->error) throw trashError(*answer->error, item.text());
    if (!answer->place) return std::nullopt;
    compareInTrash(item, status, origin, *answer->place);
    return URL::fromPath(*answer->place, isFolder);
}

}  // namespace KestrelCore
