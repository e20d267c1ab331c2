#include "Platform/Linux/Removal/SafeRemoval.hpp"

#include "Base/Random.hpp"
#include "Platform/Linux/MountTable.hpp"
#include "Platform/Linux/Removal/FolderEmptier.hpp"
#include "Platform/Linux/Removal/ItemLocation.hpp"
#include "Platform/Linux/Removal/TrashStanding.hpp"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

// Between a look at an item and its removal someone may put another item under its name; the system has no call that
// removes "this file if it still is that inode". So the item is first renamed, in its own folder, to a random name that
// nobody else knows, looked at again there, and only then removed, or given back its name when it is another one.
//
//     name ──rename──▶ .kestrel-removing-0123456789abcdef ──same item?──▶ unlink
//                                                          └─another───▶ rename back, refuse
//
// A folder is opened before, and emptied through that descriptor: what the path means by then plays no part. Where a
// file system can't rename a folder (lower layers of an overlay, no space for a name) the descriptor alone guards it.

namespace KestrelCore {

namespace {

constexpr std::string_view removalPrefix = ".kestrel-removing-";
constexpr std::size_t removalDigits = 16;

std::string randomRemovalName() {
    std::array<unsigned char, removalDigits / 2> bytes{};
    fillRandom(bytes.data(), bytes.size());
    std::string name{removalPrefix};
    for (const unsigned char byte : bytes) {
        name += "0123456789abcdef"[byte >> 4];
        name += "0123456789abcdef"[byte & 15];
    }
    return name;
}

/// The item to be removed while it stands under its random name. `giveBack` undoes that.
class HiddenItem {
public:
    explicit HiddenItem(const ItemLocation& item) : item_{item} {}

    /// 0, or the errno value; nothing has changed then.
    [[nodiscard]] int hide() {
        int error = EEXIST;
        while (error == EEXIST) {
            hiddenName_ = randomRemovalName();
            error = renameWithoutReplacing(item_.folder.get(), item_.name, item_.folder.get(), hiddenName_);
        }
        if (error != 0) hiddenName_.clear();
        return error;
    }

    [[nodiscard]] bool isHidden() const { return !hiddenName_.empty(); }
    [[nodiscard]] const std::string& name() const { return isHidden() ? hiddenName_ : item_.name; }

    /// Gives the item its name back; `error` says so in a further sentence when that name is taken by now.
    [[nodiscard]] PlatformError giveBack(const PlatformError& error) {
        if (!isHidden() || renameWithoutReplacing(item_.folder.get(), hiddenName_, item_.folder.get(), item_.name) == 0)
            return error;
        return withSentence(error, Text::concatenating({"It is now named “", hiddenName_, "” in the same folder."}));
    }

private:
    const ItemLocation& item_;
    std::string hiddenName_;
};

/// A rename that failed for one of these says nothing against removing a folder through its descriptor.
bool isRenameUnavailable(int error) {
    return error == EXDEV || error == ENOSPC || error == EDQUOT || error == EINVAL || error == ENOSYS;
}

void removeFile(const ItemLocation& item, const ExpectedItem& expected) {
    HiddenItem hidden{item};
    if (const int error = hidden.hide()) throw itemError(FileOperation::remove, item, error);
    const auto status = statusIn(item.folder.get(), hidden.name());
    if (!status || !matches(*status, expected)) throw hidden.giveBack(changedItemError());
    if (::unlinkat(item.folder.get(), hidden.name().c_str(), 0) != 0)
        throw hidden.giveBack(itemError(FileOperation::remove, item, errno));
}

/// A folder that may not be listed can go when it is empty.
void removeUnreadableFolder(const ItemLocation& item, const ExpectedItem& expected) {
    HiddenItem hidden{item};
    if (const int error = hidden.hide()) throw itemError(FileOperation::remove, item, error);
    const auto status = statusIn(item.folder.get(), hidden.name());
    if (!status || !matches(*status, expected)) throw hidden.giveBack(changedItemError());
    if (::unlinkat(item.folder.get(), hidden.name().c_str(), AT_REMOVEDIR) != 0) {
        const int error = errno == ENOTEMPTY || errno == EEXIST ? EACCES : errno;
        throw hidden.giveBack(itemError(FileOperation::remove, item, error));
    }
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

void removeFolder(const ItemLocation& item, const ExpectedItem& expected) {
    int error = 0;
    FileDescriptor folder = openFolderOnSameMount(item.folder.get(), item.name, 0, error);
    if (!folder.isOpen()) {
        if (error == EXDEV) throw mountedItemError(item, FileOperation::remove);
        if (error == ELOOP || error == ENOTDIR) throw changedItemError();
        if (error == EACCES) return removeUnreadableFolder(item, expected);
        throw itemError(FileOperation::remove, item, error);
    }
    struct stat status {};
    if (::fstat(folder.get(), &status) != 0) throw itemError(FileOperation::remove, item, errno);
    if (!matches(status, expected)) throw changedItemError();

    HiddenItem hidden{item};
    error = hidden.hide();
    if (error != 0 && !isRenameUnavailable(error)) throw itemError(FileOperation::remove, item, error);
    const auto isThatFolder = [&] {
        const auto found = statusIn(item.folder.get(), hidden.name());
        return found && matches(*found, asExpected(status));
    };
    if (!isThatFolder()) throw hidden.giveBack(changedItemError());

    FolderEmptier emptier{std::move(folder)};
    for (int pass = 0; pass < FolderEmptier::mostPasses; ++pass) {
        if (!emptier.run()) throw hidden.giveBack(stoppedError(item, emptier, emptier.errorNumber()));
        if (!isThatFolder()) throw hidden.giveBack(changedItemError());
        if (::unlinkat(item.folder.get(), hidden.name().c_str(), AT_REMOVEDIR) == 0) return;
        error = errno;
        if (error != ENOTEMPTY && error != EEXIST) break;
    }
    throw hidden.giveBack(stoppedError(item, emptier, error));
}

}  // namespace

bool isRemovalName(std::string_view name) {
    return name.size() == removalPrefix.size() + removalDigits && name.starts_with(removalPrefix) &&
           name.find_first_not_of("0123456789abcdef", removalPrefix.size()) == std::string_view::npos;
}

void removeSafely(const URL& url, const std::optional<ExpectedItem>& expected) {
    const ItemLocation item = locateItem(url, FileOperation::remove);
    const auto status = statusIn(item.folder.get(), item.name);
    if (!status) throw fileManagerError(FileOperation::remove, item.text(), errno);
    if (!matches(*status, expected)) throw changedItemError();
    if (standingToTrash(item)) throw protectedTrashError();
    refuseMounts(item, FileOperation::remove);

    if (S_ISDIR(status->st_mode)) {
        removeFolder(item, asExpected(*status));
    } else {
        removeFile(item, asExpected(*status));
    }
}

}  // namespace KestrelCore
