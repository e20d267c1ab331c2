#pragma once

#include <cstdint>

namespace KestrelCore {

/// Whether an occurrence that ends with the scalar `last` does not count because of the scalar `next` behind it, which
/// makes its last character longer: a mark, the skin tone of an emoji, more of a Hangul syllable. Both are scalars of a
/// decomposed text.
[[nodiscard]] bool refusesOccurrence(std::int32_t last, std::int32_t next);

}  // namespace KestrelCore
