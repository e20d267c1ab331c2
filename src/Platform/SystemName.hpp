#pragma once

#include <string_view>

namespace KestrelCore {

/// What files that are about one system or another call this one: "linux" or "macos".
[[nodiscard]] std::string_view systemName();

}  // namespace KestrelCore
