#include "Platform/POSIX/Removal/HiddenItem.hpp"

#include "Platform/POSIX/Removal/SureRename.hpp"

#include <cerrno>

namespace KestrelCore {

namespace {

/// A second try is one in 2^64 already; a file system that always says that a name is taken lies.
constexpr int mostNames = 8;

}  // namespace

int HiddenItem::hide() {
    // A name is drawn before anything is touched.
    if (const int error = hiding_.drawName()) return error;
    if (hiding_.make()) {
        const int error = renameWithoutReplacing(item_.folder.get(), item_.name, hiding_.descriptor(), item_.name);
        // What is in there can be nothing but what was just moved, whatever the file system reports.
        isInPrivateFolder_ = error == 0 || isThere(hiding_.descriptor(), item_.name);
        if (isInPrivateFolder_) return 0;
    }
    (void)hiding_.remove();
    // A full volume takes no folder, and one that its user can't write to does not go into another one.
    int error = EEXIST;
    for (int i = 0; i < mostNames && error == EEXIST; ++i) {
        if (const int failed = drawRemovalName(hiddenName_)) return failed;
        error = renameWithoutReplacing(item_.folder.get(), item_.name, item_.folder.get(), hiddenName_);
        isRenamed_ = error == 0 || (isThere(item_.folder.get(), hiddenName_) &&
                                    (error != EEXIST || isGone(item_.folder.get(), item_.name)));
        if (isRenamed_) return 0;
    }
    return error;
}

PlatformError HiddenItem::giveBack(const PlatformError& error) {
    if (isInPrivateFolder_ || isRenamed_) {
        const auto found = statusIn(folder(), name());
        if (!found || renameSurely(folder(), name(), item_.folder.get(), item_.name, asExpected(*found)) != 0) {
            const Text where =
                Text::concatenating({isRenamed_ ? "It is now named “" : "It is now in the folder “",
                                     isRenamed_ ? hiddenName_ : hiding_.name(), "” in the same folder."});
            // No other item comes to it there.
            if (isInPrivateFolder_) hiding_.abandon();
            return withSentence(error, where);
        }
        isInPrivateFolder_ = isRenamed_ = false;
    }
    const auto left = removeFolder();
    return left ? withSentence(error, *left) : error;
}

}  // namespace KestrelCore
