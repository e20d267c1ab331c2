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

}  // namespace KestrelCore
