#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace KestrelCore {

/// The whole content of a file that the system keeps (below /proc or /sys). Empty when it can't be read to its end or
/// is larger than 64 MiB.
[[nodiscard]] std::optional<std::string> contentsOfSmallFile(const std::string& path);

/// The same from an open descriptor, up to `limit` bytes.
[[nodiscard]] std::optional<std::string> contentsOfDescriptor(int descriptor, std::size_t limit);

/// Writes all bytes. 0, or the errno value.
[[nodiscard]] int writeAll(int descriptor, std::string_view bytes);

}  // namespace KestrelCore
