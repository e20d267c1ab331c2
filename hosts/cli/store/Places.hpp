#pragma once

#include "output/Session.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCLI {

// Where the program keeps its own things:
//
//     $XDG_DATA_HOME/kestrel/
//         history.sqlite         every scan
//         receipts/              what was moved to the Trash
//         snapshots.sqlite       the one saved scan of earlier versions, taken over once
//
// With --store FILE the one scan is in FILE instead, and the receipts are in FILE-receipts.

/// The folder when none is named: `kestrel` in `dataHome` (the value of XDG_DATA_HOME), or where that is absent, empty
/// or relative, in `.local/share` of `home`; on macOS in its Application Support.
[[nodiscard]] std::string defaultDataFolder(std::string_view home, const std::optional<std::string>& dataHome);

/// The same for this process. Empty where its name is not UTF-8: the library's paths are texts, and the text would name
/// another place.
[[nodiscard]] std::optional<std::string> usualDataFolder();

/// The same. Throws an exception with a finished sentence where the name is not UTF-8. A folder that stands open to
/// other users becomes this user's only.
[[nodiscard]] std::string dataFolder();

/// The database that keeps every scan. Throws as `dataFolder`.
[[nodiscard]] std::string historyPath();
/// The same by its name alone: nothing is looked at or mended. Empty as `usualDataFolder`.
[[nodiscard]] std::optional<std::string> usualHistoryPath();
/// Where the receipts are kept without --store; likewise.
[[nodiscard]] std::optional<std::string> usualReceiptsPath();
/// Where earlier versions kept their one scan. Throws as `dataFolder`.
[[nodiscard]] std::string earlierStorePath();

/// The snapshot database that --store names; empty without the option. Absolute; links are not resolved. Throws
/// `UsageError` for a name that is not UTF-8.
[[nodiscard]] std::optional<std::string> namedStorePath(const Session& session);

/// Where the receipts of what `trash` moved away are kept. Those of earlier versions are brought there. Throws as
/// `namedStorePath` and `dataFolder`.
[[nodiscard]] std::string receiptsPath(const Session& session);

/// Every path at which something of the program's own may lie in this run, also under the names that links give it.
[[nodiscard]] std::vector<std::string> ownPaths(const Session& session);

/// Whether something is at `path` that may hold a snapshot: not where nothing is, nor for an empty file. Looks only.
[[nodiscard]] bool isStoreThere(const std::string& path);

}  // namespace KestrelCLI
