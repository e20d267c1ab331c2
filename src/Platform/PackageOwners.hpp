#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <optional>
#include <vector>

namespace KestrelCore {

/// For each path (absolute, as it was installed) the name of the package that put the file there, as the system's
/// package manager takes it; absent where no package did, and where there is no package manager whose lists are
/// understood. Reads all of those lists once, however many paths there are. Blocks on the disk; any thread.
[[nodiscard]] std::vector<std::optional<Text>> packagesOwning(const std::vector<Text>& paths);

}  // namespace KestrelCore
