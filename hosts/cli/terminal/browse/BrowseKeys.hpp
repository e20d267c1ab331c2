#pragma once

#include "terminal/ScreenKey.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace KestrelCLI {

/// All keys of the page with what they do, in lines of at most `columns`; those that take something away are left out
/// where `whyReadOnly` says why nothing can be.
[[nodiscard]] std::vector<ScreenLine> browseKeys(std::size_t columns, const std::string& whyReadOnly);

}  // namespace KestrelCLI
