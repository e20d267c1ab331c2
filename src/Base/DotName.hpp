#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <string_view>

namespace KestrelCore {

/// Whether a name begins with the character ".": what makes it hidden. A dot that carries a combining mark is another
/// character.
[[nodiscard]] inline bool beginsWithDot(std::string_view wellFormedName) {
    if (wellFormedName.empty() || wellFormedName.front() != '.') return false;
    if (wellFormedName.size() == 1 || static_cast<unsigned char>(wellFormedName[1]) < 0x80) return true;
    return Text{wellFormedName}.hasPrefix(Text{"."});
}

}  // namespace KestrelCore
