#pragma once

#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <optional>

namespace KestrelCore {

/// Moves an item to the trash of its volume and returns its new place. Throws `PlatformError`. Never copies.
std::optional<URL> moveToTrash(const URL& url, const std::optional<ExpectedItem>& expected);

}  // namespace KestrelCore
