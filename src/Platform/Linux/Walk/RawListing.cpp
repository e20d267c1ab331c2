#include "Platform/Linux/Walk/RawListing.hpp"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <dirent.h>
#include <sys/types.h>

namespace KestrelCore::RawListing {

long fill(int folder, std::vector<char>& buffer) {
    constexpr std::size_t pieceBytes = std::size_t{128} << 10;
    buffer.resize(pieceBytes);
    for (;;) {
        const ssize_t got = ::getdents64(folder, buffer.data(), buffer.size());
        if (got >= 0) return got;
        if (errno == ENOENT) return 0;
        if (errno != EINTR) return -errno;
    }
}

RawEntry next(const std::vector<char>& buffer, std::size_t& offset) {
    const char* entry = buffer.data() + offset;
    RawEntry result;
    std::uint16_t length = 0;
    std::memcpy(&result.inode, entry + offsetof(dirent64, d_ino), sizeof result.inode);
    std::memcpy(&length, entry + offsetof(dirent64, d_reclen), sizeof length);
    result.isFolder = static_cast<unsigned char>(entry[offsetof(dirent64, d_type)]) == DT_DIR;
    result.name = entry + offsetof(dirent64, d_name);
    offset += length;
    return result;
}

}  // namespace KestrelCore::RawListing
