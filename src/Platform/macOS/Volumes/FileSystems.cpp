#include "Platform/FileSystems.hpp"

#include "Base/BoundedRetry.hpp"
#include "Platform/macOS/Volumes/SystemVolumes.hpp"

#include <sys/mount.h>
#include <sys/param.h>

namespace KestrelCore {

std::optional<FileSystemLayout> fileSystemAt(const std::string& folder) {
    const auto table = currentVolumeTable();
    return table ? table->layoutAt(folder) : std::nullopt;
}

std::optional<FileSystemSpace> fileSystemSpace(const std::string& path) {
    struct statfs room {};
    if (repeatedWhenInterrupted([&] { return ::statfs(path.c_str(), &room); }) != 0) return std::nullopt;
    return FileSystemSpace{.totalBytes = bytesOfBlocks(room.f_blocks, room.f_bsize),
                           .freeBytes = bytesOfBlocks(room.f_bfree, room.f_bsize),
                           .availableBytes = bytesOfBlocks(room.f_bavail, room.f_bsize)};
}

}  // namespace KestrelCore
