#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"

#include <vector>

namespace KestrelCore {

/// Where a desktop of the freedesktop.org kind keeps applications, and where these keep what is theirs. Absolute paths.
struct KESTRELCORE_EXPORT DesktopLocations {
    Text homeFolder;
    Text dataFolder;                      ///< the user's own; stands before the system's
    std::vector<Text> systemDataFolders;  ///< in the order of precedence
    Text configurationFolder;
    Text cacheFolder;
    Text stateFolder;
    std::vector<Text> flatpakInstallations;  ///< the user's first
    Text locale;                             ///< of messages, such as "de_DE.UTF-8@euro"; empty or "C" for none

    /// As the environment of this process says, with the standard places for what it leaves out.
    [[nodiscard]] static DesktopLocations current();
};

}  // namespace KestrelCore
