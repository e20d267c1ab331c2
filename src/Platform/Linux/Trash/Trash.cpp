#include "Platform/Linux/Trash/Trash.hpp"

#include "Base/Random.hpp"
#include "Platform/Linux/Trash/TrashFolder.hpp"
#include "Platform/Linux/Trash/TrashInfo.hpp"
#include "Platform/POSIX/Removal/FolderSurvey.hpp"
#include "Platform/POSIX/Removal/ItemLocation.hpp"
#include "Platform/POSIX/Removal/SureRename.hpp"
#include "Platform/POSIX/Removal/TrashStanding.hpp"
#include "Platform/POSIX/Walk/FolderDescent.hpp"

#include <cerrno>
#include <ctime>
#include <unistd.h>

// An info file reserves a name, then the item is renamed into `files/` under that name, then it is looked at there: an
// item that was exchanged meanwhile goes back. Whatever fails, the info file is taken away again. A crash in between
// leaves an info file without an item, which every tool ignores.

namespace KestrelCore {

namespace {

constexpr int mostNumberedNames = 100;
/// A second one is needed once in 2^64 times already; a file system that always says that a name is taken lies.
constexpr int mostRandomNames = 8;

std::tm localTime() {
    const std::time_t now = std::time(nullptr);
    std::tm result{};
    ::localtime_r(&now, &result);
    return result;
}

PlatformError failure(int errorNumber, const ItemLocation& item) {
    return itemError(FileOperation::trash, item, errorNumber);
}

/// What tells this attempt's name from others. Throws when there are no random numbers.
std::string distinction(int attempt, const ItemLocation& item) {
    if (attempt == 1) return "";
    if (attempt <= mostNumberedNames) return " " + std::to_string(attempt);
    std::uint64_t random = 0;
    if (const int error = fillRandom(&random, sizeof random)) throw failure(error, item);
    return " " + std::to_string(random);
}

/// Takes an info file away that has no item; `error` says so in a further sentence when it stays.
PlatformError withoutInfo(const TrashFolder& trash, const std::string& name, const PlatformError& error) {
    const int left = trash.removeInfo(name);
    return left == 0 ? error : withSentence(error, staleInfoSentence(trash, name, left));
}

/// Takes the item out of the trash again, and its info file away. `error` says so in a further sentence, and the info
/// file stays, when that fails: it can be restored then.
PlatformError putBack(const TrashFolder& trash, const std::string& name, const ItemLocation& item,
                      const PlatformError& error, const char* otherwise) {
    const auto found = statusIn(trash.files.get(), name);
    if (!found || renameSurely(trash.files.get(), name, item.folder.get(), item.name, asExpected(*found)) != 0)
        return withSentence(error, otherwise);
    return withoutInfo(trash, name, error);
}

/// Moves the item into this trash. Gives its new name, or nothing when the file system is another one after all.
std::optional<std::string> moveItem(const TrashFolder& trash, const ItemLocation& item, const struct stat& status) {
    const HeldItem held{item, status};
    const std::string info = trashInfoText(trash.infoPath(item.path), localTime());
    std::size_t longest = longestTrashName;
    int error = EEXIST;
    for (int attempt = 1; attempt <= mostNumberedNames + mostRandomNames; ++attempt) {
        const std::string name = trashName(item.name, distinction(attempt, item), longest);
        error = trash.writeInfo(name, info);
        if (error == EEXIST) continue;
        // Some file systems take shorter names only.
        if (error == ENAMETOOLONG && longest > 64) {
            longest /= 2;
            continue;
        }
        if (error != 0) throw failure(error, item);

        // Looking through the item took its time, and a mount that was made meanwhile would travel along.
        if (const auto refusal = mountRefusal(item, item.path, FileOperation::trash))
            throw withoutInfo(trash, name, *refusal);
        error = renameSurely(item.folder.get(), item.name, trash.files.get(), name, asExpected(status));
        if (error != 0) {
            const PlatformError told = withoutInfo(trash, name, failure(error, item));
            if (error == EEXIST) continue;  // an item that nobody knows about has that name
            if (error == EXDEV) return std::nullopt;
            throw told;
        }
        if (!held.is(statusIn(trash.files.get(), name)))
            throw putBack(trash, name, item, changedItemError(), "What took its place is in the trash.");
        const std::string place = pathOfDescriptor(trash.files.get(), trash.path + "/files") + "/" + name;
        if (const auto refusal = mountRefusal(item, place, FileOperation::trash))
            throw putBack(trash, name, item, *refusal, "It is in the trash all the same.");
        return name;
    }
    throw failure(error, item);
}

PlatformError foreignFolderError(const ItemLocation& item, const std::string& relativePath) {
    const std::string path = relativePath.empty() ? item.path : item.path + "/" + relativePath;
    return withSentence(
        fileManagerError(FileOperation::trash, item.text(), EACCES),
        Text::concatenating({"“", path, "” belongs to another user and could not be emptied from the trash."}));
}

/// What the folder holds; throws when that is a mount, or another user's content that could never be emptied from the
/// trash. The whole tree is read for the sake of one rename, since nothing less tells these: whose content lies in it
/// at any depth, whether a subvolume begins in it, which no mount table shows, and how large it is, which the trash
/// notes.
FolderSurvey surveyOf(const ItemLocation& item, uid_t owner, const CancellationToken& cancellation) {
    int error = 0;
    FileDescriptor folder = openFolderOnSameMount(item.folder.get(), item.name, 0, error);
    if (!folder.isOpen()) {
        if (error == EXDEV) throw mountedItemError(item, FileOperation::trash);
        if (error == EACCES && owner != ::geteuid()) throw foreignFolderError(item, "");
        return {};  // it may not be listed until its owner changes that; moving it needs no more
    }
    FolderSurvey survey = surveyFolder(std::move(folder), cancellation);
    if (cancellation.isCancelled()) throw failure(ECANCELED, item);
    if (survey.mountPoint) throw mountedItemError(item, FileOperation::trash);
    if (survey.foreignFolder) throw foreignFolderError(item, *survey.foreignFolder);
    return survey;
}

}  // namespace

std::optional<URL> moveToTrash(const URL& url, const std::optional<ExpectedItem>& expected, TrashSizes& sizes,
                               const CancellationToken& cancellation) {
    const ItemLocation item = locateItem(url, FileOperation::trash);
    const auto status = statusIn(item.folder.get(), item.name);
    if (!status) throw fileManagerError(FileOperation::trash, item.text(), errno);
    if (!matches(*status, expected)) throw changedItemError();
    const auto standing = standingToTrash(item);
    if (standing && *standing != PlacesOnDisk::Standing::holds) throw protectedTrashError();
    refuseMounts(item, FileOperation::trash);
    const bool isFolder = S_ISDIR(status->st_mode);
    // It can't be moved into itself.
    if (standing)
        throw withSentence(fileManagerError(FileOperation::trash, item.text(), EINVAL), "The trash itself is in it.");
    const FolderSurvey survey = isFolder ? surveyOf(item, status->st_uid, cancellation) : FolderSurvey{};

    if (cancellation.isCancelled()) throw failure(ECANCELED, item);

    constexpr auto creation = TrashFolder::Creation::ifMissing;
    int reason = 0;
    int error = 0;
    const auto moveInto = [&](std::optional<TrashFolder> trash) -> std::optional<URL> {
        if (!trash) {
            // No room and a read-only volume are worth telling; that there is no usable folder is not.
            if (error == ENOSPC || error == EDQUOT || error == EROFS) reason = error;
            return std::nullopt;
        }
        const auto name = moveItem(*trash, item, *status);
        if (!name) return std::nullopt;
        URL place = URL::fromPath(trash->path + "/files/" + *name, isFolder);
        if (isFolder) sizes.note(std::move(*trash), {.name = *name, .bytes = survey.allocatedBytes});
        return place;
    };
    if (const auto place = moveInto(TrashFolder::openHome(creation, item.ancestors.back().device, error))) return place;
    if (const auto place = moveInto(TrashFolder::openShared(item.volume.get(), item.volumePath, creation, error)))
        return place;
    if (const auto place = moveInto(TrashFolder::openOwn(item.volume.get(), item.volumePath, creation, error)))
        return place;
    if (reason != 0) throw failure(reason, item);
    throw noTrashError(item.text(), Path::lastComponent(Text{item.volumePath}));
}

}  // namespace KestrelCore
