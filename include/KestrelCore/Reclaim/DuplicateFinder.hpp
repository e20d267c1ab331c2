#pragma once

#include "KestrelCore/Base/EventStream.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Reclaim/DuplicateGroup.hpp"
#include "KestrelCore/Reclaim/DuplicateOptions.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <variant>

namespace KestrelCore {

/// What a search emits: thinned progress reports, then the report, which is the last.
using DuplicateEvent = std::variant<DuplicateProgress, DuplicateReport>;

/// Finds equal files among those of a scan: by length, then by a hash of beginning and end, then by one of everything
/// (128 bits). Sizes, dates and identities are those of the scan; each file that is opened must still be as it says.
/// Only regular files are read, never through a link, never one whose content is elsewhere.
///
/// Disks that rotate are read by one thread and in the order in which files lie on them, others by several.
class KESTRELCORE_EXPORT DuplicateFinder {
public:
    /// Starts a search among what lies below `folder`, an absolute path, on threads of its own and returns at once.
    /// Cancelling or dropping the stream ends it at its next look, without an error and without a report.
    [[nodiscard]] static EventStream<DuplicateEvent> find(const ScanSnapshot& snapshot, const Text& folder,
                                                          const DuplicateOptions& options = {});
};

}  // namespace KestrelCore
