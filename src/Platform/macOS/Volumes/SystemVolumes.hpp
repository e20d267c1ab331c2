#pragma once

#include "Platform/macOS/Volumes/Portable/VolumeTable.hpp"

#include <optional>

namespace KestrelCore {

/// The table as it is now; empty when the system does not tell. Asks no file system, so it never waits for one.
[[nodiscard]] std::optional<VolumeTable> currentVolumeTable();

}  // namespace KestrelCore
