#pragma once

#include "output/Session.hpp"

#include <string_view>

namespace KestrelCLI {

/// Writes a sentence or more, already escaped, and the end of the line to standard output: on a terminal with lines
/// that break between words, elsewhere as one line.
void writeParagraph(const Session& session, std::string_view text);

}  // namespace KestrelCLI
