#pragma once

#include "Session.hpp"

#include <string>

namespace KestrelCLI {

/// The snapshot database of this run: the one that --store names, else the default below the library's home directory.
/// Absolute (but for an empty --store); links are not resolved.
[[nodiscard]] std::string storePath(const Session& session);

}  // namespace KestrelCLI
