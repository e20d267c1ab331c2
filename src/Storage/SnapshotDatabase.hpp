#pragma once

#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Base/UUID.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "Platform/DatabaseFile.hpp"
#include "Platform/FileLock.hpp"
#include "Storage/SQLiteConnection.hpp"

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

namespace KestrelCore {

/// What the store does, without its lock between threads: one call at a time. See `SQLiteSnapshotStore`.
class SnapshotDatabase {
public:
    struct Options {
        /// How long to wait for other processes, at our lock and at SQLite's.
        std::chrono::milliseconds patience{5000};
        /// The longest payload in bytes; empty for the limit that SQLite was built with.
        std::optional<int> longestPayload;
    };

    explicit SnapshotDatabase(const URL& url) : SnapshotDatabase{url, Options{}} {}
    SnapshotDatabase(const URL& url, const Options& options);
    ~SnapshotDatabase();
    SnapshotDatabase(const SnapshotDatabase&) = delete;
    SnapshotDatabase& operator=(const SnapshotDatabase&) = delete;

    /// With `stored`, only if that still is the identifier of the latest snapshot; false, and nothing done, otherwise.
    bool replace(const ScanSnapshot& with, const std::optional<UUID>& stored = std::nullopt);
    [[nodiscard]] std::optional<ScanSnapshot> loadLatest();
    void clear();

private:
    /// Keeps other processes from saving, clearing, opening and closing.
    [[nodiscard]] FileLock lock() const;
    void open();
    /// Opens anew when the file was deleted or replaced: what is written to the old one would be lost.
    void reopenIfReplaced();
    /// Throws what a full disk gives when the volume has no room for a payload of `length` bytes, before any is taken.
    void checkSpace(std::size_t length) const;
    /// Makes the file as small as what is in it. What fails leaves it as large as it was.
    void giveSpaceBack() noexcept;
    /// The identifier of the stored snapshot that was completed last.
    [[nodiscard]] std::optional<std::string> latestID();
    void writePayload(const ScanSnapshot& snapshot, std::size_t length);

    URL url_;
    Options options_;
    std::string path_;
    std::string lockPath_;
    std::optional<DatabaseFile::Item> opened_;
    std::unique_ptr<SQLiteConnection> connection_;
};

}  // namespace KestrelCore
