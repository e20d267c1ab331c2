#include "Platform/FileStatus.hpp"

#include "Platform/Linux/Walk/StatusAt.hpp"

#include <cerrno>
#include <fcntl.h>

namespace KestrelCore {

FileStatusResult fileStatus(const std::string& path) {
    // The empty name means "the folder itself" to `statusAt`, and the system would not see what follows a NUL.
    if (path.empty()) return {std::nullopt, ENOENT};
    if (path.find('\0') != std::string::npos) return {std::nullopt, EINVAL};
    FileStatus status;
    std::uint64_t mount = 0;
    if (const int error = statusAt(AT_FDCWD, path.c_str(), status, mount); error != 0) return {std::nullopt, error};
    return {status, 0};
}

}  // namespace KestrelCore
