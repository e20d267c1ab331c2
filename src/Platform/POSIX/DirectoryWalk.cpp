#include "Platform/POSIX/DirectoryWalk.hpp"

#include "Platform/POSIX/FileDescriptor.hpp"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>

// A walk that costs what the kernel charges: one listing per folder, one look per file (none per folder, whose own size
// does not count), every name relative to the descriptor of its folder.
//
// A level of the walk is a folder whose names have been read. Its descriptor is needed to look at its items and to
// enter its sub-folders, so that the stack of levels would need as many descriptors as the tree is deep. Therefore only
// the deepest levels keep theirs. A level above opens its own again on the way back, through ".." of the level below,
// and goes on only when that is still the same folder; else its remaining items are left out, as they moved away.

namespace KestrelCore {
namespace {

constexpr std::size_t mostOpenLevels = 32;

struct Level {
    FileDescriptor descriptor;
    dev_t device = 0;
    ino_t inode = 0;
    DirectoryNames names;
    std::size_t next = 0;
    std::size_t pathSize = 0;  ///< bytes of the walk's path that lead to this folder, with its slash
};

constexpr int openFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;

/// Opens and lists a folder. Empty when it can't be opened or is on another device than `device`, where that is given.
std::optional<Level> openLevel(int parent, const char* name, const dev_t* device) {
    Level level;
    level.descriptor = FileDescriptor{openat(parent, name, openFolderFlags)};
    struct stat status;
    if (!level.descriptor.isOpen() || fstat(level.descriptor.get(), &status) != 0) return std::nullopt;
    if (device != nullptr && status.st_dev != *device) return std::nullopt;
    level.device = status.st_dev;
    level.inode = status.st_ino;
    const int copy = fcntl(level.descriptor.get(), F_DUPFD_CLOEXEC, 0);
    // A listing that ends half-way leaves what was read, as an unreadable folder leaves nothing.
    if (copy >= 0) (void)level.names.read(copy);
    return level;
}

class Walk {
public:
    explicit Walk(const std::function<bool(const WalkedItem&)>& visit) : visit_{visit} {}

    void run(const std::string& root) {
        std::optional<Level> first = openLevel(AT_FDCWD, root.c_str(), nullptr);
        if (!first) return;
        levels_.push_back(std::move(*first));
        while (!levels_.empty()) {
            Level& level = levels_.back();
            if (level.next == level.names.size() || !level.descriptor.isOpen()) {
                leave();
                continue;
            }
            if (!take(level, level.names[level.next++])) return;
        }
    }

private:
    /// False when the visitor stops the walk. `level` is invalid afterwards: the stack may have grown.
    bool take(Level& level, const DirectoryNames::Entry& entry) {
        path_.resize(level.pathSize);
        path_.append(entry.name);
        WalkedItem item{
            .path = path_, .isDirectory = entry.kind == DirectoryNames::Kind::directory, .allocatedBytes = {}};
        if (!item.isDirectory) {
            struct stat status;
            // An item that vanished since the listing is still an item of the enumeration, without a size.
            if (fstatat(level.descriptor.get(), entry.name.data(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
                item.isDirectory = S_ISDIR(status.st_mode);
                if (!item.isDirectory) item.allocatedBytes = plausibleAllocatedBytes(status.st_blocks);
            }
        }
        if (!visit_(item)) return false;
        if (item.isDirectory) enter(level, entry.name);
        return true;
    }

    void enter(const Level& level, std::string_view name) {
        std::optional<Level> below = openLevel(level.descriptor.get(), name.data(), &levels_.front().device);
        if (!below) return;
        path_.push_back('/');
        below->pathSize = path_.size();
        levels_.push_back(std::move(*below));
        if (levels_.size() > mostOpenLevels) levels_[levels_.size() - 1 - mostOpenLevels].descriptor.close();
    }

    void leave() {
        const Level left = std::move(levels_.back());
        levels_.pop_back();
        if (levels_.empty()) return;
        Level& above = levels_.back();
        if (above.descriptor.isOpen() || !left.descriptor.isOpen()) return;
        FileDescriptor again{openat(left.descriptor.get(), "..", openFolderFlags)};
        struct stat status;
        if (again.isOpen() && fstat(again.get(), &status) == 0 && status.st_dev == above.device &&
            status.st_ino == above.inode)
            above.descriptor = std::move(again);
    }

    const std::function<bool(const WalkedItem&)>& visit_;
    std::vector<Level> levels_;
    std::string path_;
};

}  // namespace

int DirectoryNames::read(int descriptor) {
    const std::unique_ptr<DIR, int (*)(DIR*)> stream{fdopendir(descriptor), closedir};
    if (!stream) {
        const int error = errno;
        ::close(descriptor);
        return error;
    }
    while (true) {
        errno = 0;
        const dirent* entry = readdir(stream.get());
        if (entry == nullptr) return errno;
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..") continue;
        const Kind kind = entry->d_type == DT_DIR       ? Kind::directory
                          : entry->d_type == DT_UNKNOWN ? Kind::unknown
                                                        : Kind::other;
        offsets_.push_back(bytes_.size());
        bytes_.push_back(static_cast<char>(kind));
        bytes_.append(name);
        bytes_.push_back('\0');
    }
}

DirectoryNames::Entry DirectoryNames::operator[](std::size_t index) const {
    const std::size_t start = offsets_[index];
    const std::size_t end = index + 1 < offsets_.size() ? offsets_[index + 1] : bytes_.size();
    return {.name = std::string_view{bytes_}.substr(start + 1, end - start - 2),
            .kind = static_cast<Kind>(bytes_[start])};
}

void walkBelow(const std::string& root, const std::function<bool(const WalkedItem&)>& visit) { Walk{visit}.run(root); }

std::optional<std::int64_t> plausibleAllocatedBytes(std::int64_t blocks) {
    constexpr std::int64_t blockBytes = 512;
    constexpr std::int64_t most = std::int64_t{1} << 50;
    if (blocks < 0 || blocks > most / blockBytes) return std::nullopt;
    return blocks * blockBytes;
}

}  // namespace KestrelCore
