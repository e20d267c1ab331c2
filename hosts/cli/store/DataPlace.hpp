#pragma once

#include "output/Session.hpp"

#include <optional>
#include <string>

// What keeps the program from keeping anything, in words that help: a message about a file of ours says little to
// somebody whose disk is full.

namespace KestrelCLI {

/// Why nothing can be kept in the data folder now, and what helps, in sentences: its disk is full, or there is no such
/// folder, as after a failure to make it. Empty where neither is so, and where --store names another place.
[[nodiscard]] std::optional<std::string> whyNothingIsKept(const Session& session);

/// The same as far as it is known before anything was tried: only that the disk is full.
[[nodiscard]] std::optional<std::string> whyNothingWillBeKept(const Session& session);

}  // namespace KestrelCLI
