#pragma once

#include "KestrelCore/Snapshot/FolderListing.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <optional>
#include <string>
#include <vector>

namespace KestrelCore::testing {

/// A listing made by looking at every record of the snapshot, which has no two with the same path.
[[nodiscard]] std::optional<FolderListing> plainListing(const ScanSnapshot& snapshot, const Text& path);

/// All that a listing says, a line for the folder and one for each entry; "none" for none. Two listings that read the
/// same and whose records are equal are the same.
[[nodiscard]] std::vector<std::string> linesOf(const std::optional<FolderListing>& listing);

/// Every path that may be listed, and some that may not: those of all records and their parents, and of all folders
/// above.
[[nodiscard]] std::vector<Text> pathsToList(const ScanSnapshot& snapshot);

}  // namespace KestrelCore::testing
