#pragma once

#include "output/Session.hpp"

#include <string>

namespace KestrelCLI {

/// The snapshot database of this run: the one that --store names, else the default below the library's home directory.
/// Absolute (but for an empty --store); links are not resolved.
[[nodiscard]] std::string storePath(const Session& session);

/// Whether something is at `path` that may hold a snapshot: not where nothing is, nor for an empty file. Looks only.
[[nodiscard]] bool isStoreThere(const std::string& path);

}  // namespace KestrelCLI
