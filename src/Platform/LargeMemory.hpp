#pragma once

#include <cstddef>
#include <memory>

namespace KestrelCore {

/// Memory for many megabytes that are filled once. Small pages cost more than what is written to them: the system hands
/// over each by itself, when it is first touched.
struct LargeMemory {
    /// Bytes of no value, aligned for whatever has no demand of its own. In large pages as far as the system has them
    /// and the last one would be full. Throws `std::bad_alloc`.
    [[nodiscard]] static std::shared_ptr<std::byte[]> allocate(std::size_t bytes);
};

}  // namespace KestrelCore
