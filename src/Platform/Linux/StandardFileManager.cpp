#include "KestrelCore/Platform/FileManager.hpp"

#include "Base/FileManagerErrors.hpp"
#include "Platform/HomeDirectory.hpp"
#include "Platform/Linux/Removal/SafeRemoval.hpp"
#include "Platform/Linux/Trash/Trash.hpp"
#include "Platform/POSIX/DirectoryWalk.hpp"
#include "Platform/POSIX/FolderCreation.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// The answers that take one or two calls of the system. What needs care of its own has files of its own: removing, the
// Trash, walking, making folders. Paths with a NUL never reach the system, which would see only what stands before it.

namespace KestrelCore {
namespace {

/// The names in a folder; throws for a folder that can't be read to its end.
DirectoryNames namesOf(const Text& path) {
    const std::optional<std::string> bytes = systemPath(path);
    if (!bytes) throw fileManagerError(FileOperation::list, path, EINVAL);
    const int descriptor = open(bytes->c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) throw fileManagerError(FileOperation::list, path, errno);
    DirectoryNames names;
    if (const int error = names.read(descriptor)) throw fileManagerError(FileOperation::list, path, error);
    return names;
}

bool isFolderWithoutFollowing(const std::string& path) {
    struct stat status;
    return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

class StandardFileManager final : public FileManager {
public:
    [[nodiscard]] bool isReadable(const Text& path) const override {
        const std::optional<std::string> bytes = systemPath(path);
        return bytes && access(bytes->c_str(), R_OK) == 0;
    }

    [[nodiscard]] bool exists(const Text& path) const override {
        const std::optional<std::string> bytes = systemPath(path);
        struct stat status;
        return bytes && stat(bytes->c_str(), &status) == 0;
    }

    [[nodiscard]] std::vector<Text> contentsOfDirectory(const Text& path) const override {
        const DirectoryNames names = namesOf(path);
        std::vector<Text> contents;
        contents.reserve(names.size());
        for (std::size_t i = 0; i < names.size(); ++i) contents.emplace_back(names[i].name);
        return contents;
    }

    [[nodiscard]] std::vector<URL> contentsOfDirectory(const URL& url, bool skipsHidden) const override {
        const DirectoryNames names = namesOf(url.path());
        const std::string folder = url.path() == Text{"/"} ? "/" : url.path().string() + "/";
        std::vector<URL> contents;
        contents.reserve(names.size());
        for (std::size_t i = 0; i < names.size(); ++i) {
            const DirectoryNames::Entry entry = names[i];
            if (skipsHidden && entry.name.front() == '.') continue;
            const bool isFolder = entry.kind == DirectoryNames::Kind::directory ||
                                  (entry.kind == DirectoryNames::Kind::unknown &&
                                   isFolderWithoutFollowing(folder + std::string{entry.name}));
            contents.push_back(url.appending(entry.name, isFolder));
        }
        return contents;
    }

    bool enumerate(const URL& url,
                   const std::function<bool(const URL&, std::optional<std::int64_t>)>& visit) const override {
        const Text& root = url.path();
        const std::optional<std::string> bytes = systemPath(root);
        if (!bytes || bytes->empty()) return false;
        const std::string_view prefix = root == Text{"/"} ? std::string_view{} : root.view();
        walkBelow(*bytes, [&](const WalkedItem& item) {
            const Text path = Text::concatenating({prefix, "/", item.path});
            return visit(URL::fromPath(path, item.isDirectory), item.allocatedBytes);
        });
        return true;
    }

    [[nodiscard]] std::optional<std::int64_t> allocatedBytesBelow(const URL& url) const override {
        const std::optional<std::string> bytes = systemPath(url.path());
        if (!bytes || bytes->empty()) return std::nullopt;
        // Absurd claims of a hostile file system count 0 rather than stop the process.
        constexpr std::int64_t mostPlausibleSum = std::int64_t{1} << 62;
        std::int64_t sum = 0;
        walkBelow(*bytes, [&sum](const WalkedItem& item) {
            const std::int64_t allocated = item.allocatedBytes.value_or(0);
            if (allocated <= mostPlausibleSum - sum) sum += allocated;
            return true;
        });
        return sum;
    }

    [[nodiscard]] std::optional<std::int64_t> allocatedBytes(const URL& url) const override {
        const std::optional<std::string> bytes = systemPath(url.path());
        struct stat status;
        if (!bytes || lstat(bytes->c_str(), &status) != 0 || S_ISDIR(status.st_mode)) return std::nullopt;
        return plausibleAllocatedBytes(status.st_blocks);
    }

    void createDirectory(const URL& url) override { createFolders(url.path()); }

    std::optional<URL> trashItem(const URL& url, const std::optional<ExpectedItem>& expected,
                                 const CancellationToken& cancellation) override {
        return moveToTrash(url, expected, cancellation);
    }

    void removeItem(const URL& url, const std::optional<ExpectedItem>& expected,
                    const CancellationToken& cancellation) override {
        removeSafely(url, expected, cancellation);
    }

    [[nodiscard]] Text homeDirectory() const override { return currentHomeDirectory(); }
};

}  // namespace

std::shared_ptr<FileManager> FileManager::standard() {
    static const std::shared_ptr<FileManager> shared = std::make_shared<StandardFileManager>();
    return shared;
}

}  // namespace KestrelCore
