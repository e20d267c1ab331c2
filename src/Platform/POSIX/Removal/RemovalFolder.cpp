#include "Platform/POSIX/Removal/RemovalFolder.hpp"

#include "Base/Random.hpp"
#include "KestrelCore/Base/PlatformError.hpp"
#include "Platform/POSIX/Removal/ItemLocation.hpp"
#include "Platform/POSIX/Removal/SureRename.hpp"
#include "Platform/POSIX/Walk/FolderDescent.hpp"

#include <array>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace KestrelCore {

namespace {

constexpr std::string_view removalPrefix = ".kestrel-removing-";
constexpr std::size_t removalDigits = 16;

}  // namespace

int drawRemovalName(std::string& name) {
    std::array<unsigned char, removalDigits / 2> bytes{};
    if (const int error = fillRandom(bytes.data(), bytes.size())) return error;
    name = removalPrefix;
    for (const unsigned char byte : bytes) {
        name += "0123456789abcdef"[byte >> 4];
        name += "0123456789abcdef"[byte & 15];
    }
    return 0;
}

bool isRemovalName(std::string_view name) {
    return name.size() == removalPrefix.size() + removalDigits && name.starts_with(removalPrefix) &&
           name.find_first_not_of("0123456789abcdef", removalPrefix.size()) == std::string_view::npos;
}

int RemovalFolder::drawName() { return name_.empty() ? drawRemovalName(name_) : 0; }

bool RemovalFolder::make() {
    if (isThere_) return isPrivate_;
    if (::mkdirat(parent_, name_.c_str(), 0700) != 0) {
        // It may have been made all the same, even where it "exists already": a network file system sends a request
        // again when the answer was lost. What goes here is empty, and has a name that nobody else could know.
        isThere_ = ::unlinkat(parent_, name_.c_str(), AT_REMOVEDIR) != 0 && KestrelCore::isThere(parent_, name_);
        return false;
    }
    isThere_ = true;
    int error = 0;
    folder_ = openFolderOnSameMount(parent_, name_, 0, error);
    struct stat status {};
    isPrivate_ = folder_.isOpen() && ::fstat(folder_.get(), &status) == 0 && status.st_uid == ::geteuid() &&
                 (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
    return isPrivate_;
}

std::optional<Text> RemovalFolder::remove() {
    if (!isThere_) return std::nullopt;
    struct stat own {};
    const auto found = statusIn(parent_, name_);
    const bool isAnothers =
        found && folder_.isOpen() && ::fstat(folder_.get(), &own) == 0 && asExpected(own) != asExpected(*found);
    if (isAnothers) {  // what somebody put in its place is his
        abandon();
        return std::nullopt;
    }
    // Only an empty folder can go that way, so that a look which failed is no reason against it; an item that could not
    // be put back keeps it. A first failure may be a passing one, or none: then the folder is gone.
    int error = 0;
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (::unlinkat(parent_, name_.c_str(), AT_REMOVEDIR) != 0) {
            error = errno;
            if (!isGone(parent_, name_)) continue;
        }
        abandon();
        return std::nullopt;
    }
    return Text::concatenating({"The hidden folder “", name_, "”, made for the removal, is still in the same folder: ",
                                systemErrorText(error).view(), "."});
}

void RemovalFolder::abandon() {
    isThere_ = isPrivate_ = false;
    folder_ = FileDescriptor{};
    name_.clear();
}

}  // namespace KestrelCore
