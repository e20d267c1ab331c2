#pragma once

#include <string>

namespace KestrelCLI {

/// Runs the user's shell ($SHELL, else /bin/sh) in the folder at `path`, with the terminal that this program has, and
/// waits for its end. A sentence when it can't be started; else empty.
[[nodiscard]] std::string runShell(const std::string& path);

}  // namespace KestrelCLI
