#include "Platform/POSIX/LocalFileManager.hpp"

#include "Base/BoundedRetry.hpp"
#include "Base/FileManagerErrors.hpp"
#include "Platform/FileStatus.hpp"
#include "Platform/FolderEnumeration.hpp"
#include "Platform/HomeDirectory.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/FolderCreation.hpp"
#include "Platform/POSIX/Removal/SafeRemoval.hpp"
#include "Platform/POSIX/Walk/DirectoryEntries.hpp"
#include "Platform/POSIX/Walk/StatusAt.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// The answers that take one or two calls of the system. What needs care of its own has files of its own: removing, the
// Trash, walking, making folders. Paths with a NUL never reach the system, which would see only what stands before it.

namespace KestrelCore {
namespace {

/// Lists a folder and calls `take(folder, entry)` with each entry, `folder` being open. Throws for a folder that can't
/// be read to its end, as one that has no end.
template <typename Take>
void list(const Text& path, Take take) {
    const std::optional<std::string> bytes = systemPath(path);
    if (!bytes) throw fileManagerError(FileOperation::list, path, EINVAL);
    const FileDescriptor folder{
        repeatedWhenInterrupted([&] { return open(bytes->c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK); })};
    if (!folder.isOpen()) throw fileManagerError(FileOperation::list, path, errno);
    DirectoryEntries listing{DirectoryEntries::manyEntries};
    while (listing.readPiece(folder.get())) {
        while (const ListedEntry* entry = listing.next()) take(folder.get(), *entry);
    }
    if (listing.errorNumber() != 0) throw fileManagerError(FileOperation::list, path, listing.errorNumber());
}

/// Where the listing does not say what an entry is, a look at it does.
bool isFolder(int folder, const ListedEntry& entry) {
    if (!entry.isOfUnknownType) return entry.isFolder;
    FileStatus status;
    std::uint64_t mount = 0;
    return statusAt(folder, entry.name.data(), status, mount) == 0 && status.type == FileType::directory;
}

/// The walk below an item; null for a path that names none.
std::unique_ptr<Traversal> walkBelow(const URL& url) {
    const std::optional<std::string> bytes = systemPath(url.path());
    if (!bytes || !bytes->starts_with('/')) return nullptr;
    return openTraversal({.root = *bytes, .notEntered = {}, .cancellation = {}});
}

}  // namespace

bool LocalFileManager::isReadable(const Text& path) const {
    const std::optional<std::string> bytes = systemPath(path);
    // For the user who started the program, also where it runs with raised rights: what is asked is what that one
    // may.
    return bytes && access(bytes->c_str(), R_OK) == 0;
}

bool LocalFileManager::exists(const Text& path) const {
    const std::optional<std::string> bytes = systemPath(path);
    struct stat status;
    return bytes && stat(bytes->c_str(), &status) == 0;
}

std::vector<Text> LocalFileManager::contentsOfDirectory(const Text& path) const {
    std::vector<Text> contents;
    list(path, [&](int, const ListedEntry& entry) { contents.emplace_back(entry.name); });
    return contents;
}

std::vector<URL> LocalFileManager::contentsOfDirectory(const URL& url, bool skipsHidden) const {
    std::vector<URL> contents;
    list(url.path(), [&](int folder, const ListedEntry& entry) {
        if (skipsHidden && (entry.name.front() == '.' || isMarkedHidden(folder, entry.name.data()))) return;
        contents.push_back(url.appending(entry.name, isFolder(folder, entry)));
    });
    return contents;
}

bool LocalFileManager::enumerate(const URL& url,
                                 const std::function<bool(const URL&, std::optional<std::int64_t>)>& visit) const {
    const auto walk = walkBelow(url);
    if (!walk) return false;
    const std::string_view prefix = url.path() == Text{"/"} ? std::string_view{} : url.path().view();
    enumerateBelow(*walk, [&](const EnumeratedItem& item) {
        const Text path = Text::concatenating({prefix, "/", item.path});
        return visit(URL::fromPath(path, item.isDirectory), item.allocatedBytes);
    });
    return true;
}

std::optional<std::int64_t> LocalFileManager::allocatedBytesBelow(const URL& url) const {
    const auto walk = walkBelow(url);
    if (!walk) return std::nullopt;
    return KestrelCore::allocatedBytesBelow(*walk);
}

std::optional<std::int64_t> LocalFileManager::allocatedBytes(const URL& url) const {
    const FileStatusResult found = fileStatus(url.path().string());
    if (!found.status || found.status->type == FileType::directory) return std::nullopt;
    return found.status->allocatedBytes;
}

void LocalFileManager::createDirectory(const URL& url) { createFolders(url.path()); }

std::optional<Text> LocalFileManager::removeItem(const URL& url, const std::optional<ExpectedItem>& expected,
                                                 const CancellationToken& cancellation) {
    return removeSafely(url, expected, cancellation);
}

bool LocalFileManager::isMarkedHidden(int, const char*) const { return false; }

Text LocalFileManager::homeDirectory() const { return currentHomeDirectory(); }

}  // namespace KestrelCore
