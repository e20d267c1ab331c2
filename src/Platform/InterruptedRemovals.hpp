#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <cstddef>
#include <vector>

namespace KestrelCore {

/// What removals for good that were interrupted left in a folder.
struct InterruptedRemovals {
    std::vector<Text> names;  ///< the first of them, sorted; at most `mostNames`
    std::size_t count = 0;    ///< of all

    static constexpr std::size_t mostNames = 3;

    /// Looks for them in `folder`. Only what belongs to this user counts: others may plant such names wherever they can
    /// write. Nothing for a folder that can't be listed. Any thread; blocks on the disk.
    [[nodiscard]] static InterruptedRemovals in(const Text& folder);
};

}  // namespace KestrelCore
