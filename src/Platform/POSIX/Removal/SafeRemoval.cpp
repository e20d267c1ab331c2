#include "Platform/POSIX/Removal/SafeRemoval.hpp"

#include "Platform/POSIX/Removal/FolderEmptier.hpp"
#include "Platform/POSIX/Removal/HiddenItem.hpp"
#include "Platform/POSIX/Removal/ItemLocation.hpp"
#include "Platform/POSIX/Removal/SureRename.hpp"
#include "Platform/POSIX/Removal/TrashStanding.hpp"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

// Between a look at an item and its removal someone may put another item under its name; the system has no call that
// removes "this file if it still is that inode". So the item is first moved into a new folder beside it that only this
// user may enter, looked at again there, and only then removed, or given its place back when it is another one.
//
//     name ──rename──▶ .kestrel-removing-0123456789abcdef/name ──same item?──▶ unlink
//                                                               └─another───▶ rename back, refuse
//
// Within that folder nobody but this user and root can exchange anything, so what was compared is what goes. Items that
// go one after the other from one folder, as from a trash, share it: at no time is more than one of them in it. Where
// no such folder can be made or moved into (a full volume; a folder that its user may not write to, which the system
// moves within its own folder only), the item gets such a name itself, in its own folder. The name is no secret there:
// who may write to that folder and watches it can still exchange the item between the comparison and the removal. He
// gains no right by that (what he puts there he could remove as well), and a folder is no prize: it was opened before,
// is emptied through that descriptor whatever its path means by then, and only an empty one goes by its name. Where a
// file system can't rename a folder at all (lower layers of an overlay, no space for a name) the same holds for its own
// name.

namespace KestrelCore {

namespace {

/// Removes the hidden item's name. 0, or the errno value; a failure that was none is none here either.
int unlinkHidden(const HiddenItem& hidden, int flags) {
    if (::unlinkat(hidden.folder(), hidden.name().c_str(), flags) == 0) return 0;
    const int error = errno;
    return isGone(hidden.folder(), hidden.name()) ? 0 : error;
}

PlatformError cancelledError(const ItemLocation& item) { return itemError(FileOperation::remove, item, ECANCELED); }

/// Why the hidden item must stay: it can't be looked at any more, or it is another one. Nothing when `isIt` knows it.
template <typename Recognition>
std::optional<PlatformError> objection(const ItemLocation& item, const HiddenItem& hidden, const Recognition& isIt) {
    const auto found = statusIn(hidden.folder(), hidden.name());
    if (!found && errno != ENOENT) return itemError(FileOperation::remove, item, errno);
    return found && isIt(*found) ? std::nullopt : std::optional{changedItemError()};
}

std::optional<Text> removeFile(const ItemLocation& item, const struct stat& status, RemovalBatch* batch,
                               const CancellationToken& cancellation) {
    const HeldItem held{item, status};
    HiddenItem hidden{item, batch};
    if (const int error = hidden.hide()) throw hidden.giveBack(itemError(FileOperation::remove, item, error));
    if (const auto refusal = objection(item, hidden, [&held](const auto& found) { return held.is(found); }))
        throw hidden.giveBack(*refusal);
    if (cancellation.isCancelled()) throw hidden.giveBack(cancelledError(item));
    if (const int error = unlinkHidden(hidden, 0)) throw hidden.giveBack(itemError(FileOperation::remove, item, error));
    return hidden.removeFolder();
}

/// A folder that may not be listed can go when it is empty.
std::optional<Text> removeUnreadableFolder(const ItemLocation& item, const struct stat& status, RemovalBatch* batch) {
    const HeldItem held{item, status};
    HiddenItem hidden{item, batch};
    if (const int error = hidden.hide()) throw hidden.giveBack(itemError(FileOperation::remove, item, error));
    if (const auto refusal = objection(item, hidden, [&held](const auto& found) { return held.is(found); }))
        throw hidden.giveBack(*refusal);
    if (const int error = unlinkHidden(hidden, AT_REMOVEDIR)) {
        const int reason = error == ENOTEMPTY || error == EEXIST ? EACCES : error;
        throw hidden.giveBack(itemError(FileOperation::remove, item, reason));
    }
    return hidden.removeFolder();
}

/// A path can be as long as the disk is large; a message shows its end.
std::string shortened(std::string path) {
    constexpr std::size_t longest = 2000;
    if (path.size() > longest) path = "…" + path.substr(path.size() - longest);
    return path;
}

PlatformError stoppedError(const ItemLocation& item, const FolderEmptier& emptier, int errorNumber) {
    const PlatformError error = fileManagerError(FileOperation::remove, item.text(), errorNumber);
    const std::string path = shortened(emptier.stoppedAt().empty() ? item.path : item.path + "/" + emptier.stoppedAt());
    return withSentence(
        error, Text::concatenating({emptier.hasRemovedAnything() ? "Some of its contents were removed; it stopped at “"
                                                                 : "It stopped at “",
                                    path, "”: ", systemErrorText(errorNumber).view(), "."}));
}

/// The same for a refusal of the emptied folder itself: the refusal alone would hide that its contents are gone.
PlatformError emptiedError(const ItemLocation& item, const FolderEmptier& emptier, const PlatformError& refusal) {
    if (refusal.underlying() != nullptr) return stoppedError(item, emptier, refusal.underlying()->code());
    if (!emptier.hasRemovedAnything()) return refusal;
    return withSentence(refusal, Text::concatenating({"Some of its contents were removed; it stopped at “",
                                                      shortened(item.path), "”."}));
}

/// Whether the process can open what emptying a folder needs at once: found out before anything is touched, since a
/// removal that lacks one further down has to stop half-way.
int lackOfDescriptors(int folder) {
    std::array<FileDescriptor, 3> probes;  // the private folder, and two levels below the top
    for (FileDescriptor& probe : probes) {
        probe = FileDescriptor{::fcntl(folder, F_DUPFD_CLOEXEC, 0)};
        if (!probe.isOpen()) return errno;
    }
    return 0;
}

std::optional<Text> removeFolder(const ItemLocation& item, const struct stat& status, RemovalBatch* batch,
                                 const CancellationToken& cancellation) {
    int error = 0;
    FileDescriptor folder = openFolderOnSameMount(item.folder.get(), item.name, 0, error);
    if (!folder.isOpen()) {
        if (error == EXDEV) throw mountedItemError(item, FileOperation::remove);
        if (error == ELOOP || error == ENOTDIR) throw changedItemError();
        if (error == EACCES) return removeUnreadableFolder(item, status, batch);
        throw itemError(FileOperation::remove, item, error);
    }
    const ExpectedItem expected = asExpected(status);
    struct stat opened {};
    if (::fstat(folder.get(), &opened) != 0) throw itemError(FileOperation::remove, item, errno);
    if (!matches(opened, expected)) throw changedItemError();
    if (const int lack = lackOfDescriptors(folder.get())) throw itemError(FileOperation::remove, item, lack);

    HiddenItem hidden{item, batch};
    error = hidden.hide();
    if (error != 0 && !isRenameUnavailable(error)) throw hidden.giveBack(itemError(FileOperation::remove, item, error));
    const auto isThatFolder = [&expected](const auto& found) { return matches(found, expected); };
    if (const auto refusal = objection(item, hidden, isThatFolder)) throw hidden.giveBack(*refusal);

    FolderEmptier emptier{std::move(folder), cancellation};
    for (int pass = 0; pass < FolderEmptier::mostPasses; ++pass) {
        if (!emptier.run()) throw hidden.giveBack(stoppedError(item, emptier, emptier.errorNumber()));
        if (const auto refusal = objection(item, hidden, isThatFolder))
            throw hidden.giveBack(emptiedError(item, emptier, *refusal));
        error = unlinkHidden(hidden, AT_REMOVEDIR);
        if (error == 0) return hidden.removeFolder();
        if (error != ENOTEMPTY && error != EEXIST) break;
    }
    throw hidden.giveBack(stoppedError(item, emptier, error));
}

struct stat expectedStatus(const ItemLocation& item, const std::optional<ExpectedItem>& expected) {
    const auto status = statusIn(item.folder.get(), item.name);
    if (!status) throw fileManagerError(FileOperation::remove, item.text(), errno);
    if (!matches(*status, expected)) throw changedItemError();
    return *status;
}

/// `batch` may be null.
std::optional<Text> removeItem(const ItemLocation& item, const struct stat& status, RemovalBatch* batch,
                               const CancellationToken& cancellation) {
    if (batch == nullptr) {
        refuseMounts(item, FileOperation::remove);
    } else {
        refuseMounts(item, FileOperation::remove, batch->mounts);
    }
    if (cancellation.isCancelled()) throw cancelledError(item);
    return S_ISDIR(status.st_mode) ? removeFolder(item, status, batch, cancellation)
                                   : removeFile(item, status, batch, cancellation);
}

}  // namespace

std::optional<Text> removeSafely(const URL& url, const std::optional<ExpectedItem>& expected,
                                 const CancellationToken& cancellation) {
    const ItemLocation item = locateItem(url, FileOperation::remove);
    const struct stat status = expectedStatus(item, expected);
    if (standingToTrash(item)) throw protectedTrashError();
    return removeItem(item, status, nullptr, cancellation);
}

std::optional<Text> removeAt(const ItemLocation& item, const ExpectedItem& expected, RemovalBatch& batch,
                             const CancellationToken& cancellation) {
    return removeItem(item, expectedStatus(item, expected), &batch, cancellation);
}

}  // namespace KestrelCore
