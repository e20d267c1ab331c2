#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Reclaim/DuplicateFinder.hpp"
#include "KestrelCore/Scanning/DiskScanner.hpp"
#include "Reclaim/DuplicateSearch.hpp"
#include "Snapshot/SnapshotAccess.hpp"
#include "support/ScanEvents.hpp"

#include <set>
#include <string>
#include <vector>

namespace KestrelCore::testing {

[[nodiscard]] inline ScanSnapshot scanned(const std::string& path) {
    return collect(DiskScanner{}.scan(ScanScope{URL::fromPath(path, true)})).result();
}

/// Duplicates of any length among what a scan of the folder found.
[[nodiscard]] inline DuplicateReport duplicatesIn(const ScanSnapshot& snapshot, DuplicateOptions options = {},
                                                  DuplicateSearch::DigestChange digestChange = nullptr) {
    if (options.smallestBytes == DuplicateOptions{}.smallestBytes) options.smallestBytes = 1;
    const CancellationToken cancellation;
    DuplicateSearch search{SnapshotAccess::storage(snapshot), options, cancellation, [](const auto&) {}, digestChange};
    return search.run(snapshot.scope().root.path()).value();
}

[[nodiscard]] inline DuplicateReport duplicatesIn(const std::string& path, const DuplicateOptions& options = {}) {
    return duplicatesIn(scanned(path), options);
}

/// The groups as sets of paths.
[[nodiscard]] inline std::set<std::set<std::string>> pathsOf(const DuplicateReport& report) {
    std::set<std::set<std::string>> groups;
    for (const DuplicateGroup& group : report.groups) {
        std::set<std::string> paths;
        for (const DuplicateFile& file : group.files) paths.insert(file.path.string());
        groups.insert(std::move(paths));
    }
    return groups;
}

}  // namespace KestrelCore::testing
