#pragma once

#include <span>
#include <string_view>

namespace KestrelCore {

/// A file of the catalogue, as the build has put it into the library.
struct ShippedRule {
    std::string_view file;  ///< its name
    std::string_view text;
};

/// All of them, in the order of their names.
[[nodiscard]] std::span<const ShippedRule> shippedRules();

}  // namespace KestrelCore
