#pragma once

#include "KestrelCore/Storage/Generation.hpp"

#include <string>
#include <string_view>

namespace KestrelCore {

// How a history keeps what a generation's own columns do not say of how it was made: one JSON object with "leftOut",
// "crossesMounts", "sourceName" and "sourceHost", each only where there is something to say, so that of most
// generations the text is empty. Keys that are not known are passed over: more can be said without another format.

/// Origin and completeness, which have columns of their own, left out. Empty where nothing is to be said.
[[nodiscard]] std::string provenanceText(const GenerationProvenance& provenance);
/// Throws `DecodingError` for what `provenanceText` does not write.
[[nodiscard]] GenerationProvenance readProvenance(std::string_view text);

}  // namespace KestrelCore
