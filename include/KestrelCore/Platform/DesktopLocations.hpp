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

    /// Whether the system that this library was built for has desktops of this kind. Where it has none, `current` says
    /// where programs that follow these rules all the same keep things. Never changes.
    [[nodiscard]] static bool existHere();

    /// As the environment of this process says, with the standard places for what it leaves out; a variable that should
    /// be an absolute path and is not counts as left out. Read at each call: no other thread may change the environment
    /// meanwhile. Throws `PlatformError` where the home directory or a folder of the user's own that a variable names
    /// is not UTF-8; in XDG_DATA_DIRS such a folder is passed over.
    ///
    ///     dataFolder              XDG_DATA_HOME         HOME/.local/share
    ///     systemDataFolders       XDG_DATA_DIRS         /usr/local/share, /usr/share
    ///     configurationFolder     XDG_CONFIG_HOME       HOME/.config
    ///     cacheFolder             XDG_CACHE_HOME        HOME/.cache
    ///     stateFolder             XDG_STATE_HOME        HOME/.local/state
    ///     flatpakInstallations    FLATPAK_USER_DIR      dataFolder/flatpak
    ///                             FLATPAK_SYSTEM_DIR    /var/lib/flatpak
    ///     locale                  the first that is set of LC_ALL, LC_MESSAGES and LANG
    [[nodiscard]] static DesktopLocations current();
};

}  // namespace KestrelCore
