#pragma once

#include "Platform/Traversal.hpp"

#include <memory>
#include <string>
#include <vector>

namespace KestrelCore {

/// Takes what is left of a walk: a line for each entry with all that it says. The last line is the error that stopped
/// it, if any. Directories with a name in `skipped` are skipped.
[[nodiscard]] std::vector<std::string> listing(Traversal& traversal, const std::vector<std::string>& skipped = {});
[[nodiscard]] std::vector<std::string> listing(std::unique_ptr<Traversal> traversal,
                                               const std::vector<std::string>& skipped = {});

/// The same without the statuses: "2 item name", "1 end name", "1 unreadable name 13".
[[nodiscard]] std::vector<std::string> briefListing(std::unique_ptr<Traversal> traversal,
                                                    const std::vector<std::string>& skipped = {});

/// Empty when both are equal, else the first place where they differ: whole listings are too long to read.
[[nodiscard]] std::string firstDifference(const std::vector<std::string>& found,
                                          const std::vector<std::string>& expected);

}  // namespace KestrelCore
