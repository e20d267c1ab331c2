#pragma once

#include "output/Settings.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace KestrelCLI {

/// Reads the text of a configuration file, which is TOML, into `settings`, where nothing that goes before it holds
/// already. What is not understood is a problem each, in the order of lines; the rest holds all the same.
///
/// @param home what "~" stands for; empty where that is not known
void readConfiguration(std::string_view text, std::string_view home, Settings& settings);

/// The names of all settings, such as "units" and "history.keep-all", in the order in which they are told.
[[nodiscard]] std::vector<std::string> settingNames();

/// A file that says what holds without one, with a comment for each setting.
[[nodiscard]] std::string_view exampleConfiguration();

/// As in the file: "si", "color-blind".
[[nodiscard]] std::string_view nameOf(SizeUnits units);
[[nodiscard]] std::string_view nameOf(ColorChoice choice);
[[nodiscard]] std::string_view nameOf(PageColors colors);

}  // namespace KestrelCLI
