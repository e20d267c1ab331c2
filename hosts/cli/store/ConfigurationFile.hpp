#pragma once

#include "output/Settings.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace KestrelCLI {

/// `kestrel/config.toml` in `configurationHome` (the value of XDG_CONFIG_HOME), or where that is absent, empty or
/// relative, in `.config` of `home`. Empty where neither is known. Bytes: no name needs to be UTF-8.
[[nodiscard]] std::string configurationPath(std::string_view home, const std::optional<std::string>& configurationHome);

/// Reads the file at `settings.file` into `settings`; where nothing is there, nothing happens. One that another user
/// could have written is not taken in, and nothing but a regular file is read or waited for: that is a problem, as what
/// the text has wrong. Blocks on the disk.
void readConfigurationFile(std::string_view home, Settings& settings);

/// "FILE:3: There is no setting “unit”."
[[nodiscard]] std::string sentenceOf(const Settings& settings, const SettingProblem& problem);

}  // namespace KestrelCLI
