#pragma once

#include "KestrelCore/Model/ScanScope.hpp"

#include <optional>
#include <string>

namespace KestrelCLI {

/// The folder to be scanned, as the disk knows it.
struct ScanRoot {
    KestrelCore::ScanScope scope;
    bool wasLink = false;  ///< the name given, or a folder in it, is a link that was followed
};

/// Finds what `name` (absolute or relative to the working directory) means, links followed. Throws
/// `KestrelCore::PlatformError` or `KestrelCore::KestrelError` with a finished sentence when there is no such item or
/// its name is not UTF-8.
[[nodiscard]] ScanRoot resolveScanRoot(const std::string& name);

}  // namespace KestrelCLI
