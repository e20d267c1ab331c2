#pragma once

#include "Applications/Residues.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Platform/DesktopLocations.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <optional>
#include <vector>

namespace KestrelCore {

/// A desktop application before its residues are known.
struct FoundApplication {
    URL url;  ///< the entry file, or the folder that the Flatpak is deployed in
    Text displayName;
    DesktopApplicationNames names;
    std::optional<Text> version;
};

/// What is installed on a freedesktop.org desktop.
struct DesktopListing {
    /// Each identifier once, Flatpaks first. What is hidden or not displayed is left out.
    std::vector<FoundApplication> applications;
    /// Every name that something installed goes by, also what is hidden, broken or only a service: identifiers,
    /// programs and names in lower case. Some may be empty, or come twice.
    std::vector<Text> takenNames;
    bool isWhole = true;  ///< false when a folder of applications is there and can't be read

    /// What can't be read contributes nothing. Blocks on the disk.
    [[nodiscard]] static DesktopListing of(const DesktopLocations& locations, const FileManager& fileManager);
};

}  // namespace KestrelCore
