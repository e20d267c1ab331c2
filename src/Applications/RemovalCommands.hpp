#pragma once

#include "KestrelCore/Applications/ApplicationRecord.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Platform/DesktopLocations.hpp"

#include <functional>
#include <optional>
#include <vector>

namespace KestrelCore {

/// Answers as `packagesOwning` does.
using PackageSearch = std::function<std::vector<std::optional<Text>>(const std::vector<Text>& paths)>;

/// `ApplicationRemoval::commands` for other places and another package manager.
[[nodiscard]] std::vector<std::optional<Text>> removalCommands(const std::vector<ApplicationRecord>& applications,
                                                               const DesktopLocations& locations,
                                                               const PackageSearch& packagesOwning);

}  // namespace KestrelCore
