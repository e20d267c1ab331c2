#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Reclaim/DuplicateGroup.hpp"

#include <cstdint>
#include <functional>
#include <optional>

namespace KestrelCore {

/// Lets equal files stand in the same blocks, where the file system can: no path, no content and no date changes, and
/// each file stays one of its own. The system compares the contents itself, whoever writes to them meanwhile.
class KESTRELCORE_EXPORT DuplicateSharing {
public:
    struct Result {
        std::int64_t freedBytes = 0;  ///< blocks that `other` alone had before and does not any more
        /// Why not all of it has common blocks now, as a finished sentence; what has stays so.
        std::optional<Text> failure{};
        bool isUnsupported = false;  ///< of a failure: the file system can't, and will not the next time
    };
    /// Gives `other` the blocks of `kept`; both must still be the files of their identities, and of one length. Told of
    /// each piece that was done. Any thread; reads both files.
    [[nodiscard]] static Result share(const DuplicateFile& kept, const DuplicateFile& other,
                                      const CancellationToken& cancellation = {},
                                      const std::function<void(std::int64_t bytes)>& onDone = {});
};

}  // namespace KestrelCore
