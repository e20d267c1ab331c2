#pragma once

#include "output/TerminalText.hpp"
#include "terminal/ScreenKey.hpp"

#include <cstddef>
#include <string>
#include <string_view>

namespace KestrelCLI {

/// `text` (already escaped) in at most `columns`, its middle given up for "…".
[[nodiscard]] std::string fitted(std::string_view text, std::size_t columns, Characters characters);

/// The beginning of `text` (already escaped) in at most `columns`.
[[nodiscard]] std::string clipped(std::string_view text, std::size_t columns, Characters characters);

/// The beginning of a line in at most `columns`.
[[nodiscard]] ScreenLine clipped(const ScreenLine& line, std::size_t columns, Characters characters);

/// A line that is chosen: one bar from edge to edge, whatever the colours were.
[[nodiscard]] ScreenLine chosenLine(const ScreenLine& line, std::size_t columns, Characters characters);

/// A bar of `columns` columns, filled to `fraction` of 1.
[[nodiscard]] std::string pageBar(double fraction, std::size_t columns, Characters characters);

}  // namespace KestrelCLI
