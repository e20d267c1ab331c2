#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"

#include <cstdint>
#include <optional>
#include <string>

namespace KestrelCore {

/// What must be known of a folder before it is moved to the trash.
struct FolderSurvey {
    std::uint64_t allocatedBytes = 0;  ///< of everything in it and itself; hard links count once
    /// A folder in it, relative to it (empty: the folder itself), whose content its user could never empty from the
    /// trash: it is another user's, not empty, and not writable, or sticky with others' items in it. Raw bytes.
    std::optional<std::string> foreignFolder;
    /// A folder in it, relative to it, where a mount or a subvolume begins; nothing in that is looked at.
    std::optional<std::string> mountPoint;
};

/// Looks at everything in `folder`, which must be open for reading: never through a link, any depth. Ends early at a
/// folder that forbids the move, and after a cancellation. What lies in folders that can't be entered is not counted.
[[nodiscard]] FolderSurvey surveyFolder(FileDescriptor folder, const CancellationToken& cancellation);

}  // namespace KestrelCore
