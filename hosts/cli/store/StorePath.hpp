#pragma once

#include "output/Session.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace KestrelCLI {

/// The snapshot database when none is named: `kestrel/snapshots.sqlite` in `dataHome` (the value of XDG_DATA_HOME),
/// or where that is absent, empty or relative, in `.local/share` of `home`; on macOS in its Application Support.
[[nodiscard]] std::string defaultStorePath(std::string_view home, const std::optional<std::string>& dataHome);

/// The same for this process. Empty where its name is not UTF-8: the library's paths are texts, and the text would name
/// another place.
[[nodiscard]] std::optional<std::string> usualStorePath();

/// The snapshot database of this run: the one that --store names, else the default below the library's home directory.
/// Absolute; links are not resolved. Throws `UsageError` for a --store whose name is not UTF-8, and an exception with a
/// finished sentence for such a data folder: the library's paths are texts, so either would mean another place. Where
/// it is the default and its folder stands open to other users, that folder becomes this user's only.
[[nodiscard]] std::string storePath(const Session& session);

/// Whether something is at `path` that may hold a snapshot: not where nothing is, nor for an empty file. Looks only.
[[nodiscard]] bool isStoreThere(const std::string& path);

}  // namespace KestrelCLI
