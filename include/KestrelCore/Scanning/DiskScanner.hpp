#pragma once

#include "KestrelCore/Base/EventStream.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/ScanScope.hpp"
#include "KestrelCore/Scanning/ScanOptions.hpp"
#include "KestrelCore/Snapshot/ScanEvent.hpp"

#include <cstddef>

namespace KestrelCore {

/// Walks a folder tree and delivers it as a stream of events that ends in a snapshot. Has no state; any thread.
class KESTRELCORE_EXPORT DiskScanner {
public:
    /// How many issues a snapshot keeps; further ones are dropped.
    static constexpr std::size_t mostIssues = 1000;

    /// Starts a scan on a thread of its own and returns at once. In order: one `ScanStarted`, thinned `ScanProgressed`,
    /// a last one for the root, up to 100 `ScanIssueFound`, one `ScanCompleted`. Throws through the stream:
    /// `KestrelError::accessDenied` when the root can't be read, `unavailable` when the walk can't start or has to
    /// stop. Cancelling or dropping the stream ends the walk at its next entry, without an error.
    /// Throws itself only `std::system_error`, when no thread can be started.
    ///
    /// Links are not followed, mounted volumes below the root are not entered, further hard links count once. A scan of
    /// "/" leaves out system folders and adds small ordinary files to their folders instead of listing them.
    ///
    /// A tree that changes meanwhile is not frozen: a file with one name that is moved from a folder not yet read into
    /// one read later has a record at both places and counts twice; one moved the other way has none. No more than
    /// 2^24 entries of a folder and 2^26 of a scan are read, and no path above 1 MiB is entered: each of these folders
    /// is an issue.
    [[nodiscard]] EventStream<ScanEvent> scan(const ScanScope& scope) const;
    /// The same with options: what is left out, what of a scan of "/" is added up, whether mounts are entered, and
    /// whether a scan that is ended early gives what it has found.
    [[nodiscard]] EventStream<ScanEvent> scan(const ScanScope& scope, const ScanOptions& options) const;
};

}  // namespace KestrelCore
