#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"

#include <vector>

namespace KestrelCore {

/// Where applications are installed and where they leave things behind. Absolute paths.
struct KESTRELCORE_EXPORT ApplicationLocations {
    std::vector<Text> applicationFolders;  ///< in the order of the listing
    Text libraryFolder;                    ///< the user's Library

    /// "/Applications" and the home directory's "Applications" and "Library".
    [[nodiscard]] static ApplicationLocations ofHome(const Text& homeDirectory);
};

}  // namespace KestrelCore
