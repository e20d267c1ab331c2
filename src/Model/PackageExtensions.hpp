#pragma once

#include <algorithm>
#include <array>
#include <string_view>

namespace KestrelCore {

/// Whether a directory with that extension (lowercased, without the dot) is a package.
[[nodiscard]] constexpr bool isPackageExtension(std::string_view extension) {
    constexpr std::array<std::string_view, 7> packageExtensions{"app",    "appex",    "bundle",     "framework",
                                                                "plugin", "prefpane", "qlgenerator"};
    return std::ranges::find(packageExtensions, extension) != packageExtensions.end();
}

}  // namespace KestrelCore
