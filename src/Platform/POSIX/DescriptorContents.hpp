#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace KestrelCore {

// All the bytes behind an open descriptor. What a name may lead to, and whether it is followed, is decided where it was
// opened: `SmallFile` does that for files of users, `SystemFile` for those that the kernel writes.

/// What can be read up to the end. Empty when that fails or is more than `limit` bytes.
[[nodiscard]] std::optional<std::string> contentsOfDescriptor(int descriptor, std::size_t limit);

/// Writes all bytes. 0, or the errno value.
[[nodiscard]] int writeAll(int descriptor, std::string_view bytes);

}  // namespace KestrelCore
