#pragma once

#include "Platform/Traversal.hpp"

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

namespace KestrelCore {

/// One item below the root of an enumeration.
struct EnumeratedItem {
    std::string_view path;  ///< raw bytes below the root, without leading slash; valid during the call
    bool isDirectory = false;
    /// What the item adds to the sum of all: 0 for a further name of a file that was given before. Absent for a
    /// directory, and where it can't be told.
    std::optional<std::int64_t> allocatedBytes;
};

/// Visits everything that `walk` has below its root, in its order; nothing when the root is no folder. `visit` returns
/// false to stop. Folders that can't be read are passed over, as the walk gives what it could read of them.
void enumerateBelow(Traversal& walk, const std::function<bool(const EnumeratedItem&)>& visit);

/// The sum of what `enumerateBelow` gives. What can't be measured counts 0. Stops the process when the sum overflows:
/// the walks over real disks count a claim that would bring it near as one that can't be measured.
[[nodiscard]] std::int64_t allocatedBytesBelow(Traversal& walk);

}  // namespace KestrelCore
