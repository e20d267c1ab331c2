#pragma once

#include "Applications/Bundles/PropertyList.hpp"

namespace KestrelCore {

/// Reads the old-style text form, `{ key = value; … }`, and .strings files, which leave out the outer braces. The bytes
/// are UTF-8, or UTF-16 in either order with or without a byte order mark. Values within values are checked and left
/// out. Empty for what is no dictionary, is damaged, or passes a limit.
[[nodiscard]] std::optional<PropertyListStrings> parseTextPropertyList(std::string_view bytes);

}  // namespace KestrelCore
