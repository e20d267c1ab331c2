#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace KestrelCore {

// Questions about the components of a path, on bytes: a walk asks them about every entry of a disk.

/// Calls `visit` with each non-empty component.
template <typename Visit>
void forEachComponent(std::string_view path, Visit visit) {
    std::size_t begin = 0;
    while (begin < path.size()) {
        const std::size_t slash = std::min(path.find('/', begin), path.size());
        if (slash > begin) visit(path.substr(begin, slash - begin));
        begin = slash + 1;
    }
}

/// Whether a name begins with the character ".": what makes it hidden. A dot that carries a combining mark is another
/// character.
[[nodiscard]] inline bool beginsWithDot(std::string_view wellFormedName) {
    if (wellFormedName.empty() || wellFormedName.front() != '.') return false;
    if (wellFormedName.size() == 1 || static_cast<unsigned char>(wellFormedName[1]) < 0x80) return true;
    return Text{wellFormedName}.hasPrefix(Text{"."});
}

}  // namespace KestrelCore
