#include "Platform/POSIX/Removal/ItemLocation.hpp"

#include "Base/RefusalSentences.hpp"
#include "Platform/POSIX/StatusIdentity.hpp"
#include "Platform/POSIX/Walk/FolderOnMount.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

// The way to an item is gone once, from "/" down, each folder opened relative to the one above and never through a
// link. What every later step needs is kept: for /home/anna/f.txt, with a volume mounted on /home,
//
//     /              an ancestor
//     /home          an ancestor; another mount, so from here on the top of the item's volume
//     /home/anna     an ancestor, and the folder that is kept open
//     f.txt          the name; what is done to the item is done to this name in that folder
//
// Whoever renames a folder above meanwhile changes nothing: nothing that is done to the item goes by a path any more.

namespace KestrelCore {

namespace {

/// The components of an absolute path that names one item in exactly one way.
std::optional<std::vector<std::string>> plainComponents(std::string_view path) {
    if (!path.starts_with('/') || path.size() < 2 || path.find('\0') != std::string_view::npos) return std::nullopt;
    std::vector<std::string> components;
    for (std::size_t begin = 1; begin <= path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        const std::string_view component = path.substr(begin, end - begin);
        if (component.empty() || component == "." || component == "..") return std::nullopt;
        components.emplace_back(component);
        begin = end + 1;
    }
    return components;
}

constexpr const char* mountedSentence = "A file system is mounted on it or in it.";

PlatformError refusal(const Text& sentence) {
    return {PlatformError::Domain::fileManager, PlatformError::fileWriteUnknown, sentence};
}

}  // namespace

ItemLocation locateItem(const URL& url, FileOperation operation) {
    ItemLocation item;
    item.path = url.path().string();
    // A URL keeps an encoded NUL or slash, which no name can hold; its path must not be taken for another item's.
    const std::string_view text = url.absoluteString().view();
    const bool isEncoded = text.find("%00") != std::string_view::npos || text.find("%2F") != std::string_view::npos ||
                           text.find("%2f") != std::string_view::npos;
    const auto components = isEncoded ? std::nullopt : plainComponents(item.path);
    if (!components) throw fileManagerError(operation, url.path(), item.path == "/" ? EBUSY : EINVAL);
    item.name = components->back();

    item.volumePath = "/";
    std::string walked;
    std::optional<std::uint64_t> mount;
    bool isTopOfVolume = false;
    for (std::size_t i = 0; i < components->size(); ++i) {
        const std::string& component = i == 0 ? "/" : (*components)[i - 1];
        FileDescriptor next = openFolderToPass(i == 0 ? AT_FDCWD : item.folder.get(), component);
        if (!next.isOpen()) {
            if (errno == ENOTDIR || errno == ELOOP) throw changedItemError();
            throw fileManagerError(operation, item.text(), errno);
        }
        struct stat status {};
        if (::fstat(next.get(), &status) != 0) throw fileManagerError(operation, item.text(), errno);
        if (i > 0) walked.append("/").append(component);
        if (isTopOfVolume && isVolumeTrashName(component)) item.isInTrash = true;

        const auto nextMount = mountIdentifier(next.get());
        const bool hasNewDevice = item.ancestors.empty() || item.ancestors.back().device != identityOf(status).device;
        isTopOfVolume = i == 0 || hasNewDevice || nextMount != mount;
        mount = nextMount;
        item.ancestors.push_back(identityOf(status));
        item.folder = std::move(next);
        if (isTopOfVolume && i > 0) item.volumePath = walked;
        if (isTopOfVolume) item.volume = FileDescriptor{::fcntl(item.folder.get(), F_DUPFD_CLOEXEC, 0)};
    }
    if (!item.volume.isOpen()) throw fileManagerError(operation, item.text(), errno);
    if (isTopOfVolume && isVolumeTrashName(item.name)) {
        const auto status = statusIn(item.folder.get(), item.name);
        if (status && S_ISDIR(status->st_mode)) item.isInTrash = true;
    }
    return item;
}

ExpectedItem asExpected(const struct stat& status) {
    return {deviceOf(status), static_cast<std::uint64_t>(status.st_ino),
            static_cast<std::uint32_t>(status.st_mode & S_IFMT)};
}

bool matches(const struct stat& status, const std::optional<ExpectedItem>& expected) {
    if (!expected) return true;
    const ExpectedItem found = asExpected(status);
    return found.device == expected->device && found.inode == expected->inode &&
           (expected->fileTypeBits == 0 || expected->fileTypeBits == found.fileTypeBits);
}

PlatformError changedItemError() { return refusal(changedItemSentence); }

PlatformError protectedTrashError() { return refusal(protectedTrashSentence); }

PlatformError mountedItemError(const ItemLocation& item, FileOperation operation) {
    return withSentence(fileManagerError(operation, item.text(), EBUSY), mountedSentence);
}

PlatformError withSentence(const PlatformError& error, const Text& sentence) {
    return {error.domain(), error.code(), Text::concatenating({error.description().view(), " ", sentence.view()}),
            error.underlying() != nullptr ? std::make_shared<const PlatformError>(*error.underlying()) : nullptr};
}

PlatformError itemError(FileOperation operation, const ItemLocation& item, int errorNumber) {
    const PlatformError error = fileManagerError(operation, item.text(), errorNumber);
    if (error.code() == PlatformError::fileWriteNoPermission) return error;
    return withSentence(error, Text::concatenating({systemErrorText(errorNumber).view(), "."}));
}

std::optional<Text> mountSentence(std::optional<bool> isAnyMounted) {
    if (!isAnyMounted) return MountsNow::untoldSentence();
    return *isAnyMounted ? std::optional<Text>{mountedSentence} : std::nullopt;
}

namespace {

std::optional<PlatformError> mountRefusal(const ItemLocation& item, std::string_view place, FileOperation operation,
                                          MountsNow& mounts) {
    const auto isAnyMounted = mounts.isAnyAtOrBelow(place);
    const auto sentence = mountSentence(isAnyMounted);
    if (!sentence) return std::nullopt;
    return withSentence(fileManagerError(operation, item.text(), isAnyMounted ? EBUSY : ENOSYS), *sentence);
}

}  // namespace

std::optional<PlatformError> mountRefusal(const ItemLocation& item, std::string_view place, FileOperation operation) {
    MountsNow mounts;
    return mountRefusal(item, place, operation, mounts);
}

void refuseMounts(const ItemLocation& item, FileOperation operation) {
    MountsNow mounts;
    refuseMounts(item, operation, mounts);
}

void refuseMounts(const ItemLocation& item, FileOperation operation, MountsNow& mounts) {
    if (const auto refusal = mountRefusal(item, item.path, operation, mounts)) throw *refusal;
}

}  // namespace KestrelCore
