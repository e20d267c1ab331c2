#pragma once

#include "Applications/Bundles/PropertyList.hpp"

namespace KestrelCore {

// The system's own decoders. They trust their input, so that only what passed the checks may come here.

/// Empty when the bytes are no sound property list or no dictionary.
[[nodiscard]] std::optional<PropertyListStrings> decodeBinaryPropertyList(std::string_view bytes);
[[nodiscard]] std::optional<PropertyListStrings> decodeXMLPropertyList(std::string_view bytes);

}  // namespace KestrelCore
