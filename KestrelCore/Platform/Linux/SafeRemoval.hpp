#pragma once

#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <optional>

namespace KestrelCore {

/// Removes an item for good, a folder with everything in it. Throws `PlatformError`. Never through a link.
void removeSafely(const URL& url, const std::optional<ExpectedItem>& expected);

}  // namespace KestrelCore
