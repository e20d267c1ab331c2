#include "Platform/POSIX/Walk/FolderDescent.hpp"

#include "Base/BoundedRetry.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <utility>

// A folder that is entered must be the one that was meant: neither a link that took its place nor something that is
// mounted there. That can be promised for one step only; so paths are never put together, and each level is opened by
// its name in the one above.
//
// Levels that were closed to save descriptors are found again as ".." of the level below. Somebody may have moved that
// one meanwhile, and ".." then leads elsewhere: so a level notes what it was, and goes on only as that.

namespace KestrelCore {

namespace {

constexpr std::size_t mostOpenLevels = 32;

}  // namespace

FolderDescent::FolderDescent(FileDescriptor top) {
    mount_ = mountIdentifier(top.get()).value_or(0);
    levels_.emplace_back().folder = std::move(top);
}

bool FolderDescent::takeWasReopened() { return std::exchange(levels_.back().wasReopened, false); }

int FolderDescent::enter(std::string name) {
    int error = 0;
    FileDescriptor folder = openFolderOnSameMount(this->folder(), name, mount_, error);
    // A process with few descriptors to spare gets along with fewer open levels.
    while (!folder.isOpen() && (error == EMFILE || error == ENFILE) && closeOldest())
        folder = openFolderOnSameMount(this->folder(), name, mount_, error);
    if (!folder.isOpen()) return error;
    Level& level = levels_.emplace_back();
    level.folder = std::move(folder);
    level.name = std::move(name);
    if (++openLevels_ > mostOpenLevels) closeOldest();
    return 0;
}

bool FolderDescent::leave() {
    const Level done = std::move(levels_.back());
    levels_.pop_back();
    --openLevels_;
    Level& level = levels_.back();
    if (level.folder.isOpen()) return true;

    FileDescriptor folder{repeatedWhenInterrupted(
        [&] { return ::openat(done.folder.get(), "..", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); })};
    struct stat status {};
    if (!folder.isOpen() || ::fstat(folder.get(), &status) != 0 || status.st_dev != level.device ||
        status.st_ino != level.inode) {
        returnToTop();
        return false;
    }
    level.folder = std::move(folder);
    level.wasReopened = true;
    ++openLevels_;
    return true;
}

void FolderDescent::returnToTop() {
    levels_.resize(1);
    openLevels_ = 1;
}

std::string FolderDescent::pathOf(const std::string& entry) const {
    std::string path;
    for (const Level& level : levels_)
        if (!level.name.empty()) path.append(level.name).append("/");
    path.append(entry);
    if (path.ends_with('/')) path.pop_back();
    return path;
}

/// Closes the uppermost open folder but the top and the lowest; false when there is none. The open ones are the top and
/// a run at the end, so it is found at once.
bool FolderDescent::closeOldest() {
    if (openLevels_ < 3) return false;
    Level& level = levels_[levels_.size() - (openLevels_ - 1)];
    struct stat status {};
    if (::fstat(level.folder.get(), &status) != 0) return false;
    level.device = status.st_dev;
    level.inode = status.st_ino;
    level.folder.close();
    --openLevels_;
    return true;
}

}  // namespace KestrelCore
