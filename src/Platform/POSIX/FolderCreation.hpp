#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <optional>
#include <string>

namespace KestrelCore {

/// The bytes of a path as the system takes them; empty when it holds a NUL, which no path of the system can.
[[nodiscard]] std::optional<std::string> systemPath(const Text& path);

/// Creates a folder and the missing ones above it, for this user only. An existing folder, or
/// a link to one, is a success. Throws `PlatformError`.
void createFolders(const Text& path);

/// The name of the volume that holds `path`, or would hold it: the last component of its mount point, "/" at the root.
/// Empty when that can't be told.
[[nodiscard]] Text volumeName(const Text& path);

}  // namespace KestrelCore
