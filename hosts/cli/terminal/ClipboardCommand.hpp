#pragma once

#include <string>
#include <string_view>

namespace KestrelCLI {

/// What asks the terminal to put `text` (any bytes) on its clipboard (OSC 52). Empty where that would be seen instead
/// of obeyed, as on a console, or where the text is longer than terminals take (74,994 bytes).
///
/// @param terminalType what TERM says
[[nodiscard]] std::string clipboardCommand(std::string_view text, std::string_view terminalType);

}  // namespace KestrelCLI
