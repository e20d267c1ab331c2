#include "Platform/PrivateFolder.hpp"

#include "Base/FileManagerErrors.hpp"
#include "KestrelCore/Base/Path.hpp"
#include "Platform/Linux/SmallFile.hpp"
#include "Platform/Linux/Walk/FolderListing.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/FolderCreation.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace KestrelCore {

namespace {

FileDescriptor openFolder(const Text& path) {
    return FileDescriptor{::open(path.string().c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
}

}  // namespace

void PrivateFolder::write(const std::string& name, std::string_view content) const {
    createFolders(Path::deletingLastComponent(path_));
    ::mkdir(path_.string().c_str(), 0700);
    const Text path = Path::appending(path_, name);
    const auto fail = [&path](int error) { throw fileManagerError(FileOperation::createDirectory, path, error); };
    const FileDescriptor folder = openFolder(path_);
    if (!folder.isOpen()) fail(errno);

    const std::string temporary = name + ".new";
    ::unlinkat(folder.get(), temporary.c_str(), 0);
    const FileDescriptor file{
        ::openat(folder.get(), temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)};
    if (!file.isOpen()) fail(errno);
    int error = writeAll(file.get(), content);
    if (error == 0 && ::fsync(file.get()) != 0) error = errno;
    if (error == 0 && ::renameat(folder.get(), temporary.c_str(), folder.get(), name.c_str()) != 0) error = errno;
    if (error == 0 && ::fsync(folder.get()) != 0) error = errno;
    if (error == 0) return;
    ::unlinkat(folder.get(), temporary.c_str(), 0);
    fail(error);
}

std::optional<std::string> PrivateFolder::read(const std::string& name) const {
    const FileDescriptor folder = openFolder(path_);
    const FileDescriptor file{::openat(folder.get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)};
    struct stat status {};
    if (!folder.isOpen() || !file.isOpen() || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    return contentsOfDescriptor(file.get(), std::size_t{64} << 10);
}

std::vector<std::string> PrivateFolder::names() const {
    std::vector<std::string> names;
    const FileDescriptor folder = openFolder(path_);
    FolderListing listing;
    while (folder.isOpen() && listing.readPiece(folder.get())) {
        while (const ListedEntry* entry = listing.next()) names.emplace_back(entry->name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

void PrivateFolder::remove(const std::string& name) const {
    const FileDescriptor folder = openFolder(path_);
    if (folder.isOpen()) ::unlinkat(folder.get(), name.c_str(), 0);
}

}  // namespace KestrelCore
