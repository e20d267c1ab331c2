#include "Platform/POSIX/Removal/FolderEmptier.hpp"

#include "Platform/POSIX/Removal/SureRename.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <unistd.h>
#include <utility>

// A folder is listed in batches. What is no folder goes at once; folders of the batch are remembered by name and
// entered one after the other. Both go in the order of their inodes: neighbours share blocks of the disk's tables, and
// mostly lie side by side in memory too. A folder that is not empty when its turn to go comes was refilled meanwhile
// and is gone through again, three times in all.

namespace KestrelCore {

namespace {

constexpr std::size_t mostEntriesInBatch = 65'536;
/// A listing starts again after its folder was closed. Someone who refills it could keep that going for ever.
constexpr int mostRestarts = 1000;

bool isNotEmpty(int error) { return error == ENOTEMPTY || error == EEXIST; }

}  // namespace

bool FolderEmptier::run() {
    errorNumber_ = 0;
    stoppedAt_.clear();
    ::lseek(descent_.folder(), 0, SEEK_SET);
    states_.assign(1, State{});
    for (;;) {
        State& state = states_.back();
        bool goesOn = true;
        if (cancellation_.isCancelled()) {
            goesOn = stop(ECANCELED, "");
        } else if (!state.folders.empty()) {
            std::string next = std::move(state.folders.back());
            state.folders.pop_back();
            goesOn = enter(std::move(next));
        } else if (!state.isAtEnd) {
            goesOn = removeNextEntries();
        } else if (states_.size() == 1) {
            return true;
        } else {
            goesOn = leave();
        }
        if (!goesOn) return false;
    }
}

/// Records why and where the work stopped, and goes back to the top.
bool FolderEmptier::stop(int errorNumber, const std::string& entry) {
    errorNumber_ = errorNumber;
    stoppedAt_ = descent_.pathOf(entry);
    descent_.returnToTop();
    return false;
}

/// Removes one name of the lowest folder. What is gone already is no failure.
bool FolderEmptier::remove(const std::string& name, int flags) {
    if (::unlinkat(descent_.folder(), name.c_str(), flags) == 0) {
        hasRemovedAnything_ = true;
        return true;
    }
    return errno == ENOENT || isGoneAllTheSame(name);
}

/// After a removal that was reported as failed, as by a network file system that lost the answer. Keeps `errno`.
bool FolderEmptier::isGoneAllTheSame(const std::string& name) {
    const int error = errno;
    const bool isGoneNow = isGone(descent_.folder(), name);
    hasRemovedAnything_ = hasRemovedAnything_ || isGoneNow;
    errno = error;
    return isGoneNow;
}

/// Reads the next entries of the lowest folder into `entries_` and its `folders`.
bool FolderEmptier::readBatch() {
    State& state = states_.back();
    entries_.clear();
    folders_.clear();
    names_.clear();
    while (!state.isAtEnd && folders_.size() + entries_.size() < mostEntriesInBatch) {
        state.isAtEnd = !listing_.readPiece(descent_.folder());
        while (const ListedEntry* entry = listing_.next()) {
            (entry->isFolder ? folders_ : entries_).push_back({entry->inode, names_.size()});
            names_.append(entry->name).push_back('\0');
        }
    }
    if (listing_.errorNumber() != 0) return stop(listing_.errorNumber(), "");
    std::ranges::sort(entries_, std::less{}, &Entry::inode);
    std::ranges::sort(folders_, std::greater{}, &Entry::inode);  // they are taken from the end
    for (const Entry& folder : folders_) state.folders.emplace_back(names_.c_str() + folder.name);
    return true;
}

bool FolderEmptier::removeNextEntries() {
    State& state = states_.back();
    bool listsAnew = descent_.takeWasReopened();
    if (!listsAnew && std::exchange(state.wasListed, true) && mayListingsSkipBehindRemovals()) {
        ::lseek(descent_.folder(), 0, SEEK_SET);
        listsAnew = true;
    }
    if (listsAnew && ++state.restarts > mostRestarts) return stop(ENOTEMPTY, "");
    if (!readBatch()) return false;
    const int folder = descent_.folder();
    for (const Entry& entry : entries_) {
        const char* name = names_.c_str() + entry.name;
        if (cancellation_.isCancelled()) return stop(ECANCELED, name);
        if (::unlinkat(folder, name, 0) == 0) {
            hasRemovedAnything_ = true;
            continue;
        }
        const int error = errno;
        if (isFolderRefusal(error, folder, name)) {
            state.folders.emplace_back(name);  // listed without its type, or put there meanwhile
        } else if (error != ENOENT && !isGoneAllTheSame(name)) {
            return stop(error, name);
        }
    }
    return true;
}

bool FolderEmptier::enter(std::string name) {
    const int error = descent_.enter(name);
    switch (error) {
    case 0: states_.emplace_back(); return true;
    case ENOENT: return true;
    case ENOTDIR:
    case ELOOP:
        // Something else stands there by now; it goes as the entry that it is.
        return remove(name, 0) || stop(errno, name);
    case EXDEV: return stop(EBUSY, name);
    case EACCES:
        // It can't be listed; an empty one can be removed all the same.
        return remove(name, AT_REMOVEDIR) || stop(isNotEmpty(errno) ? EACCES : errno, name);
    default: return stop(error, name);
    }
}

/// The lowest folder is empty: goes up and removes it, or goes through it again when it was refilled.
bool FolderEmptier::leave() {
    std::string name = descent_.name();
    const int passes = states_.back().passes + 1;
    states_.pop_back();
    if (!descent_.leave()) return stop(ESTALE, name);
    if (remove(name, AT_REMOVEDIR)) return true;
    if (errno == ENOTDIR) return remove(name, 0) || stop(errno, name);  // exchanged for something else meanwhile
    if (!isNotEmpty(errno) || passes >= mostPasses) return stop(errno, name);

    // What stands under the name need not be the folder that was emptied: it is opened anew.
    const std::size_t level = states_.size();
    if (!enter(std::move(name))) return false;
    if (states_.size() > level) states_.back().passes = passes;
    return true;
}

}  // namespace KestrelCore
