#include "Platform/PrivateFolder.hpp"

#include "Base/FileManagerErrors.hpp"
#include "KestrelCore/Base/Path.hpp"
#include "Platform/POSIX/DescriptorContents.hpp"
#include "Platform/POSIX/DiskSync.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/FolderCreation.hpp"
#include "Platform/POSIX/Walk/DirectoryEntries.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

// A file is written under another name, put on the disk and then renamed, so that a crash leaves it as it was, or new,
// and never half of it. The files of one request go together: all are written before the first is renamed. Whatever
// stands under the other name was left by a crash, and goes. Reading trusts nothing: the folder may have been put there
// by another program, with links, pipes and very large files in it.

namespace KestrelCore {

namespace {

FileDescriptor openFolder(const Text& path) {
    return FileDescriptor{::open(path.string().c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
}

std::string temporaryName(const PrivateFolder::File& file) { return file.name + ".new"; }

/// Puts a folder's entries on the disk, so that a new one survives a power cut. 0, or -1 with errno.
int syncFolder(const Text& path) {
    const FileDescriptor folder{::open(path.string().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    return folder.isOpen() ? syncToDisk(folder.get()) : -1;
}

}  // namespace

void PrivateFolder::write(const std::vector<File>& files) const {
    if (files.empty()) return;
    const Text parent = Path::deletingLastComponent(path_);
    createFolders(parent);
    const auto failWith = [](const Text& path, int error) {
        throw fileManagerError(FileOperation::createDirectory, path, error, volumeName(path));
    };
    const bool isNew = ::mkdir(path_.string().c_str(), S_IRWXU) == 0;
    const int creationError = isNew ? 0 : errno;
    const FileDescriptor folder = openFolder(path_);
    // A folder that is there is all that is wanted; else the reason why it could not be made is the one to tell.
    if (!folder.isOpen()) failWith(path_, creationError == 0 || creationError == EEXIST ? errno : creationError);
    if (isNew && syncFolder(parent) != 0) failWith(path_, errno);
    struct stat found {};
    if (::fstat(folder.get(), &found) == 0 && (found.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        std::ignore = ::fchmod(folder.get(), found.st_mode & S_IRWXU);
    }
    const auto fail = [&](const File& file, int error) {
        for (const File& written : files) ::unlinkat(folder.get(), temporaryName(written).c_str(), 0);
        failWith(Path::appending(path_, file.name), error);
    };

    // Each costs a flush of the disk's own memory; from some number on, one call for the file system is the cheaper
    // way.
    constexpr std::size_t mostSyncedAlone = 16;
    const bool syncsAlone = files.size() <= mostSyncedAlone;
    for (const File& file : files) {
        const std::string temporary = temporaryName(file);
        ::unlinkat(folder.get(), temporary.c_str(), 0);
        const FileDescriptor opened{
            ::openat(folder.get(), temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)};
        if (!opened.isOpen()) fail(file, errno);
        if (const int error = writeAll(opened.get(), file.content)) fail(file, error);
        if (syncsAlone && syncToDisk(opened.get()) != 0) fail(file, errno);
    }
    if (!syncsAlone && syncFileSystemToDisk(folder.get()) != 0) fail(files.front(), errno);
    // From here on a failure leaves some files new and some as they were: each is whole by itself.
    for (const File& file : files)
        if (::renameat(folder.get(), temporaryName(file).c_str(), folder.get(), file.name.c_str()) != 0)
            fail(file, errno);
    if (syncToDisk(folder.get()) != 0) fail(files.front(), errno);
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
    DirectoryEntries listing{DirectoryEntries::manyEntries};
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
