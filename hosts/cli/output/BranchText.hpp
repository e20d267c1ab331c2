#pragma once

#include "output/Session.hpp"

#include <cstddef>
#include <string>
#include <string_view>

namespace KestrelCLI {

/// The end of a line of a tree, from its branch ("│  ├─ ") on: the name, and in quiet what there is to note about it,
/// both already escaped. `before` columns of the line are taken already. On a terminal what does not fit goes on in
/// further lines below the name, with the branches that go on there; a hostile name is cut after some of them. Without
/// a newline at the end.
[[nodiscard]] std::string branchText(const Session& session, std::size_t before, std::string_view branch,
                                     std::string_view name, Style style, std::string_view note);

}  // namespace KestrelCLI
