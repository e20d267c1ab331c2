#pragma once

#include "Platform/POSIX/Walk/FolderSource.hpp"
#include "Platform/macOS/Volumes/Portable/VolumeTable.hpp"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace KestrelCore {

/// What is mounted is entered where people see it, once, and not at all when the walk sees what is on it elsewhere: by
/// the table as it was when the plan was made. What the table does not know is entered where it is met first.
class VolumeCrossing final : public CrossingPlan {
public:
    /// `root` is the walk's, standardised; `realRoot` is the same without links.
    VolumeCrossing(MountCrossing crossing, VolumeTable table, std::string root, std::string_view realRoot,
                   const FileStatus& status);

    [[nodiscard]] std::optional<TraversalMount> enter(const MountCrossingPlace& place) override;

private:
    MountCrossing crossing_;
    VolumeTable table_;
    std::string root_;
    std::string seenRoot_;
    std::set<std::pair<std::uint64_t, std::uint64_t>> met_;  ///< devices and inodes of the folders on top
};

}  // namespace KestrelCore
