#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// The folders of the system's own volume in whose place those of the data volume are seen: what is /Users to everybody
/// is the folder Users of the volume that is mounted at /System/Volumes/Data.
struct Firmlinks {
    struct Link {
        std::string place;   ///< where it is seen, absolute
        std::string folder;  ///< absolute from the top of the data volume

        bool operator==(const Link&) const = default;
    };
    std::vector<Link> links;

    /// Reads the text of /usr/share/firmlinks: a line for each, the place, a tab, and the folder without its first
    /// slash. Lines that are not understood are left out.
    [[nodiscard]] static Firmlinks parse(std::string_view text);

    /// Where people see `path` (absolute, standardised), when it lies on the data volume by the name of that volume's
    /// own place; else the path itself.
    [[nodiscard]] std::string seen(std::string_view path, std::string_view dataVolume) const;
    /// Whether one is seen at `folder` or below it.
    [[nodiscard]] bool isAnyBelow(std::string_view folder) const;
};

}  // namespace KestrelCore
