#include "Platform/Linux/Removal/HiddenItem.hpp"

#include "Base/Random.hpp"
#include "Platform/Linux/Removal/SureRename.hpp"
#include "Platform/Linux/Walk/FolderDescent.hpp"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace KestrelCore {

namespace {

constexpr std::string_view removalPrefix = ".kestrel-removing-";
constexpr std::size_t removalDigits = 16;
/// A second try is one in 2^64 already; a file system that always says that a name is taken lies.
constexpr int mostNames = 8;

}  // namespace

bool isRemovalName(std::string_view name) {
    return name.size() == removalPrefix.size() + removalDigits && name.starts_with(removalPrefix) &&
           name.find_first_not_of("0123456789abcdef", removalPrefix.size()) == std::string_view::npos;
}

int HiddenItem::drawName() {
    std::array<unsigned char, removalDigits / 2> bytes{};
    if (const int error = fillRandom(bytes.data(), bytes.size())) return error;
    hiddenName_ = removalPrefix;
    for (const unsigned char byte : bytes) {
        hiddenName_ += "0123456789abcdef"[byte >> 4];
        hiddenName_ += "0123456789abcdef"[byte & 15];
    }
    return 0;
}

/// Makes the folder `hiddenName_`; false when it is not to be had or would not be this user's alone.
bool HiddenItem::makePrivateFolder() {
    const int parent = item_.folder.get();
    if (::mkdirat(parent, hiddenName_.c_str(), 0700) != 0) {
        // It may have been made all the same. What goes is empty, and has a name that nobody else could know.
        if (errno != EEXIST) ::unlinkat(parent, hiddenName_.c_str(), AT_REMOVEDIR);
        return false;
    }
    hasPrivateFolder_ = true;
    int error = 0;
    privateFolder_ = openFolderOnSameMount(parent, hiddenName_, 0, error);
    struct stat status {};
    if (privateFolder_.isOpen() && ::fstat(privateFolder_.get(), &status) == 0 && status.st_uid == ::geteuid() &&
        (status.st_mode & (S_IRWXG | S_IRWXO)) == 0)
        return true;
    removePrivateFolder();
    return false;
}

void HiddenItem::removePrivateFolder() {
    if (!hasPrivateFolder_) return;
    // Only if it is empty: an item that could not be put back stays in it. And not what somebody put in its place.
    struct stat own {};
    const auto found = statusIn(item_.folder.get(), hiddenName_);
    if (found && (!privateFolder_.isOpen() ||
                  (::fstat(privateFolder_.get(), &own) == 0 && asExpected(own) == asExpected(*found))))
        ::unlinkat(item_.folder.get(), hiddenName_.c_str(), AT_REMOVEDIR);
    privateFolder_.close();
    hasPrivateFolder_ = false;
}

int HiddenItem::hide() {
    // The name is drawn before anything is touched.
    int error = drawName();
    if (error != 0) return error;
    if (makePrivateFolder()) {
        error = renameWithoutReplacing(item_.folder.get(), item_.name, privateFolder_.get(), item_.name);
        // What is in there can be nothing but what was just moved, whatever the file system reports.
        isInPrivateFolder_ = error == 0 || isThere(privateFolder_.get(), item_.name);
        if (isInPrivateFolder_) return 0;
        removePrivateFolder();
    }
    // A full volume takes no folder, and one that its user can't write to does not go into another one.
    error = EEXIST;
    for (int i = 0; i < mostNames && error == EEXIST; ++i) {
        if (const int failed = drawName()) return failed;
        error = renameWithoutReplacing(item_.folder.get(), item_.name, item_.folder.get(), hiddenName_);
        isRenamed_ = error == 0 || (isThere(item_.folder.get(), hiddenName_) &&
                                    (error != EEXIST || isGone(item_.folder.get(), item_.name)));
        if (isRenamed_) return 0;
    }
    return error;
}

PlatformError HiddenItem::giveBack(const PlatformError& error) {
    if (!isInPrivateFolder_ && !isRenamed_) return error;
    const auto found = statusIn(folder(), name());
    if (found && renameSurely(folder(), name(), item_.folder.get(), item_.name, asExpected(*found)) == 0) {
        isInPrivateFolder_ = isRenamed_ = false;
        return error;
    }
    return withSentence(error, Text::concatenating({isRenamed_ ? "It is now named “" : "It is now in the folder “",
                                                    hiddenName_, "” in the same folder."}));
}

}  // namespace KestrelCore
