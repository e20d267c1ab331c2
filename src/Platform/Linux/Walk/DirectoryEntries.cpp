#include "Platform/POSIX/Walk/DirectoryEntries.hpp"

#include "Base/BoundedRetry.hpp"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <sys/types.h>

namespace KestrelCore {

namespace {

/// One call lists about two thousand names; more would only make the first entries of a large folder wait.
constexpr std::size_t pieceBytes = std::size_t{64} << 10;

bool isSelfOrParent(const char* name) {
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

}  // namespace

DirectoryEntries::DirectoryEntries(std::size_t mostEntries)
    : buffer_{std::make_unique_for_overwrite<char[]>(pieceBytes)}, entriesLeft_{mostEntries} {}

bool DirectoryEntries::readPiece(int folder) {
    if (errorNumber_ == EOVERFLOW && entriesLeft_ == 0) return false;
    const ssize_t got = repeatedWhenInterrupted([&] { return ::getdents64(folder, buffer_.get(), pieceBytes); });
    // There is nothing in a folder that was removed, and the kernel says so in its own way.
    errorNumber_ = got < 0 && errno != ENOENT ? errno : 0;
    filled_ = got > 0 ? static_cast<std::size_t>(got) : 0;
    offset_ = 0;
    return filled_ > 0;
}

const ListedEntry* DirectoryEntries::next() {
    while (offset_ < filled_) {
        const char* entry = buffer_.get() + offset_;
        std::uint16_t length = 0;
        std::memcpy(&length, entry + offsetof(dirent64, d_reclen), sizeof length);
        offset_ += length;
        const char* name = entry + offsetof(dirent64, d_name);
        if (isSelfOrParent(name)) continue;
        if (entriesLeft_ == 0) {
            errorNumber_ = EOVERFLOW;
            filled_ = 0;
            return nullptr;
        }
        --entriesLeft_;
        entry_.name = name;
        std::memcpy(&entry_.inode, entry + offsetof(dirent64, d_ino), sizeof entry_.inode);
        const auto type = static_cast<unsigned char>(entry[offsetof(dirent64, d_type)]);
        entry_.isFolder = type == DT_DIR;
        entry_.isOfUnknownType = type == DT_UNKNOWN;
        return &entry_;
    }
    return nullptr;
}

}  // namespace KestrelCore
