#pragma once

#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Base/UUID.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <chrono>
#include <memory>
#include <optional>

namespace KestrelCore {

/// Keeps one scan on disk: the latest snapshot, whole, as one JSON text in one row of an SQLite database. A save that
/// fails, or is cut off at any point, leaves the earlier snapshot.
///
/// Any thread may call; calls wait for each other. Several processes may use one file: saves, clearing, opening and
/// closing wait for each other there (as long as the options say, then `unavailable("database is locked")`), by a lock
/// on the empty file "NAME-lock" beside the database; loading waits for nobody. Every call blocks on the disk.
///
/// The database and the files beside it are for this user only, and become so when they are found open to others.
///
/// Unless said otherwise the calls throw `KestrelError::unavailable` with the text that SQLite gives for the failure.
class KESTRELCORE_EXPORT SQLiteSnapshotStore {
public:
    /// The defaults are right for hosts that may wait.
    struct Options {
        /// How long a call waits for other processes, at the lock beside the database and at SQLite's own; 0 or above.
        std::chrono::milliseconds patience{5000};
        /// The longest JSON text of a snapshot that is taken, in bytes; absent: as long as SQLite was built for.
        std::optional<int> longestPayload{};
    };

    /// Opens the database at `url`, a file URL; creates it, and the folders above it, when missing: those for this user
    /// only, too. Throws the file manager's `PlatformError` when the folder can't be made, and `unavailable("Kestrel
    /// could not open its private scan index.")` when the database can't be opened or what is there is no plain file.
    explicit SQLiteSnapshotStore(const URL& url);
    SQLiteSnapshotStore(const URL& url, const Options& options);
    /// Closes the database.
    ~SQLiteSnapshotStore();
    SQLiteSnapshotStore(const SQLiteSnapshotStore&) = delete;
    SQLiteSnapshotStore& operator=(const SQLiteSnapshotStore&) = delete;

    /// Makes `snapshot` the only one stored. Throws `EncodingError`, before anything is touched, for a date that is
    /// not finite; "database or disk is full" before anything is written when the volume has no room for it; "string or
    /// blob too big" for one whose JSON text is above SQLite's limit (1,000,000,000 bytes, some two million records;
    /// less of them where paths are long). Takes a few seconds and some 10 MiB for a million records.
    void replace(const ScanSnapshot& snapshot);
    /// The same for a snapshot that was made from the stored one: does nothing and gives false when the latest stored
    /// snapshot is not that of `storedID` any more, because another process, or another store, has saved or cleared
    /// since.
    [[nodiscard]] bool replaceStored(const UUID& storedID, const ScanSnapshot& snapshot);
    /// The stored snapshot that was completed last; empty when there is none, or none that can be read from the disk.
    /// Throws `DecodingError` when what is stored is no snapshot.
    [[nodiscard]] std::optional<ScanSnapshot> loadLatest();
    /// Removes what is stored. The file's space goes back to the volume, unless it holds tables that are not ours.
    void clear();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace KestrelCore
