#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <cstddef>
#include <map>
#include <optional>
#include <string_view>

namespace KestrelCore {

/// The string values of a property list's dictionary. A key whose value is no string is there without one: it still
/// stands before an equal key elsewhere.
using PropertyListStrings = std::map<Text, std::optional<Text>>;

/// What a property list may hold before it is called hostile and not read at all. Real ones stay far below.
struct PropertyListLimits {
    static constexpr std::size_t fileBytes = std::size_t{1} << 20;
    static constexpr std::size_t nesting = 64;         ///< containers within one another
    static constexpr std::size_t objects = 100'000;    ///< shared ones counted wherever they are used
    static constexpr std::size_t payload = 4'000'000;  ///< bytes of all strings and data, shared ones counted likewise
};

/// Reads a property list of any form: binary, XML, or the old-style text with or without outer braces (a .strings
/// file), in UTF-8 or UTF-16. Empty when it is no dictionary, is damaged, or passes a limit. Never more than 64 MiB of
/// memory and a number of steps in proportion to the limits, whatever the bytes are.
[[nodiscard]] std::optional<PropertyListStrings> readPropertyList(std::string_view bytes);

// The three forms, each read within the limits and refused where it holds anything that is not understood. Values
// within values are checked and left out.

/// Empty unless every object that the root reaches lies inside the file, has a known type and holds no part of itself.
[[nodiscard]] std::optional<PropertyListStrings> readBinaryPropertyList(std::string_view bytes);

/// The bytes are UTF-8 without a byte order mark, whatever encoding they declare. Empty unless the elements are those
/// of a property list and properly nested; a document type has no declarations of its own, so that no entity can be
/// declared.
[[nodiscard]] std::optional<PropertyListStrings> readXMLPropertyList(std::string_view bytes);

/// The old-style text form, `{ key = value; … }`, and .strings files, which leave out the outer braces. The bytes are
/// UTF-8, or UTF-16 in either order with or without a byte order mark.
[[nodiscard]] std::optional<PropertyListStrings> readTextPropertyList(std::string_view bytes);

}  // namespace KestrelCore
