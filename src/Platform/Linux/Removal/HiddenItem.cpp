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

/// Puts a name that nobody else can know into `name`. 0, or the errno value.
int drawName(std::string& name) {
    std::array<unsigned char, removalDigits / 2> bytes{};
    if (const int error = fillRandom(bytes.data(), bytes.size())) return error;
    name = removalPrefix;
    for (const unsigned char byte : bytes) {
        name += "0123456789abcdef"[byte >> 4];
        name += "0123456789abcdef"[byte & 15];
    }
    return 0;
}

}  // namespace

bool isRemovalName(std::string_view name) {
    return name.size() == removalPrefix.size() + removalDigits && name.starts_with(removalPrefix) &&
           name.find_first_not_of("0123456789abcdef", removalPrefix.size()) == std::string_view::npos;
}

/// Makes the folder `folderName_`; false when it is not to be had or would not be this user's alone.
bool HiddenItem::makePrivateFolder() {
    const int parent = item_.folder.get();
    if (::mkdirat(parent, folderName_.c_str(), 0700) != 0) {
        // It may have been made all the same, even where it "exists already": a network file system sends a request
        // again when the answer was lost. What goes here is empty, and has a name that nobody else could know.
        hasPrivateFolder_ = ::unlinkat(parent, folderName_.c_str(), AT_REMOVEDIR) != 0 && isThere(parent, folderName_);
        return false;
    }
    hasPrivateFolder_ = true;
    int error = 0;
    privateFolder_ = openFolderOnSameMount(parent, folderName_, 0, error);
    struct stat status {};
    return privateFolder_.isOpen() && ::fstat(privateFolder_.get(), &status) == 0 && status.st_uid == ::geteuid() &&
           (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

std::optional<Text> HiddenItem::removeFolder() {
    if (!hasPrivateFolder_) return std::nullopt;
    const int parent = item_.folder.get();
    struct stat own {};
    const auto found = statusIn(parent, folderName_);
    const bool isAnothers = found && privateFolder_.isOpen() && ::fstat(privateFolder_.get(), &own) == 0 &&
                            asExpected(own) != asExpected(*found);
    hasPrivateFolder_ = false;
    if (isAnothers) return std::nullopt;  // what somebody put in its place is his
    // Only an empty folder can go that way, so that a look which failed is no reason against it; an item that could not
    // be put back keeps it. A first failure may be a passing one, or none: then the folder is gone.
    int error = 0;
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (::unlinkat(parent, folderName_.c_str(), AT_REMOVEDIR) == 0) return std::nullopt;
        error = errno;
        if (isGone(parent, folderName_)) return std::nullopt;
    }
    hasPrivateFolder_ = true;
    return Text::concatenating({"The hidden folder “", folderName_,
                                "”, made for the removal, is still in the same folder: ", systemErrorText(error).view(),
                                "."});
}

int HiddenItem::hide() {
    // A name is drawn before anything is touched.
    if (const int error = drawName(folderName_)) return error;
    if (makePrivateFolder()) {
        const int error = renameWithoutReplacing(item_.folder.get(), item_.name, privateFolder_.get(), item_.name);
        // What is in there can be nothing but what was just moved, whatever the file system reports.
        isInPrivateFolder_ = error == 0 || isThere(privateFolder_.get(), item_.name);
        if (isInPrivateFolder_) return 0;
    }
    (void)removeFolder();
    // A full volume takes no folder, and one that its user can't write to does not go into another one.
    int error = EEXIST;
    for (int i = 0; i < mostNames && error == EEXIST; ++i) {
        if (const int failed = drawName(hiddenName_)) return failed;
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
        if (!found || renameSurely(folder(), name(), item_.folder.get(), item_.name, asExpected(*found)) != 0)
            return withSentence(error,
                                Text::concatenating({isRenamed_ ? "It is now named “" : "It is now in the folder “",
                                                     isRenamed_ ? hiddenName_ : folderName_, "” in the same folder."}));
        isInPrivateFolder_ = isRenamed_ = false;
    }
    const auto left = removeFolder();
    return left ? withSentence(error, *left) : error;
}

}  // namespace KestrelCore
