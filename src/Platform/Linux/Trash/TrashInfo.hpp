#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace KestrelCore {

// What the trash specification of freedesktop.org, version 1.0, writes down about an item.

/// Every byte of a path but letters, digits, "-._~" and "/" as %XX.
[[nodiscard]] std::string percentEncodedPath(std::string_view bytes);

/// The text of an info file. `path` is absolute in the home trash, relative to the top of the volume elsewhere.
[[nodiscard]] std::string trashInfoText(std::string_view path, const std::tm& localTime);
/// The path that an info file names, as raw bytes. Untrusted input: empty for anything that is not understood.
[[nodiscard]] std::optional<std::string> pathOfTrashInfo(std::string_view text);

/// When that was, as the local clock has it in an info file. Untrusted input: as above, also for a day that no calendar
/// has.
[[nodiscard]] std::optional<std::time_t> dateOfTrashInfo(std::string_view text);

/// The largest name that leaves room for the ending of its info file.
inline constexpr std::size_t longestTrashName = 255 - 10;
/// `name`, cut between characters, followed by `distinction` (such as " 2", or nothing): `longest` bytes at most.
[[nodiscard]] std::string trashName(std::string_view name, std::string_view distinction, std::size_t longest);

}  // namespace KestrelCore
