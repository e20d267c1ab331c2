#pragma once

#include "Platform/FileSystems.hpp"
#include "Platform/Volumes.hpp"
#include "Platform/macOS/Volumes/Portable/Firmlinks.hpp"
#include "Platform/macOS/Volumes/Portable/MountedFileSystems.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// What is mounted where, by the places at which people see it.
class VolumeTable {
public:
    VolumeTable() = default;
    VolumeTable(std::vector<MountedFileSystem> mounted, Firmlinks firmlinks);

    /// In the system's order; the places are those at which people see them.
    [[nodiscard]] const std::vector<MountedFileSystem>& mounted() const { return mounted_; }
    [[nodiscard]] const Firmlinks& firmlinks() const { return firmlinks_; }
    [[nodiscard]] std::string seen(std::string_view path) const { return firmlinks_.seen(path, dataVolume_); }

    /// What is mounted at `place`, of several the last; null when nothing is.
    [[nodiscard]] const MountedFileSystem* at(std::string_view place) const;
    /// What holds `path`.
    [[nodiscard]] const MountedFileSystem* holding(std::string_view path) const;
    /// What has that number, unless several have it.
    [[nodiscard]] const MountedFileSystem* withDevice(std::uint64_t device) const;

    /// Whether a walk from `root` comes to what is on this one at another place: the data of the volume that the system
    /// starts from, a state of another volume, a folder that is shown a second time.
    [[nodiscard]] bool isSeenElsewhere(const MountedFileSystem& mounted, std::string_view root) const;

    /// See `fileSystemAt`.
    [[nodiscard]] std::optional<FileSystemLayout> layoutAt(std::string_view folder) const;
    /// See `Volumes::mounted`: at most `most`, without the names of counters.
    [[nodiscard]] std::vector<MountedVolume> volumes(std::size_t most) const;

private:
    std::vector<MountedFileSystem> mounted_;
    Firmlinks firmlinks_;
    std::string dataVolume_;  ///< where it is mounted; empty when there is none
};

}  // namespace KestrelCore
