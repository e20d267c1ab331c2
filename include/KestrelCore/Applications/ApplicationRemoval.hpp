#pragma once

#include "KestrelCore/Applications/ApplicationRecord.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"

#include <optional>
#include <vector>

namespace KestrelCore {

/// How an application itself is taken away: by what has installed it, never by deleting its files. No state; any
/// thread.
class KESTRELCORE_EXPORT ApplicationRemoval {
public:
    ApplicationRemoval() = delete;

    /// For each application the command that a person types: "flatpak uninstall ID", "snap remove NAME", or
    /// "apt remove PACKAGE" where a package owns the desktop entry. Absent for a bundle, which is a folder like any
    /// other, and where nothing is known. Names in it are plain words, which no shell takes for more. Blocks: it reads
    /// the lists of the package manager once. Throws what `DesktopLocations::current` throws, and nothing else.
    [[nodiscard]] static std::vector<std::optional<Text>> commands(const std::vector<ApplicationRecord>& applications);
};

}  // namespace KestrelCore
