#include "Platform/Volumes.hpp"

#include "Platform/Linux/MountTable.hpp"
#include "Platform/Linux/Sensors/DiskText.hpp"
#include "Platform/Linux/SystemFile.hpp"
#include "Platform/Linux/SystemReaders.hpp"

#include <algorithm>
#include <fcntl.h>
#include <fmt/format.h>
#include <limits>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <utility>

namespace KestrelCore {
namespace {

constexpr std::size_t mostVolumes = 64;

/// Blocks as bytes; a file system may claim anything.
std::int64_t bytesOf(std::uint64_t blocks, std::uint64_t blockBytes) {
    constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (blockBytes != 0 && blocks > largest / blockBytes) return static_cast<std::int64_t>(largest);
    return static_cast<std::int64_t>(blocks * blockBytes);
}

class LinuxVolumes final : public Volumes {
public:
    LinuxVolumes(const std::string& procFolder, const std::string& sysFolder)
        : statisticsPath_{procFolder + "/diskstats"}, mountsPath_{procFolder + "/self/mountinfo"},
          blockFolder_{sysFolder + "/block"} {}

    std::vector<MountedVolume> mounted() override {
        std::vector<MountedVolume> result;
        const auto text = SystemFile::contents(mountsPath_);
        if (!text) return result;
        const MountTable table = MountTable::parse(*text);
        const std::vector<DiskText::Line> lines = statistics();
        for (const Mount* mount : DiskText::volumesOf(table, mostVolumes)) {
            struct statvfs room {};
            if (statvfs(mount->point.c_str(), &room) != 0 || room.f_blocks == 0) continue;
            const auto counted = std::ranges::find(lines, countedDevice(*mount), &DiskText::Line::device);
            result.push_back({.mountPoint = Text{mount->point},
                              .fileSystem = Text{mount->type},
                              .device = Text{mount->source},
                              .counters = counted == lines.end() ? std::string{} : counted->name,
                              .totalBytes = bytesOf(room.f_blocks, room.f_frsize),
                              .freeBytes = bytesOf(room.f_bfree, room.f_frsize),
                              .availableBytes = bytesOf(room.f_bavail, room.f_frsize)});
        }
        return result;
    }

    std::vector<DiskCounters> disks() override {
        std::vector<DiskCounters> result;
        const std::vector<std::string> whole = SystemFile::names(blockFolder_);
        for (DiskText::Line& line : statistics()) {
            const bool isWhole = std::ranges::binary_search(whole, line.name) && isDisk(line.name);
            result.push_back({.name = std::move(line.name),
                              .isWhole = isWhole,
                              .readBytes = line.readBytes,
                              .writtenBytes = line.writtenBytes});
        }
        return result;
    }

private:
    std::vector<DiskText::Line> statistics() {
        const auto text = SystemFile::whole(AT_FDCWD, statisticsPath_.c_str(), buffer_);
        return DiskText::diskStatistics(text.value_or(std::string_view{}));
    }

    /// The number by which the volume's disk is counted: its own, but for one that spans disks the first of those.
    static std::string countedDevice(const Mount& mount) {
        struct stat status {};
        if (!mount.device.starts_with("0:") || !mount.source.starts_with("/dev/")) return mount.device;
        if (stat(mount.source.c_str(), &status) != 0 || !S_ISBLK(status.st_mode)) return mount.device;
        return fmt::format("{}:{}", major(status.st_rdev), minor(status.st_rdev));
    }

    /// Not what is made of other disks (device mapper, arrays) or of memory: its bytes are counted there, or are none.
    static bool isDisk(std::string_view name) {
        return std::ranges::none_of(std::initializer_list<std::string_view>{"loop", "ram", "zram", "dm-", "md"},
                                    [name](std::string_view prefix) { return name.starts_with(prefix); });
    }

    std::string statisticsPath_;
    std::string mountsPath_;
    std::string blockFolder_;
    std::string buffer_;
};

}  // namespace

std::unique_ptr<Volumes> volumes(const std::string& procFolder, const std::string& sysFolder) {
    return std::make_unique<LinuxVolumes>(procFolder, sysFolder);
}

std::unique_ptr<Volumes> Volumes::system() { return volumes("/proc", "/sys"); }

}  // namespace KestrelCore
