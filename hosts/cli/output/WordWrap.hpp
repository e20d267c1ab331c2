#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace KestrelCLI {

/// `text` in lines of at most `columns`, parted at blanks; lines after the first begin with `indent` blanks. A word
/// that is longer than a line stays whole. New lines in `text` stay. Without a newline at the end.
[[nodiscard]] std::string wrappedWords(std::string_view text, std::size_t columns, std::size_t indent);

}  // namespace KestrelCLI
