#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Model/ScanIssue.hpp"
#include "KestrelCore/Model/ScanProgress.hpp"
#include "KestrelCore/Model/ScanScope.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <cstdint>
#include <variant>
#include <vector>

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
/// What one of a scan's rules has left out. Sizes are not known: nobody looked.
struct LeftOutItems {
    Text what;               ///< as in `ScanOptions::leftOut`
    std::int64_t items = 0;  ///< found and left out; what lies in a folder among them is not counted
    /// False of an absolute pattern that no item below the root can match: a scan of another folder was meant, or a
    /// path from the scan's root, which begins without "/" or with "./".
    bool concernsRoot = true;

    bool operator==(const LeftOutItems&) const = default;
};
/// Another file system below the root that the scan has entered, because it was told to.
struct EnteredFileSystem {
    Text path;              ///< where it is mounted
    Text kind;              ///< such as "ext4"; empty when unknown
    bool isRemote = false;  ///< on another machine, as far as the kind tells: slower, and not this disk's room

    bool operator==(const EnteredFileSystem&) const = default;
};
/// The result. Nothing follows it.
struct ScanCompleted {
    ScanSnapshot snapshot;
    bool isComplete = true;  ///< false where the scan was ended early: items are missing, and folders look too small
    std::vector<EnteredFileSystem> entered{};  ///< in the order of the walk
    std::vector<LeftOutItems>
        leftOut{};  ///< one for each pattern of the options, and one for cache folders if asked for
};

/// What a scan emits, in the order: started, progress reports, a last progress report, issues, completed.
using ScanEvent = std::variant<ScanStarted, ScanProgressed, ScanIssueFound, ScanCompleted>;

}  // namespace KestrelCore
