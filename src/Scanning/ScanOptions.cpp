#include "KestrelCore/Scanning/ScanOptions.hpp"

#include "Platform/SystemLocations.hpp"
#include "Scanning/SystemFolders.hpp"

namespace KestrelCore {

ScanOptions ScanOptions::everything() {
    return {.systemFolders = systemLocations().isOneTree ? SystemFolders::takenIn : SystemFolders::leftOut,
            .smallFiles = SmallFiles::listed,
            .exclude = {},
            .cacheFolders = CacheFolders::takenIn,
            .mounts = Mounts::leftOut,
            .kernelFileSystems = KernelFileSystems::leftOut,
            .linkedFiles = std::nullopt,
            .keepingFound = std::nullopt,
            .growing = std::nullopt};
}

std::vector<Text> ScanOptions::systemFoldersLeftOut(const ScanScope& scope) const {
    if (systemFolders == SystemFolders::takenIn) return {};
    if (scope.root.standardized().path() != Text{"/"}) return {};
    return {excludedFromDisk.begin(), excludedFromDisk.end()};
}

std::vector<Text> ScanOptions::leftOut(const ScanScope& scope) const {
    std::vector<Text> all = systemFoldersLeftOut(scope);
    for (const ExcludePattern& pattern : exclude) all.push_back(pattern.text());
    if (cacheFolders == CacheFolders::leftOut) all.emplace_back(cacheFoldersInWords);
    if (mounts == Mounts::entered && kernelFileSystems == KernelFileSystems::leftOut)
        all.emplace_back("kernel file systems");
    return all;
}

}  // namespace KestrelCore
