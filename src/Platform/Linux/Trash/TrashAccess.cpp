#include "Platform/TrashAccess.hpp"

#include "Platform/Linux/Trash/HomeTrash.hpp"
#include "Platform/Linux/Trash/TrashFolder.hpp"
#include "Platform/Linux/Trash/TrashInfo.hpp"
#include "Platform/POSIX/Removal/ItemLocation.hpp"
#include "Platform/POSIX/Removal/SureRename.hpp"
#include "Platform/POSIX/Walk/DirectoryEntries.hpp"

#include <cerrno>
#include <string>
#include <utility>

// Whoever asks for an item to be put back has it from a receipt, which is a file that anyone of this user's programs
// may have written. So nothing is believed: the place must be one in a trash that this process would use itself, what
// is there must be the item of the receipt, and the trash's own info file must name the same way back. Then a receipt
// can move nothing that the user did not throw away, and nowhere else than where it was.

namespace KestrelCore {

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

std::optional<Text> restoreFromTrash(const URL& trashed, const URL& original, const ExpectedItem& expected,
                                     const std::optional<Text>& name) {
    const auto source = trashedItem(trashed);
    if (!source) throw notRestorable("The item is not in a trash of this user.");
    const auto status = statusIn(source->trash.files.get(), source->name);
    if (!status) throw notRestorable("The item is no longer in the trash.");
    if (!matches(*status, expected)) throw notRestorable("The item in the trash is not the one that was put there.");
    ItemLocation target = locateItem(original, FileOperation::createDirectory);
    const auto info = source->trash.readInfo(source->name);
    const auto recorded = info ? pathOfTrashInfo(*info) : std::nullopt;
    if (recorded != source->trash.infoPath(target.path))
        throw notRestorable("The trash does not say that the item comes from there.");
    if (name) {
        target.path.replace(target.path.size() - target.name.size(), target.name.size(), name->view());
        target.name = name->string();
    }

    const int error =
        renameSurely(source->trash.files.get(), source->name, target.folder.get(), target.name, asExpected(*status));
    if (error != 0) throw fileManagerError(FileOperation::createDirectory, target.text(), error);
    // It is at its place now. A look that fails says nothing against it, and one failure may be a passing one.
    auto restored = statusIn(target.folder.get(), target.name);
    if (!restored) restored = statusIn(target.folder.get(), target.name);
    if (!restored)
        throw withSentence(notRestorable("The item was put back, and can’t be looked at there."),
                           Text::concatenating({systemErrorText(errno).view(), "."}));
    if (!matches(*restored, expected)) {
        const auto refusal = notRestorable("The item in the trash is not the one that was put there.");
        if (renameSurely(target.folder.get(), target.name, source->trash.files.get(), source->name,
                         asExpected(*restored)) != 0)
            throw withSentence(refusal, Text::concatenating({"It is now at “", target.path, "”."}));
        throw refusal;
    }
    const int left = source->trash.removeInfo(source->name);
    if (S_ISDIR(restored->st_mode)) source->trash.forgetSize(source->name);
    if (left == 0) return std::nullopt;
    return staleInfoSentence(source->trash, source->name, left);
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
    // As long as it is where it was, no trash need be searched: of a request that was interrupted most items are.
    const auto there = statusIn(item.folder.get(), item.name);
    if (there && matches(*there, expected) && (S_ISDIR(there->st_mode) || there->st_nlink == 1)) return std::nullopt;
    const auto isIt = [&expected](const TrashFolder& trash, const std::string& name) {
        const auto status = statusIn(trash.files.get(), name);
        return status && matches(*status, expected);
    };
    const auto place = [](const TrashFolder& trash, const std::string& name) {
        return URL::fromPath(trash.path + "/files/" + name);
    };
    // Mostly it has its own name there.
    for (const std::optional<TrashFolder>& trash : candidates)
        if (trash && isIt(*trash, item.name)) return place(*trash, item.name);
    for (const std::optional<TrashFolder>& trash : candidates) {
        DirectoryEntries listing;
        while (trash && listing.readPiece(trash->files.get())) {
            while (const ListedEntry* entry = listing.next()) {
                const std::string name{entry->name};
                if (isIt(*trash, name)) return place(*trash, name);
            }
        }
    }
    return std::nullopt;
} catch (const PlatformError&) {
    return std::nullopt;
}

}  // namespace KestrelCore
