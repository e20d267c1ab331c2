#pragma once

#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <optional>
#include <string>
#include <vector>

namespace KestrelCore {

/// Removes an item for good, a folder with everything in it. Works on descriptors from the root on: never through a
/// link, never across a mount, and only an item that is the expected one when it is already out of everybody's way
/// under a random name. Throws `PlatformError`; a folder of which a part is left has its old name again.
void removeSafely(const URL& url, const std::optional<ExpectedItem>& expected);

/// Whether a name is one under which an item stands while it is removed. After a crash it still stands there.
[[nodiscard]] bool isRemovalName(std::string_view name);

}  // namespace KestrelCore
