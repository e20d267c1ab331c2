#pragma once

#include "Platform/FileStatus.hpp"
#include "Platform/Linux/MountTable.hpp"
#include "Platform/POSIX/Walk/FolderSource.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace KestrelCore {

/// What is mounted at several places is entered at one, and what is the folder of a file system that the walk sees
/// elsewhere not at all: by the table as it was when the plan was made. What the table does not know, such as a
/// subvolume, is entered where it is met first.
class MountPlan final : public CrossingPlan {
public:
    /// `root` is absolute and standardised; `status` is what it is.
    MountPlan(MountCrossing crossing, MountTable table, std::string_view root, const FileStatus& status);

    [[nodiscard]] std::optional<TraversalMount> enter(const MountCrossingPlace& place) override;

private:
    [[nodiscard]] const Mount* mountOf(const FileStatus& folder, std::uint64_t mount) const;
    [[nodiscard]] const Mount* mountAt(std::string_view path) const;
    [[nodiscard]] bool isSeenElsewhere(const Mount& mount) const;

    MountCrossing crossing_;
    MountTable table_;
    std::string root_;
    std::optional<std::size_t> rootMount_;                   ///< in the table; absent when that does not tell
    std::string rootFolder_;                                 ///< of the file system, that the root shows
    std::set<std::pair<std::uint64_t, std::uint64_t>> met_;  ///< devices and inodes of the folders on top
};

}  // namespace KestrelCore
