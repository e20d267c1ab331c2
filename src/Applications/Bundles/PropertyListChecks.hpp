#pragma once

#include <string_view>

namespace KestrelCore {

// What stands between a property list from a disk and a decoder that believes it. Both look at the structure only, keep
// to `PropertyListLimits`, and refuse whatever they do not understand.

/// Whether every object that the root reaches lies inside the file, has a known type, holds no part of itself, and all
/// of them together stay within the limits.
[[nodiscard]] bool isHarmlessBinaryPropertyList(std::string_view bytes);

/// Whether the elements are those of a property list, properly nested and within the limits. No document type with
/// declarations of its own, so that no entity can be declared.
[[nodiscard]] bool isHarmlessXMLPropertyList(std::string_view bytes);

}  // namespace KestrelCore
