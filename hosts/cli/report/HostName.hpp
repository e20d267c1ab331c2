#pragma once

#include <string>

namespace KestrelCLI {

/// What this machine calls itself; empty where it does not say.
[[nodiscard]] std::string hostName();

}  // namespace KestrelCLI
