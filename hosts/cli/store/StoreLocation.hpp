#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace KestrelCLI {

/// The snapshot database when none is named: `kestrel/snapshots.sqlite` in `dataHome` (the value of XDG_DATA_HOME),
/// or where that is absent, empty or relative, in `.local/share` of `home`; on macOS in its Application Support.
[[nodiscard]] std::string defaultStorePath(std::string_view home, const std::optional<std::string>& dataHome);

}  // namespace KestrelCLI
