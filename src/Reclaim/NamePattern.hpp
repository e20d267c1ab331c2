#pragma once

#include <cstddef>
#include <string_view>

namespace KestrelCore {

/// Whether a pattern is more than a name: `*` stands for any characters, `?` for one.
[[nodiscard]] inline bool isPattern(std::string_view text) {
    return text.find_first_of("*?") != std::string_view::npos;
}

/// Whether a name fits a pattern; both well-formed UTF-8. Takes at most as long as both lengths multiplied.
[[nodiscard]] bool fitsPattern(std::string_view name, std::string_view pattern);

}  // namespace KestrelCore
