#include "Platform/macOS/Trash/UserTrash.hpp"

#include "Platform/HomeDirectory.hpp"
#include "Platform/POSIX/Removal/TrashStanding.hpp"
#include "Platform/macOS/Portable/ByteFields.hpp"
#include "Platform/macOS/Trash/Portable/TrashRules.hpp"

#include <array>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <sys/attr.h>
#include <sys/mount.h>
#include <sys/param.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

//     ~/.Trash/letter.txt                     what lay on the volume of the home directory
//     /Volumes/Stick/.Trashes/501/letter.txt  what lay on another one
//
// Nobody may list ".Trashes", so it is only passed through.

namespace KestrelCore {

namespace {

constexpr int readingFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

bool isOfThisUser(int folder) {
    struct stat status {};
    struct statfs volume {};
    if (::fstat(folder, &status) != 0 || ::fstatfs(folder, &volume) != 0) return false;
    return isTrashOf(::geteuid(), {.owner = status.st_uid,
                                   .mode = static_cast<std::uint32_t>(status.st_mode & 07777),
                                   .isWithoutOwners = (volume.f_flags & MNT_IGNORE_OWNERSHIP) != 0});
}

/// After a call that failed to open it.
void note(std::string path, std::vector<UnopenedTrash>& unopened) {
    const int error = errno;
    if (!isAbsenceOfTrash(error)) unopened.push_back({.path = std::move(path), .errorNumber = error});
}

std::optional<UserTrash> opened(int parent, const std::string& name, std::string path,
                                std::vector<UnopenedTrash>& unopened) {
    UserTrash trash{.path = std::move(path), .folder = FileDescriptor{::openat(parent, name.c_str(), readingFlags)}};
    if (!trash.folder.isOpen()) {
        note(std::move(trash.path), unopened);
        return std::nullopt;
    }
    if (!isOfThisUser(trash.folder.get())) return std::nullopt;
    return trash;
}

}  // namespace

std::vector<std::string> homeTrashPaths() { return trashFoldersOfHome(currentHomePath()); }

std::vector<UserTrash> UserTrash::ofHome(std::vector<UnopenedTrash>& unopened) {
    std::vector<UserTrash> trashes;
    for (const std::string& path : homeTrashPaths())
        if (auto trash = opened(AT_FDCWD, path, path, unopened)) trashes.push_back(std::move(*trash));
    return trashes;
}

std::optional<UserTrash> UserTrash::ofVolume(int volume, const std::string& volumePath,
                                             std::vector<UnopenedTrash>& unopened) {
    const std::string all{volumeTrashesName};
    const std::string own = std::to_string(::geteuid());
    std::string path = (volumePath == "/" ? "" : volumePath) + "/" + all + "/" + own;
    const FileDescriptor folder = openFolderToPass(volume, all);
    if (folder.isOpen()) return opened(folder.get(), own, std::move(path), unopened);
    note(std::move(path), unopened);
    return std::nullopt;
}

std::vector<UserTrash> UserTrash::forItem(const ItemLocation& item, std::vector<UnopenedTrash>& unopened) {
    std::vector<UserTrash> trashes = ofHome(unopened);
    if (auto trash = ofVolume(item.volume.get(), item.volumePath, unopened)) trashes.push_back(std::move(*trash));
    return trashes;
}

std::optional<std::time_t> UserTrash::addedTime(const std::string& name) const {
    static_assert(addedTimeAnswerBytes == 4 + sizeof(attribute_set_t) + sizeof(timespec));
    static_assert(ATTR_CMN_ADDEDTIME == 0x10000000);
    attrlist wanted{};
    wanted.bitmapcount = ATTR_BIT_MAP_COUNT;
    wanted.commonattr = ATTR_CMN_RETURNED_ATTRS | ATTR_CMN_ADDEDTIME;
    std::array<char, addedTimeAnswerBytes> answer{};
    constexpr unsigned options = FSOPT_NOFOLLOW | FSOPT_REPORT_FULLSIZE;
    if (::getattrlistat(folder.get(), name.c_str(), &wanted, answer.data(), answer.size(), options) != 0)
        return std::nullopt;
    return addedTimeOf({answer.data(), answer.size()});
}

}  // namespace KestrelCore
