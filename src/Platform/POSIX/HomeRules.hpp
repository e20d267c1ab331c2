#pragma once

#include <optional>
#include <string>
#include <vector>

// Where the systems differ in what is somebody's home, and in what a program knows of its own file.

namespace KestrelCore {

/// A set and non-empty environment variable; none in a program that runs with raised rights.
[[nodiscard]] std::optional<std::string> environmentValue(const char* name);

/// Whether an absolute HOME comes before what the user database says.
[[nodiscard]] bool followsHomeVariable();

/// The homes of this system's own accounts of people, raw. Users that a network knows are left out: there may be a
/// hundred thousand of them, and a server that must answer first.
[[nodiscard]] std::vector<std::string> homesOfOrdinaryUsers();

/// Where the system says that the running executable lies, links resolved; empty when it does not.
[[nodiscard]] std::string executablePath();

}  // namespace KestrelCore
