#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <vector>

namespace KestrelCore {

/// Places that this system keeps for itself, beyond the ones that are protected everywhere. Judged by text alone.
/// Every list may be empty. Paths are absolute and standardised.
struct SystemLocations {
    std::vector<Text> managed;        ///< folders that are refused with everything below them
    std::vector<Text> managedExempt;  ///< what lies below these is never refused as managed
    std::vector<Text> neverRemoved;   ///< folders that are refused as themselves; their content is not
    std::vector<Text> homeFolders;    ///< names in the home directory; what lies below them is rated high
    bool isOneTree = false;  ///< "/" shows each file of the system's volume once, so that a scan need leave nothing out
};

/// The lists of the system that this library was built for.
[[nodiscard]] SystemLocations systemLocations();

}  // namespace KestrelCore
