#pragma once

#include "Applications/Bundles/PropertyList.hpp"

#include <optional>
#include <string_view>

namespace KestrelCore {

/// Reads a property list of any form: binary, XML, or the old-style text with or without outer braces (a .strings
/// file), in UTF-8 or UTF-16. Empty when it is no dictionary, is damaged, or passes a limit. Never more than 64 MiB of
/// memory and a number of steps in proportion to the limits, whatever the bytes are.
[[nodiscard]] std::optional<PropertyListStrings> readPropertyList(std::string_view bytes);

}  // namespace KestrelCore
