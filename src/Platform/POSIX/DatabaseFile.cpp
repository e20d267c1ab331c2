#include "Platform/DatabaseFile.hpp"

#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/StatusIdentity.hpp"

#include <array>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <tuple>
#include <unistd.h>

namespace KestrelCore {
namespace {

/// The path with all links resolved; empty when the last component is missing, or a folder on the way can't be entered.
std::optional<std::string> realPath(const std::string& path) {
    const std::unique_ptr<char, void (*)(void*)> resolved{realpath(path.c_str(), nullptr), std::free};
    return resolved == nullptr ? std::nullopt : std::optional<std::string>{resolved.get()};
}

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

std::optional<DatabaseFile::Item> DatabaseFile::item(const std::string& path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) return std::nullopt;
    return Item{.device = deviceOf(status),
                .inode = static_cast<std::uint64_t>(status.st_ino),
                .size = status.st_size,
                .isRegular = S_ISREG(status.st_mode)};
}

// What lies beside a database, its log and its lock, is named after it. One that is reached by a link must have one
// name, or two programs would each hold a lock of their own and write the same file.
std::string DatabaseFile::resolved(const std::string& path) {
    if (const auto whole = realPath(path)) return *whole;
    // Not there yet. A link to nowhere names the place where the file will be made.
    std::string place = path;
    // As many as the system itself follows: a chain that leads in a circle is not walked for ever.
    constexpr int mostLinks = 40;
    for (int links = 0; links < mostLinks; ++links) {
        std::array<char, PATH_MAX> target{};
        const ssize_t length = readlink(place.c_str(), target.data(), target.size());
        if (length <= 0 || static_cast<std::size_t>(length) == target.size()) break;
        const std::string text{target.data(), static_cast<std::size_t>(length)};
        place = text.front() == '/' ? text : folderOf(place) + "/" + text;
    }
    const auto folder = realPath(folderOf(place));
    if (!folder) return path;
    return (*folder == "/" ? "" : *folder) + "/" + place.substr(place.rfind('/') + 1);
}

bool DatabaseFile::isInWritableFolder(const std::string& path) {
    return access(folderOf(path).c_str(), W_OK | X_OK) == 0;
}

void DatabaseFile::createPrivate(const std::string& path) {
    // One that is there already, or can't be made, is for the engine to open or to complain of.
    const FileDescriptor file{open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR)};
}

void DatabaseFile::makePrivate(const std::string& path) {
    struct stat found;
    // What a link leads to, or what belongs to another user, is not ours to change.
    if (lstat(path.c_str(), &found) != 0 || !S_ISREG(found.st_mode) || found.st_uid != geteuid()) return;
    if ((found.st_mode & (S_IRWXG | S_IRWXO)) == 0) return;
    std::ignore = fchmodat(AT_FDCWD, path.c_str(), found.st_mode & S_IRWXU, AT_SYMLINK_NOFOLLOW);
}

std::optional<std::string_view> DatabaseFile::whyNotTrusted(const std::string& path) {
    struct stat found;
    if (stat(folderOf(path).c_str(), &found) == 0 && (found.st_mode & S_IWOTH) != 0 && (found.st_mode & S_ISVTX) == 0) {
        return "other users can write to its folder";
    }
    if (lstat(path.c_str(), &found) != 0) return std::nullopt;
    if (S_ISLNK(found.st_mode)) return "it is a link";
    if (found.st_uid != geteuid()) return "it belongs to another user";
    return std::nullopt;
}

std::optional<std::int64_t> DatabaseFile::availableBytes(const std::string& path) {
    struct statvfs volume;
    if (statvfs(path.c_str(), &volume) != 0 && statvfs(folderOf(path).c_str(), &volume) != 0) return std::nullopt;
    if (volume.f_blocks == 0) return std::nullopt;  // a file system that keeps no count
    // What file systems keep back for root is no room for anybody else.
    const std::uint64_t blocks = geteuid() == 0 ? volume.f_bfree : volume.f_bavail;
    constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();
    if (volume.f_frsize == 0 || blocks > most / volume.f_frsize) return std::nullopt;
    return static_cast<std::int64_t>(blocks * volume.f_frsize);
}

void DatabaseFile::makeWritableLike(const std::string& model, const std::string& path) {
    struct stat wanted;
    struct stat found;
    if (stat(model.c_str(), &wanted) != 0 || lstat(path.c_str(), &found) != 0) return;
    if (!S_ISREG(found.st_mode) || found.st_uid != geteuid() || (wanted.st_mode & ~found.st_mode & S_IWUSR) == 0)
        return;
    constexpr mode_t permissions = S_IRWXU | S_IRWXG | S_IRWXO;
    // Where that fails, so will the engine, which says more.
    std::ignore = fchmodat(AT_FDCWD, path.c_str(), wanted.st_mode & permissions, AT_SYMLINK_NOFOLLOW);
}

}  // namespace KestrelCore
