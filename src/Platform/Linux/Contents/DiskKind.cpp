#include "Platform/DiskKind.hpp"

#include "Platform/Linux/Contents/DiskQueue.hpp"

#include "Platform/Linux/MountTable.hpp"
#include "Platform/Linux/SystemFile.hpp"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <system_error>

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

DiskKind diskKindOf(std::string_view place, std::string_view rotational) {
    if (rotational.starts_with('0')) return DiskKind::solid;
    // What a virtual machine gives says that it rotates unless its host knew better, and mostly does not.
    const bool isVirtual = place.find("/virtio") != std::string_view::npos ||
                           place.find("/vmbus") != std::string_view::npos ||
                           place.find("/vbd-") != std::string_view::npos;
    return rotational.starts_with('1') && !isVirtual ? DiskKind::rotating : DiskKind::unknown;
}

DiskKind diskKind(std::uint64_t device) {
    const auto disk = diskBehind(device);
    if (!disk) return DiskKind::unknown;
    const std::string link = "/sys/dev/block/" + numberText(*disk);
    std::error_code error;
    const std::string place = std::filesystem::read_symlink(link, error).string();
    // A partition has no queue; its disk is the folder above.
    std::string rotational = SystemFile::attribute(link + "/queue/rotational");
    if (rotational.empty()) rotational = SystemFile::attribute(link + "/../queue/rotational");
    return diskKindOf(place, rotational);
}

}  // namespace KestrelCore
