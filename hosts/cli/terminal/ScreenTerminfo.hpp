#pragma once

#include "terminal/ScreenColor.hpp"
#include "terminal/ScreenWriter.hpp"

namespace KestrelCLI {

/// The colours of the terminal that ncurses works on. All colours where COLORTERM says so ("truecolor", "24bit"), or
/// its description does.
[[nodiscard]] ColorDepth terminalColors();

/// The commands of that terminal, from its description.
[[nodiscard]] ScreenCommands terminalCommands(ColorDepth depth);

}  // namespace KestrelCLI
