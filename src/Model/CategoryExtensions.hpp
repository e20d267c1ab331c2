#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace KestrelCore {

enum class ItemCategory : std::uint8_t;

/// The extensions of a category, lower case; none of `other`, whose are all that are in no list.
[[nodiscard]] std::vector<std::string_view> extensionsOf(ItemCategory category);

}  // namespace KestrelCore
