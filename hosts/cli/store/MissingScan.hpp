#pragma once

#include "output/Session.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Storage/Generation.hpp"

#include <optional>
#include <string>
#include <string_view>

// What is said where no scan can answer, and how one could: each a whole sentence or more.

namespace KestrelCLI {

/// That nothing was scanned yet; where a scan could not be kept because the disk is full, what helps then.
[[nodiscard]] std::string noScanYet(const Session& session);

/// That no scan is of `path` (absolute) or a folder above it, and the command that makes one of the folder.
[[nodiscard]] std::string noScanOf(std::string_view path);

/// Of the patterns that the scan left out the one that names the item at `path`, or a folder above it; empty where none
/// does.
[[nodiscard]] std::optional<KestrelCore::Text> patternLeavingOut(const KestrelCore::Generation& scan,
                                                                 const KestrelCore::Text& path);

/// That the scan has no item at `path`, which lies in its folder: where a pattern left it out, which one.
[[nodiscard]] std::string notInScan(const KestrelCore::Generation& scan, const KestrelCore::Text& path);

}  // namespace KestrelCLI
