#include "Platform/Linux/Trash/Trash.hpp"

#include "Base/Random.hpp"
#include "Platform/Linux/Removal/FolderSurvey.hpp"
#include "Platform/Linux/Removal/ItemLocation.hpp"
#include "Platform/Linux/Removal/TrashStanding.hpp"
#include "Platform/Linux/Trash/TrashFolder.hpp"
#include "Platform/Linux/Trash/TrashInfo.hpp"
#include "Platform/Linux/Walk/FolderDescent.hpp"
#include "Platform/Linux/Walk/FolderListing.hpp"
#include "Platform/TrashAccess.hpp"

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <unistd.h>

// An info file reserves a name, then the item is renamed into `files/` under that name, then it is looked at there: an
// item that was exchanged meanwhile goes back. Whatever fails, the info file is taken away again. A crash in between
// leaves an info file without an item, which every tool ignores.

// A trash, and what happens in it when "old photos" comes:
//
//     info/old photos.trashinfo     1. made anew and synced: whoever makes it first has the name "old photos"
//     files/old photos              2. the item, by one rename that replaces nothing, and looked at once more
//     directorysizes                3. for a folder, its size: a cache for whoever shows the trash
//
// A name that is taken gets a number: "old photos 2" and so on, and after a hundred something random, so that a trash
// full of equal names does not make every further one slower.

namespace KestrelCore {

namespace {

constexpr int mostNumberedNames = 100;

std::tm localTime() {
    const std::time_t now = std::time(nullptr);
    std::tm result{};
    ::localtime_r(&now, &result);
    return result;
}

std::string distinction(int attempt) {
    if (attempt == 1) return "";
    if (attempt <= mostNumberedNames) return " " + std::to_string(attempt);
    std::uint64_t random = 0;
    fillRandom(&random, sizeof random);
    return " " + std::to_string(random);
}

PlatformError failure(int errorNumber, const ItemLocation& item) {
    return itemError(FileOperation::trash, item, errorNumber);
}

/// Moves the item into this trash. Gives its new name, or nothing when the file system is another one after all.
std::optional<std::string> moveItem(const TrashFolder& trash, const ItemLocation& item, const ExpectedItem& expected) {
    const std::string info = trashInfoText(trash.infoPath(item.path), localTime());
    std::size_t longest = longestTrashName;
    for (int attempt = 1;; ++attempt) {
        const std::string name = trashName(item.name, distinction(attempt), longest);
        int error = trash.writeInfo(name, info);
        if (error == EEXIST) continue;
        // Some file systems take shorter names only.
        if (error == ENAMETOOLONG && longest > 64) {
            longest /= 2;
            continue;
        }
        if (error != 0) throw failure(error, item);

        error = renameWithoutReplacing(item.folder.get(), item.name, trash.files.get(), name);
        if (error != 0) {
            trash.removeInfo(name);
            if (error == EEXIST) continue;  // an item that nobody knows about has that name
            if (error == EXDEV) return std::nullopt;
            throw failure(error, item);
        }
        const auto status = statusIn(trash.files.get(), name);
        if (status && matches(*status, expected)) return name;
        const int back = renameWithoutReplacing(trash.files.get(), name, item.folder.get(), item.name);
        if (back != 0)  // its info file stays: it can be restored from the trash
            throw withSentence(changedItemError(), "What took its place is in the trash.");
        trash.removeInfo(name);
        throw changedItemError();
    }
}

PlatformError foreignFolderError(const ItemLocation& item, const std::string& relativePath) {
    const std::string path = relativePath.empty() ? item.path : item.path + "/" + relativePath;
    return withSentence(
        fileManagerError(FileOperation::trash, item.text(), EACCES),
        Text::concatenating({"“", path, "” belongs to another user and could not be emptied from the trash."}));
}

/// What the folder holds; throws when that is a mount, or another user's content that could never be emptied from the
/// trash.
FolderSurvey surveyOf(const ItemLocation& item, uid_t owner) {
    int error = 0;
    FileDescriptor folder = openFolderOnSameMount(item.folder.get(), item.name, 0, error);
    if (!folder.isOpen()) {
        if (error == EXDEV) throw mountedItemError(item, FileOperation::trash);
        if (error == EACCES && owner != ::geteuid()) throw foreignFolderError(item, "");
        return {};  // it may not be listed until its owner changes that; moving it needs no more
    }
    FolderSurvey survey = surveyFolder(std::move(folder));
    if (survey.mountPoint) throw mountedItemError(item, FileOperation::trash);
    if (survey.foreignFolder) throw foreignFolderError(item, *survey.foreignFolder);
    return survey;
}

}  // namespace

std::optional<URL> moveToTrash(const URL& url, const std::optional<ExpectedItem>& expected) {
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
    const FolderSurvey survey = isFolder ? surveyOf(item, status->st_uid) : FolderSurvey{};

    constexpr auto creation = TrashFolder::Creation::ifMissing;
    int reason = 0;
    int error = 0;
    const auto moveInto = [&](const std::optional<TrashFolder>& trash) -> std::optional<URL> {
        if (!trash) {
            // No room and a read-only volume are worth telling; that there is no usable folder is not.
            if (error == ENOSPC || error == EDQUOT || error == EROFS) reason = error;
            return std::nullopt;
        }
        const auto name = moveItem(*trash, item, asExpected(*status));
        if (!name) return std::nullopt;
        if (isFolder) trash->noteSize(*name, survey.allocatedBytes);
        return URL::fromPath(trash->path + "/files/" + *name, isFolder);
    };
    if (const auto place = moveInto(TrashFolder::openHome(creation, item.ancestors.back().device, error))) return place;
    if (const auto place = moveInto(TrashFolder::openShared(item.volume.get(), item.volumePath, creation, error)))
        return place;
    if (const auto place = moveInto(TrashFolder::openOwn(item.volume.get(), item.volumePath, creation, error)))
        return place;
    if (reason != 0) throw failure(reason, item);
    throw noTrashError(item.text(), Path::lastComponent(Text{item.volumePath}));
}

// MARK: the way back

namespace {

struct TrashedItem {
    TrashFolder trash;
    std::string name;  ///< in `files`
};

/// The trash folder and the name that a path in a trash of this user consists of; nothing for any other path.
std::optional<TrashedItem> trashedItem(const URL& url) {
    const std::string path = url.path().string();
    constexpr auto creation = TrashFolder::Creation::never;
    int error = 0;
    const std::string homeFiles = homeTrashPath() + "/files/";
    if (path.starts_with(homeFiles) && path.find('/', homeFiles.size()) == std::string::npos) {
        auto trash = TrashFolder::openHome(creation, std::nullopt, error);
        if (trash) return TrashedItem{std::move(*trash), path.substr(homeFiles.size())};
    }
    const ItemLocation item = locateItem(url, FileOperation::createDirectory);
    for (auto* open : {&TrashFolder::openShared, &TrashFolder::openOwn}) {
        auto trash = (*open)(item.volume.get(), item.volumePath, creation, error);
        if (trash && path == trash->path + "/files/" + item.name) return TrashedItem{std::move(*trash), item.name};
    }
    return std::nullopt;
}

PlatformError notRestorable(const Text& sentence) {
    return {PlatformError::Domain::fileManager, PlatformError::fileWriteUnknown, sentence};
}

}  // namespace

void restoreFromTrash(const URL& trashed, const URL& destination, const ExpectedItem& expected) {
    const auto source = trashedItem(trashed);
    if (!source) throw notRestorable("The item is not in a trash of this user.");
    const auto status = statusIn(source->trash.files.get(), source->name);
    if (!status) throw notRestorable("The item is no longer in the trash.");
    if (!matches(*status, expected)) throw notRestorable("The item in the trash is not the one that was put there.");
    const ItemLocation target = locateItem(destination, FileOperation::createDirectory);
    const auto info = source->trash.readInfo(source->name);
    const auto recorded = info ? pathOfTrashInfo(*info) : std::nullopt;
    if (recorded != source->trash.infoPath(target.path))
        throw notRestorable("The trash does not say that the item comes from there.");

    const int error = renameWithoutReplacing(source->trash.files.get(), source->name, target.folder.get(), target.name);
    if (error != 0) throw fileManagerError(FileOperation::createDirectory, target.text(), error);
    const auto restored = statusIn(target.folder.get(), target.name);
    if (!restored || !matches(*restored, expected)) {
        (void)renameWithoutReplacing(target.folder.get(), target.name, source->trash.files.get(), source->name);
        throw notRestorable("The item in the trash is not the one that was put there.");
    }
    source->trash.removeInfo(source->name);
    if (S_ISDIR(restored->st_mode)) source->trash.noteSize(source->name, std::nullopt);
}

bool isInTrash(const URL& trashed, const ExpectedItem& expected) {
    try {
        const auto source = trashedItem(trashed);
        const auto status = source ? statusIn(source->trash.files.get(), source->name) : std::nullopt;
        return status && matches(*status, expected);
    } catch (const PlatformError&) {
        return false;
    }
}

std::optional<URL> findInTrash(const URL& original, const ExpectedItem& expected) try {
    const ItemLocation item = locateItem(original, FileOperation::trash);
    constexpr auto creation = TrashFolder::Creation::never;
    int error = 0;
    std::optional<TrashFolder> candidates[]{
        TrashFolder::openHome(creation, std::nullopt, error),
        TrashFolder::openShared(item.volume.get(), item.volumePath, creation, error),
        TrashFolder::openOwn(item.volume.get(), item.volumePath, creation, error)};
    for (const std::optional<TrashFolder>& trash : candidates) {
        FolderListing listing;
        while (trash && listing.readPiece(trash->files.get())) {
            while (const ListedEntry* entry = listing.next()) {
                const std::string name{entry->name};
                const auto status = statusIn(trash->files.get(), name);
                if (status && matches(*status, expected)) return URL::fromPath(trash->path + "/files/" + name);
            }
        }
    }
    return std::nullopt;
} catch (const PlatformError&) {
    return std::nullopt;
}

}  // namespace KestrelCore
