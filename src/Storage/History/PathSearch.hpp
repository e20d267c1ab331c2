#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "Storage/History/FolderTable.hpp"
#include "Storage/History/StreamView.hpp"

#include <cstdint>
#include <vector>

namespace KestrelCore {

/// Where a path leads in a generation, under canonical equivalence: mostly to one folder or one file. Irregular records
/// are not looked at.
struct PathPlaces {
    std::vector<std::uint32_t> folders;  ///< with that path, with a record or without
    std::vector<std::uint32_t> files;    ///< positions in the stream of files
    std::vector<std::uint32_t> above;    ///< the folders on the way
};

/// Looks for all paths in one walk: what is in a folder is read once, and only where something is looked for.
/// One answer for each path, in their order.
[[nodiscard]] std::vector<PathPlaces> placesOf(const std::vector<Text>& paths, const FolderTable& table,
                                               const GenerationRows& rows);

}  // namespace KestrelCore
