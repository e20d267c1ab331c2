#pragma once

#include "Reclaim/ItemClaims.hpp"

#include <cstdint>
#include <vector>

namespace KestrelCore {

/// A file with several names in the scan, one of which counts for its bytes in an item that was claimed.
struct SharedInode {
    std::int64_t bytes = 0;
    std::uint32_t item = 0;               ///< of `ItemClaims::items`: where the name lies that counts
    std::vector<std::uint32_t> others{};  ///< of the other names: which item they lie in, or `ItemClaims::none`
};

/// All of them. Reads one thin column of all files, and the numbers of inodes only where there are further names.
/// Throws what reading throws.
[[nodiscard]] std::vector<SharedInode> sharedInodes(const OpenGeneration& generation, const FolderFacts& facts,
                                                    const ItemClaims& claims);

}  // namespace KestrelCore
