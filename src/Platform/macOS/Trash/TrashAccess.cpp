#include "Platform/TrashAccess.hpp"

#include "Platform/POSIX/Removal/ItemLocation.hpp"
#include "Platform/POSIX/Removal/SureRename.hpp"
#include "Platform/POSIX/StatusIdentity.hpp"
#include "Platform/POSIX/Walk/DirectoryEntries.hpp"
#include "Platform/macOS/Trash/UserTrash.hpp"

#include <cerrno>
#include <string>
#include <utility>

// Whoever asks for an item to be put back has it from a receipt, which is a file that anyone of this user's programs
// may have written. What Finder noted about the item nobody else can read, so that the receipt alone tells where it
// was. It is believed as little as can be: the place must be one right in a trash of this user, what is there must be
// the item of the receipt, and nothing is replaced where it goes, nor any link followed on the way.

namespace KestrelCore {

namespace {

struct TrashedItem {
    UserTrash trash;
    std::string name;
};

/// The trash folder and the name that a path in a trash of this user consists of; nothing for any other path. Throws
/// `PlatformError` for one in a trash that can't be looked into.
std::optional<TrashedItem> trashedItem(const URL& url) {
    ItemLocation item = locateItem(url, FileOperation::read);
    std::vector<UnopenedTrash> unopened;
    for (UserTrash& trash : UserTrash::forItem(item, unopened)) {
        struct stat status {};
        if (::fstat(trash.folder.get(), &status) == 0 && identityOf(status) == item.ancestors.back())
            return TrashedItem{std::move(trash), std::move(item.name)};
    }
    for (const UnopenedTrash& trash : unopened) {
        if (item.path == trash.path + "/" + item.name)
            throw fileManagerError(FileOperation::list, Text{trash.path}, trash.errorNumber);
    }
    return std::nullopt;
}

PlatformError notRestorable(const Text& sentence) {
    return {PlatformError::Domain::fileManager, PlatformError::fileWriteUnknown, sentence};
}

/// Right after the item was moved to `target`: throws when it is another one, and puts that back.
void compareRestored(const TrashedItem& source, const ItemLocation& target, const ExpectedItem& expected) {
    // A look that fails says nothing against it, and one failure may be a passing one.
    auto restored = statusIn(target.folder.get(), target.name);
    if (!restored) restored = statusIn(target.folder.get(), target.name);
    if (!restored)
        throw withSentence(notRestorable("The item was put back, and can’t be looked at there."),
                           Text::concatenating({systemErrorText(errno).view(), "."}));
    if (matches(*restored, expected)) return;
    const auto refusal = notRestorable("The item in the trash is not the one that was put there.");
    if (renameSurely(target.folder.get(), target.name, source.trash.folder.get(), source.name, asExpected(*restored)) !=
        0)
        throw withSentence(refusal, Text::concatenating({"It is now at “", target.path, "”."}));
    throw refusal;
}

}  // namespace

std::optional<Text> restoreFromTrash(const URL& trashed, const URL& original, const ExpectedItem& expected,
                                     const std::optional<Text>& name) {
    const auto source = trashedItem(trashed);
    if (!source) throw notRestorable("The item is not in a trash of this user.");
    const auto status = statusIn(source->trash.folder.get(), source->name);
    if (!status) throw notRestorable("The item is no longer in the trash.");
    if (!matches(*status, expected)) throw notRestorable("The item in the trash is not the one that was put there.");
    ItemLocation target = locateItem(original, FileOperation::createDirectory);
    if (name) {
        target.path.replace(target.path.size() - target.name.size(), target.name.size(), name->view());
        target.name = name->string();
    }
    const int error =
        renameSurely(source->trash.folder.get(), source->name, target.folder.get(), target.name, asExpected(*status));
    if (error != 0) throw fileManagerError(FileOperation::createDirectory, target.text(), error);
    compareRestored(*source, target, expected);
    return std::nullopt;
}

bool isInTrash(const URL& trashed, const ExpectedItem& expected) {
    try {
        const auto source = trashedItem(trashed);
        const auto status = source ? statusIn(source->trash.folder.get(), source->name) : std::nullopt;
        return status && matches(*status, expected);
    } catch (const PlatformError&) {
        return false;
    }
}

std::optional<URL> findInTrash(const URL& original, const ExpectedItem& expected) try {
    const ItemLocation item = locateItem(original, FileOperation::trash);
    std::vector<UnopenedTrash> unopened;
    const std::vector<UserTrash> trashes = UserTrash::forItem(item, unopened);
    const auto placeIn = [&](const UserTrash& trash, const std::string& name) -> std::optional<URL> {
        const auto status = statusIn(trash.folder.get(), name);
        if (!status || !matches(*status, expected)) return std::nullopt;
        return URL::fromPath(trash.path + "/" + name, S_ISDIR(status->st_mode));
    };
    // Mostly it has the name that it had; else it may have any.
    for (const UserTrash& trash : trashes)
        if (auto place = placeIn(trash, item.name)) return place;
    for (const UserTrash& trash : trashes) {
        DirectoryEntries listing;
        while (listing.readPiece(trash.folder.get())) {
            while (const ListedEntry* entry = listing.next())
                if (auto place = placeIn(trash, std::string{entry->name})) return place;
        }
    }
    return std::nullopt;
} catch (const PlatformError&) {
    return std::nullopt;
}

}  // namespace KestrelCore
