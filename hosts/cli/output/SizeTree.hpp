#pragma once

#include "output/Session.hpp"

#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCLI {

/// How much of a snapshot is shown.
struct TreeLimits {
    std::size_t depth = 2;  ///< levels below the root
    std::size_t top = 10;   ///< items of one folder; below the first level also only those of at least 1 % of the total
};

/// One line of the tree: an item, or what a folder holds beside the items shown.
struct TreeLine {
    std::string branch;                             ///< the lines of the tree before the name; empty for the root
    std::optional<KestrelCore::FileRecord> record;  ///< absent for a remainder
    std::int64_t bytes = 0;                         ///< what the line stands for
    std::size_t moreItems = 0;                      ///< of a remainder: how many items it holds
};

/// The root and the largest items below it, each folder followed by its own. Empty when the snapshot has no record at
/// its root.
[[nodiscard]] std::vector<TreeLine> sizeTree(const KestrelCore::ScanSnapshot& snapshot, const TreeLimits& limits);

/// A folder and its first `limit` children, and a line for the rest. `children` come largest first.
[[nodiscard]] std::vector<TreeLine> folderListing(const KestrelCore::FileRecord& folder,
                                                  const std::vector<KestrelCore::FileRecord>& children,
                                                  std::size_t limit);

/// The `count` files that take the most space, largest first, equal ones in the order of the records (of a scan: by
/// path). Empty files and further links to a file that was counted are left out. The depth of folders costs nothing.
[[nodiscard]] std::vector<KestrelCore::FileRecord> largestFiles(const KestrelCore::ScanSnapshot& snapshot,
                                                                std::size_t count);

/// The tree as it is shown: size, share of the total, bar, name.
void writeTree(const Session& session, const std::vector<TreeLine>& lines, std::int64_t totalBytes);

/// The same columns without a tree, each path on a terminal relative to `root`, elsewhere whole.
void writeFiles(const Session& session, const std::vector<KestrelCore::FileRecord>& files,
                const KestrelCore::Text& root, std::int64_t totalBytes);

}  // namespace KestrelCLI
