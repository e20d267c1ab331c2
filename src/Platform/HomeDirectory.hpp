#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <string>
#include <vector>

namespace KestrelCore {

/// The home directory as raw bytes, asked afresh: CFFIXED_USER_HOME, then the passwd entry of the effective user (of
/// the real one when the effective one is root), then HOME, then "/var/empty". Where programs follow HOME, as on Linux,
/// an absolute one comes before the passwd entry. Set-id programs hear neither variable. No trailing slash;
/// standardised where it is UTF-8, else as it is named. Any thread, while none changes the environment.
[[nodiscard]] std::string currentHomePath();
/// The same as a text, to look into. Throws `PlatformError` for a name that is not UTF-8: the text would name another
/// place.
[[nodiscard]] Text currentHomeDirectory();

/// All places that are somebody's home: the one above, $HOME, those of the user who runs this process and of the one
/// who became root for it (sudo, pkexec), and those that this system's own list of users names for ordinary ones. Raw,
/// absolute, as they are named; they need not exist. "/" is left out.
[[nodiscard]] std::vector<std::string> knownHomeDirectories();

/// The folder of the application bundle that this process runs from; for an executable outside a bundle the folder that
/// holds it. Standardised.
[[nodiscard]] Text mainBundlePath();
/// The executable file itself, links resolved; empty when it can't be told.
[[nodiscard]] Text mainExecutablePath();

}  // namespace KestrelCore
