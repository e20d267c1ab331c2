#include "Platform/DiskKind.hpp"

#include "Platform/Linux/MountTable.hpp"
#include "Platform/Linux/SystemFile.hpp"

#include <optional>
#include <string>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace KestrelCore {

namespace {

std::string numberText(std::uint64_t device) {
    return std::to_string(major(device)) + ':' + std::to_string(minor(device));
}

/// Some file systems have a number of their own beside that of their disk; the mount table names the disk.
std::optional<std::uint64_t> diskBehind(std::uint64_t device) {
    if (major(device) != 0) return device;
    const auto table = MountTable::current();
    if (!table) return std::nullopt;
    const std::string number = numberText(device);
    for (const Mount& mount : table->mounts) {
        struct stat status {};
        if (mount.device == number && mount.source.starts_with("/dev/") && stat(mount.source.c_str(), &status) == 0 &&
            S_ISBLK(status.st_mode))
            return status.st_rdev;
    }
    return std::nullopt;
}

}  // namespace

DiskKind diskKind(std::uint64_t device) {
    const auto disk = diskBehind(device);
    if (!disk) return DiskKind::unknown;
    const std::string folder = "/sys/dev/block/" + numberText(*disk);
    // A partition has no queue; its disk is the folder above.
    for (const char* place : {"/queue/rotational", "/../queue/rotational"}) {
        const std::string answer = SystemFile::attribute(folder + place);
        if (answer.starts_with('1')) return DiskKind::rotating;
        if (answer.starts_with('0')) return DiskKind::solid;
    }
    return DiskKind::unknown;
}

}  // namespace KestrelCore
