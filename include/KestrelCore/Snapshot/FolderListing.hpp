#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileRecord.hpp"

#include <cstdint>
#include <vector>

namespace KestrelCore {

/// What lies below a folder, the folder itself left out.
struct FolderSums {
    std::int64_t items = 0;
    std::int64_t allocatedBytes = 0;  ///< on disk; further hard links count for none
    /// Lengths of contents, folders' own too, as `ScanSnapshot::withLogicalSizes` counts them; further hard links count
    /// for none.
    std::int64_t apparentBytes = 0;

    bool operator==(const FolderSums&) const = default;
};

/// An item of a folder, and what lies below it.
struct KESTRELCORE_EXPORT FolderEntry {
    FileRecord record;
    FolderSums below{};      ///< of a folder or package; else zeros
    bool isComplete = true;  ///< false while a scan that runs may still find more below it
};

/// A folder as a person looks into it.
struct KESTRELCORE_EXPORT FolderListing {
    Text path;
    FolderSums below{};
    bool isComplete = true;            ///< false while a scan that runs may still find more
    std::vector<FolderEntry> entries;  ///< largest `displayBytes` first, equal sizes by name
};

}  // namespace KestrelCore
