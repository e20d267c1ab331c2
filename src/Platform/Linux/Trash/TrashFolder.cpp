#include "Platform/Linux/Trash/TrashFolder.hpp"

#include "Base/PercentCoding.hpp"
#include "Base/Random.hpp"
#include "KestrelCore/Base/PlatformError.hpp"
#include "Platform/Linux/Trash/HomeTrash.hpp"
#include "Platform/Linux/Trash/TrashInfo.hpp"
#include "Platform/POSIX/DescriptorContents.hpp"
#include "Platform/POSIX/Removal/ItemLocation.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_set>
#include <utility>

//     ~/.local/share/Trash/        or .Trash/UID, or .Trash-UID, at the top of a volume
//         info/letter.txt.trashinfo    where it was and when it was thrown away
//         files/letter.txt             the item itself
//         directorysizes               what the folders in files/ take
//
// Other users may write to the top of a volume. So each folder is opened within the one before, never through a link,
// and must belong to this user alone; from then on everything goes by the open folders, whatever the paths lead to by
// then.

namespace KestrelCore {

namespace {

constexpr mode_t writableByOthers = S_IWGRP | S_IWOTH;

/// Opens a folder in `parent` that must be this user's alone. ENOENT in `errorNumber` when another kind of item, or
/// somebody else's, is in its place: the trash is not usable, which is no failure of the system.
FileDescriptor openOwned(int parent, const std::string& name, TrashFolder::Creation creation, int& errorNumber) {
    if (creation == TrashFolder::Creation::ifMissing && ::mkdirat(parent, name.c_str(), 0700) != 0 && errno != EEXIST) {
        errorNumber = errno;
        return {};
    }
    FileDescriptor folder{::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    struct stat status {};
    if (!folder.isOpen() || ::fstat(folder.get(), &status) != 0 || status.st_uid != ::geteuid() ||
        (status.st_mode & writableByOthers) != 0) {
        errorNumber = ENOENT;
        return {};
    }
    return folder;
}

std::optional<TrashFolder> openParts(FileDescriptor folder, std::string path, std::string volumePath,
                                     TrashFolder::Creation creation, int& errorNumber) {
    TrashFolder trash{.path = std::move(path),
                      .volumePath = std::move(volumePath),
                      .folder = std::move(folder),
                      .info = {},
                      .files = {}};
    if (!trash.folder.isOpen()) return std::nullopt;
    trash.info = openOwned(trash.folder.get(), "info", creation, errorNumber);
    if (trash.info.isOpen()) trash.files = openOwned(trash.folder.get(), "files", creation, errorNumber);
    if (!trash.files.isOpen()) return std::nullopt;
    errorNumber = 0;
    return trash;
}

/// The device of the path, or of the nearest folder above it that exists.
std::optional<std::uint64_t> deviceAtOrAbove(std::string path) {
    struct stat status {};
    for (;;) {
        if (::stat(path.c_str(), &status) == 0) return status.st_dev;
        const std::size_t slash = path.rfind('/');
        if (slash == std::string::npos) return std::nullopt;
        path.resize(slash);
        if (path.empty()) path = "/";
    }
}

/// Creates the folders of an absolute path for this user alone. What can't be made is found missing right afterwards.
void createPrivately(const std::string& path) {
    for (std::size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1))
        ::mkdir(path.substr(0, end).c_str(), 0700);
    ::mkdir(path.c_str(), 0700);
}

enum class Durability { synced, cached };

/// A new file with that content. 0, or the errno value; nothing is left behind then.
int writeNewFile(int folder, const std::string& name, std::string_view content, Durability durability) {
    const FileDescriptor file{
        ::openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)};
    if (!file.isOpen()) return errno;
    int error = writeAll(file.get(), content);
    if (error == 0 && durability == Durability::synced && ::fsync(file.get()) != 0) error = errno;
    if (error == 0) return 0;
    ::unlinkat(folder, name.c_str(), 0);
    return error;
}

std::string infoName(const std::string& name) { return name + ".trashinfo"; }

constexpr const char* sizesName = "directorysizes";
constexpr std::size_t longestSizes = std::size_t{16} << 20;

/// The text of the sizes of folders; empty when there is none that can be read, or more than `longest` bytes.
std::optional<std::string> sizesText(int trash, std::size_t longest) {
    const FileDescriptor file{::openat(trash, sizesName, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)};
    struct stat status {};
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    return contentsOfDescriptor(file.get(), longest);
}

}  // namespace

std::optional<TrashFolder> TrashFolder::openHome(Creation creation, std::optional<std::uint64_t> device,
                                                 int& errorNumber) {
    const std::string path = homeTrashPath();
    errorNumber = ENOENT;
    if (device && deviceAtOrAbove(path) != device) return std::nullopt;
    const std::string dataHome = path.substr(0, std::max<std::size_t>(path.rfind('/'), 1));
    if (creation == Creation::ifMissing) createPrivately(dataHome);
    // The user may keep this folder behind a link; the trash in it must be a real folder.
    const FileDescriptor parent{::open(dataHome.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)};
    if (!parent.isOpen()) return std::nullopt;
    return openParts(openOwned(parent.get(), "Trash", creation, errorNumber), path, "", creation, errorNumber);
}

std::optional<TrashFolder> TrashFolder::openShared(int volume, const std::string& volumePath, Creation creation,
                                                   int& errorNumber) {
    errorNumber = ENOENT;
    const FileDescriptor shared{::openat(volume, ".Trash", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    struct stat status {};
    if (!shared.isOpen() || ::fstat(shared.get(), &status) != 0) return std::nullopt;
    if ((status.st_mode & S_ISVTX) == 0 || (status.st_uid != 0 && status.st_uid != ::geteuid())) return std::nullopt;
    const std::string user = std::to_string(::geteuid());
    const std::string path = (volumePath == "/" ? "" : volumePath) + "/.Trash/" + user;
    return openParts(openOwned(shared.get(), user, creation, errorNumber), path, volumePath, creation, errorNumber);
}

std::optional<TrashFolder> TrashFolder::openOwn(int volume, const std::string& volumePath, Creation creation,
                                                int& errorNumber) {
    const std::string name = ".Trash-" + std::to_string(::geteuid());
    const std::string path = (volumePath == "/" ? "" : volumePath) + "/" + name;
    return openParts(openOwned(volume, name, creation, errorNumber), path, volumePath, creation, errorNumber);
}

std::string TrashFolder::infoPath(std::string_view absolutePath) const {
    if (volumePath.empty()) return std::string{absolutePath};
    const std::size_t top = volumePath == "/" ? 1 : volumePath.size() + 1;
    return std::string{absolutePath.substr(std::min(top, absolutePath.size()))};
}

int TrashFolder::writeInfo(const std::string& name, const std::string& text) const {
    return writeNewFile(info.get(), infoName(name), text, Durability::synced);
}

std::optional<std::string> TrashFolder::readInfo(const std::string& name) const {
    const FileDescriptor file{
        ::openat(info.get(), infoName(name).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)};
    struct stat status {};
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    return contentsOfDescriptor(file.get(), std::size_t{64} << 10);
}

int TrashFolder::removeInfo(const std::string& name) const {
    // A second try finds nothing any more where the first was only reported as failed.
    for (int attempt = 1;; ++attempt) {
        if (::unlinkat(info.get(), infoName(name).c_str(), 0) == 0 || errno == ENOENT) return 0;
        if (attempt == 2) return errno;
    }
}

// One line a folder: its bytes, the time of its info file, its percent-encoded name. The trash specification wants the
// file replaced as a whole, so that a reader sees the old or the new one and two writers never mix. Lines of items that
// are gone mean nothing to anyone and stay.
void TrashFolder::noteSizes(const std::vector<FolderSize>& sizes) const {
    std::string lines = otherSizes(sizesText(folder.get(), longestSizes).value_or(""), sizes);
    for (const FolderSize& size : sizes) {
        const auto status = statusIn(info.get(), infoName(size.name));
        if (!status) continue;  // it was taken out of the trash since
        lines += std::to_string(size.bytes) + " " + std::to_string(status->st_mtim.tv_sec) + " " +
                 percentEncodedPath(size.name) + "\n";
    }
    replaceSizes(lines);
}

void TrashFolder::forgetSize(const std::string& name) const {
    // A line that stays means nothing, and to take one after the other out of a long file would take for ever.
    constexpr std::size_t longestTidied = std::size_t{64} << 10;
    if (const auto text = sizesText(folder.get(), longestTidied)) replaceSizes(otherSizes(*text, {{.name = name}}));
}

void TrashFolder::forgetSizes(const std::vector<FolderSize>& folders) const {
    const auto text = sizesText(folder.get(), longestSizes);
    if (!text) return;
    const std::string others = otherSizes(*text, folders);
    if (others.empty()) {
        ::unlinkat(folder.get(), sizesName, 0);
    } else if (others != *text) {
        replaceSizes(others);
    }
}

/// The lines that are about none of these folders, and that are lines at all.
std::string TrashFolder::otherSizes(std::string_view lines, const std::vector<FolderSize>& sizes) {
    std::unordered_set<std::string> names;
    for (const FolderSize& size : sizes) names.insert(size.name);
    std::string others;
    for (std::string_view rest = lines; !rest.empty();) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        const std::string_view line = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        const std::size_t blank = line.rfind(' ');
        const auto listed = blank == std::string_view::npos ? std::nullopt : percentDecoded(line.substr(blank + 1));
        if (listed && !names.contains(*listed)) others.append(line).append("\n");
    }
    return others;
}

void TrashFolder::replaceSizes(const std::string& lines) const {
    std::uint64_t random = 0;
    if (fillRandom(&random, sizeof random) != 0) return;
    const std::string temporary = sizesName + ("." + std::to_string(random));
    if (writeNewFile(folder.get(), temporary, lines, Durability::cached) != 0) return;
    if (::renameat(folder.get(), temporary.c_str(), folder.get(), sizesName) != 0)
        ::unlinkat(folder.get(), temporary.c_str(), 0);
}

Text staleInfoSentence(const TrashFolder& trash, const std::string& name, int errorNumber) {
    return Text::concatenating({"“", trash.path, "/info/", infoName(name),
                                "” could not be removed, so the trash may list what is not in it: ",
                                systemErrorText(errorNumber).view(), "."});
}

}  // namespace KestrelCore
