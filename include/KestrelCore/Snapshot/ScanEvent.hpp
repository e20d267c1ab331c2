#pragma once

#include "KestrelCore/Model/ScanIssue.hpp"
#include "KestrelCore/Model/ScanProgress.hpp"
#include "KestrelCore/Model/ScanScope.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <variant>

namespace KestrelCore {

struct ScanStarted {
    ScanScope scope;
};
struct ScanProgressed {
    ScanProgress progress;
};
struct ScanIssueFound {
    ScanIssue issue;
};
struct ScanCompleted {
    ScanSnapshot snapshot;
};

/// What a scan emits, in the order: started, progress reports, a last progress report, issues, completed.
using ScanEvent = std::variant<ScanStarted, ScanProgressed, ScanIssueFound, ScanCompleted>;

}  // namespace KestrelCore
