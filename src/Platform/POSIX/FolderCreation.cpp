#include "Platform/POSIX/FolderCreation.hpp"

#include "Base/FileManagerErrors.hpp"
#include "KestrelCore/Base/URL.hpp"

#include <cerrno>
#include <sys/stat.h>
#include <vector>

namespace KestrelCore {
namespace {

/// The sentence names the volume only where the volume is the reason: full, over the user's share of it, or read-only.
[[noreturn]] void fail(const Text& path, int errorNumber) {
    const bool namesVolume = errorNumber == ENOSPC || errorNumber == EDQUOT || errorNumber == EROFS;
    throw fileManagerError(FileOperation::createDirectory, path, errorNumber, namesVolume ? volumeName(path) : Text{});
}

bool isFolder(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

/// 0 when the folder is there afterwards. Whatever `mkdir` complains of, a folder that exists is a success: systems
/// differ in what they say about one on a read-only volume, or about "/".
int createFolder(const std::string& path) {
    // What is made here holds what the user has, names above all: that is nobody else's to read.
    if (mkdir(path.c_str(), S_IRWXU) == 0) return 0;
    const int error = errno;
    return isFolder(path) ? 0 : error;
}

}  // namespace

std::optional<std::string> systemPath(const Text& path) {
    if (path.view().find('\0') != std::string_view::npos) return std::nullopt;
    return path.string();
}

void createFolders(const Text& path) {
    // From the leaf upwards until a folder can be made or exists, then down again: the usual case, in which nothing or
    // only the leaf is missing, asks once. An error names the folder that could not be made.
    std::vector<Text> missing{path};
    while (true) {
        const Text& folder = missing.back();
        const std::optional<std::string> bytes = systemPath(folder);
        if (!bytes) fail(folder, EINVAL);
        const int error = createFolder(*bytes);
        if (error == 0) break;
        const Text parent = Path::deletingLastComponent(folder);
        if (error != ENOENT || parent.isEmpty() || parent == folder) fail(folder, error);
        missing.push_back(parent);
    }
    // The last one was made, or is there: the others follow from the top down.
    for (missing.pop_back(); !missing.empty(); missing.pop_back()) {
        if (const int error = createFolder(missing.back().string())) fail(missing.back(), error);
    }
}

Text volumeName(const Text& path) {
    // First upwards to something that exists, then on to the last folder that is on the same device: that is where the
    // volume is mounted. Asking the mount table instead would need to know how each system spells it. Where a part of a
    // volume is mounted below another part of the same one, the outer one is named.
    struct stat status;
    Text place = path;
    while (lstat(place.string().c_str(), &status) != 0) {
        const Text parent = Path::deletingLastComponent(place);
        if (parent.isEmpty() || parent == place) return "";
        place = parent;
    }
    const dev_t device = status.st_dev;
    while (true) {
        const Text parent = Path::deletingLastComponent(place);
        if (parent.isEmpty() || parent == place) break;
        if (lstat(parent.string().c_str(), &status) != 0 || status.st_dev != device) break;
        place = parent;
    }
    return Path::lastComponent(place);
}

}  // namespace KestrelCore
