#pragma once

#include "KestrelCore/Model/ScanIssue.hpp"
#include "KestrelCore/Model/ScanProgress.hpp"
#include "KestrelCore/Model/ScanScope.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <variant>

namespace KestrelCore {

/// Comes before anything is looked at, so also from a scan that fails at once.
struct ScanStarted {
    ScanScope scope;
};
/// Comes for the first item, then thinned, and once more when the walk has ended, with the root as its path.
struct ScanProgressed {
    ScanProgress progress;
};
/// Comes after the walk, for the first issues only; the snapshot has more of them.
struct ScanIssueFound {
    ScanIssue issue;
};
/// The result. Nothing follows it.
struct ScanCompleted {
    ScanSnapshot snapshot;
    bool isComplete = true;  ///< false where the scan was ended early: items are missing, and folders look too small
};

/// What a scan emits, in the order: started, progress reports, a last progress report, issues, completed.
using ScanEvent = std::variant<ScanStarted, ScanProgressed, ScanIssueFound, ScanCompleted>;

}  // namespace KestrelCore
