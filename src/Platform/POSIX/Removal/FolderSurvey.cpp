#include "Platform/POSIX/Removal/FolderSurvey.hpp"

#include "Platform/POSIX/Removal/ItemLocation.hpp"
#include "Platform/POSIX/Walk/DirectoryEntries.hpp"
#include "Platform/POSIX/Walk/FolderDescent.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_set>
#include <utility>
#include <vector>

// What goes to the Trash must be able to leave it: a folder that another user filled could be moved, which needs no
// right in it, and never be emptied. So everything in it is looked at before; its size is counted on the way.

namespace KestrelCore {

namespace {

class Surveyor {
public:
    Surveyor(FileDescriptor top, const CancellationToken& cancellation)
        : descent_{std::move(top)}, cancellation_{cancellation} {}

    FolderSurvey run() {
        list();
        while (!survey_.foreignFolder && !survey_.mountPoint && !pending_.empty() && !cancellation_.isCancelled()) {
            if (pending_.back().empty()) {
                pending_.pop_back();
                if (!pending_.empty() && !descent_.leave()) break;
                continue;
            }
            std::string name = std::move(pending_.back().back());
            pending_.back().pop_back();
            const int error = descent_.enter(name);
            if (error == 0) {
                list();
            } else if (error == EXDEV) {
                survey_.mountPoint = descent_.pathOf(name);
            } else if (isRefusal(error)) {
                judgeUnreadable(name);
            }
        }
        return std::move(survey_);
    }

private:
    /// Counts what is in the lowest folder and remembers its folders; leaves off after a cancellation, since one folder
    /// may hold millions.
    void list() {
        std::vector<std::string>& folders = pending_.emplace_back();
        bool isEmpty = true;
        bool holdsForeignEntries = false;
        struct stat own {};
        if (::fstat(descent_.folder(), &own) == 0) count(own);
        while (!cancellation_.isCancelled() && listing_.readPiece(descent_.folder())) {
            while (const ListedEntry* entry = listing_.next()) {
                if (cancellation_.isCancelled()) return;
                isEmpty = false;
                const auto status = statusIn(descent_.folder(), std::string{entry->name});
                if (!status) continue;
                holdsForeignEntries = holdsForeignEntries || isForeign(*status);
                if (S_ISDIR(status->st_mode)) {
                    folders.emplace_back(entry->name);
                } else {
                    count(*status);
                }
            }
        }
        if (isEmpty || !isForeign(own)) return;
        // In a sticky folder only the owner of an entry and that of the folder may remove it. And root; but root of a
        // user namespace is held by the modes of what belongs to users outside of it.
        const bool isKept = (own.st_mode & S_ISVTX) != 0 && holdsForeignEntries && ::geteuid() != 0;
        if (isKept || (::faccessat(descent_.folder(), ".", W_OK | X_OK, AT_EACCESS) != 0 && isRefusal(errno)))
            survey_.foreignFolder = descent_.pathOf("");
    }

    /// A folder that can't be listed can't be emptied either, unless its owner changes that.
    void judgeUnreadable(const std::string& name) {
        const auto status = statusIn(descent_.folder(), name);
        if (status && S_ISDIR(status->st_mode) && isForeign(*status)) survey_.foreignFolder = descent_.pathOf(name);
    }

    static bool isForeign(const struct stat& status) { return status.st_uid != ::geteuid(); }
    static bool isRefusal(int error) { return error == EACCES || error == EPERM; }

    void count(const struct stat& status) {
        if (!S_ISDIR(status.st_mode) && status.st_nlink > 1 && !counted_.insert(status.st_ino).second) return;
        // A hostile file system may claim anything; the sum is of no more use then.
        std::uint64_t sum = 0;
        if (!__builtin_add_overflow(survey_.allocatedBytes, static_cast<std::uint64_t>(status.st_blocks) * 512, &sum))
            survey_.allocatedBytes = sum;
    }

    FolderDescent descent_;
    const CancellationToken& cancellation_;
    std::vector<std::vector<std::string>> pending_;  ///< folders to enter, one list a level
    DirectoryEntries listing_;
    std::unordered_set<ino_t> counted_;
    FolderSurvey survey_;
};

}  // namespace

FolderSurvey surveyFolder(FileDescriptor folder, const CancellationToken& cancellation) {
    return Surveyor{std::move(folder), cancellation}.run();
}

}  // namespace KestrelCore
