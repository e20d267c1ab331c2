#include "KestrelCore/Scanning/ScanOptions.hpp"

#include "Platform/SystemLocations.hpp"
#include "Scanning/SystemFolders.hpp"

namespace KestrelCore {

ScanOptions ScanOptions::everything() {
    return {.systemFolders = systemLocations().isOneTree ? SystemFolders::takenIn : SystemFolders::leftOut,
            .smallFiles = SmallFiles::listed,
            .keepingFound = std::nullopt,
            .growing = std::nullopt};
}

std::vector<Text> ScanOptions::leftOut(const ScanScope& scope) const {
    if (systemFolders == SystemFolders::takenIn || scope.root.standardized().path() != Text{"/"}) return {};
    return {excludedFromDisk.begin(), excludedFromDisk.end()};
}

}  // namespace KestrelCore
