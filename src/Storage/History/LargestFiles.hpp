#pragma once

#include "Snapshot/RecordStorage.hpp"
#include "Storage/History/FolderTable.hpp"
#include "Storage/History/RecordMaker.hpp"
#include "Storage/History/RecordSelection.hpp"
#include "Storage/History/StreamView.hpp"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace KestrelCore {

/// The largest of the files that a selection takes.
struct LargestFiles {
    std::vector<std::uint32_t> positions;  ///< ascending; more than were asked for where several are as large
    std::int64_t otherFiles = 0;           ///< that it takes, too
    std::int64_t otherBytes = 0;  ///< what those have allocated, further hard links left out; never past 2^63 - 1

    /// Reads the columns that a selection by values looks at, and no name. `folderOf` has the folder of the storage for
    /// each of the table's. What comes is not whole where the selection was given up meanwhile. Throws what reading
    /// throws.
    [[nodiscard]] static LargestFiles of(const StreamView& files, const std::vector<StreamView::ChunkUse>& chunks,
                                         const FolderTable& table,
                                         const std::vector<RecordStorage::FolderIndex>& folderOf,
                                         const RecordMaker& maker, const RecordSelection& selection, unsigned threads);
};

}  // namespace KestrelCore
