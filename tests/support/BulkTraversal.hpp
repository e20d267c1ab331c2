#pragma once

#include "Platform/Traversal.hpp"
#include "Platform/macOS/Volumes/Portable/VolumeTable.hpp"
#include "support/BulkRecordBytes.hpp"

#include <functional>
#include <memory>

namespace KestrelCore {

/// How a made `getattrlistbulk` answers.
struct BulkSetting {
    /// Changes what is said of an entry; called by the threads that read ahead, several at once.
    std::function<void(MadeBulkRecord&)> adjust{};
    VolumeTable volumes{};
    int refusal = 0;           ///< errno value of every call
    int refusalOfTheRest = 0;  ///< of those that would go on in the middle of a folder
};

/// The walk of macOS over a real tree whose folders are put into records as the system would give them, a few hundred
/// at a time.
[[nodiscard]] std::unique_ptr<Traversal> openBulkTraversal(const TraversalOptions& options, BulkSetting setting = {});

}  // namespace KestrelCore
