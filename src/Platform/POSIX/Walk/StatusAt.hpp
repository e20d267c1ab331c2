#pragma once

#include "Platform/FileStatus.hpp"

#include <cstdint>

namespace KestrelCore {

/// The largest number of allocated bytes that an entry may claim. No disk of today holds such a file; a hostile volume
/// can claim one, and sums of such claims would overflow.
inline constexpr std::int64_t largestAllocation = std::int64_t{1} << 50;

/// Looks at the item `name` in the open folder `folder`, or with an empty name at what `folder` itself is. Links are
/// not followed and automounts not triggered. Gives 0, or the errno value when that fails; an item that claims a size
/// that is no 64-bit signed number, or more than `largestAllocation`, fails with EOVERFLOW.
/// `mount` becomes the identifier of the mount that the item is on, 0 where the kernel does not tell.
[[nodiscard]] int statusAt(int folder, const char* name, FileStatus& status, std::uint64_t& mount) noexcept;

}  // namespace KestrelCore
