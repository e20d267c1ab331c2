#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"

#include "Base/FatalError.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "Platform/DatabaseFile.hpp"
#include "Platform/FileLock.hpp"
#include "Snapshot/Coding/SnapshotCoding.hpp"
#include "Storage/PieceQueue.hpp"
#include "Storage/SQLiteConnection.hpp"

#include <sqlite3.h>

#include <algorithm>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>

// The file holds one table with at most one row:
//
//     snapshots: id TEXT (the UUID) | completed_at REAL (seconds since 1970) | payload BLOB (the snapshot's JSON text)
//
// A payload of a million records is half a gigabyte of text, so it never exists whole. A save counts its length first,
// which also finds what can't be encoded; inserts that many zero bytes; and fills them piece by piece before the
// transaction ends. Loading reads pieces in the same way. What is stored is the one JSON text all the same.
//
// Two kinds of locks meet here. SQLite's own keep every reader's view whole. The one on the file beside the database
// keeps processes from saving at the same time: a save ends in a checkpoint, and SQLite before 3.51.3 can damage a
// database when one connection commits while another runs a checkpoint.

namespace KestrelCore {

namespace {

constexpr std::size_t pieceSize = std::size_t{1} << 20;

/// Ends an encoding that nobody waits for any more.
struct Abandoned {};

constexpr const char* cannotOpenText = "Kestrel could not open its private scan index.";

KestrelError cannotOpen() { return KestrelError::unavailable(cannotOpenText); }

/// Feeds the value to the decoder, read ahead on another thread; false when it can't be read from the disk.
bool decode(SQLiteBlob& blob, SnapshotDecoder& decoder) {
    const std::size_t size = blob.size();
    bool isRead = true;
    PieceQueue pieces{[&](const PieceQueue::Sink& sink) {
        std::string piece;
        for (std::size_t offset = 0; offset < size;) {
            const std::size_t length = std::min(size - offset, pieceSize);
            piece.resize(length);
            isRead = blob.read(piece.data(), length, offset);
            if (!isRead || !sink(piece)) return;
            offset += length;
        }
    }};
    for (std::string_view piece = pieces.next(); !piece.empty(); piece = pieces.next()) decoder.feed(piece);
    return isRead;
}

}  // namespace

/// The open database. Each function is called under the lock, but for the first and the last.
struct SQLiteSnapshotStore::State {
    State(const URL& url, const Options& options);
    ~State();
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    /// With `storedID`, only if that still is the identifier of the latest snapshot; false, and nothing done,
    /// otherwise.
    bool replace(const ScanSnapshot& snapshot, const std::optional<UUID>& storedID);
    [[nodiscard]] std::optional<ScanSnapshot> loadLatest();
    void clear();

    std::mutex mutex;  ///< one thread's call at a time; everything below belongs to it

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
    std::optional<DatabaseFile::Item> opened_;  ///< what the file was when it was opened
    std::unique_ptr<SQLiteConnection> connection_;
};

SQLiteSnapshotStore::State::State(const URL& url, const Options& options) : url_{url}, options_{options} {
    path_ = url_.path().string();
    open();
}

SQLiteSnapshotStore::State::~State() {
    // The last connection runs a checkpoint when it closes. Where that can't be done alone, the log stays for the next
    // one to open the file.
    try {
        const FileLock guard = lock();
        connection_.reset();
    } catch (const std::exception&) {
        connection_->leaveLogOnClose();
        connection_.reset();
    }
}

FileLock SQLiteSnapshotStore::State::lock() const {
    try {
        if (auto guard = FileLock::acquire(lockPath_, options_.patience)) return std::move(*guard);
    } catch (const PlatformError&) {
        throw cannotOpen();
    }
    throw KestrelError::unavailable("database is locked");
}

void SQLiteSnapshotStore::State::open() {
    FileManager::standard()->createDirectory(url_.deletingLastPathComponent());
    const std::string place = DatabaseFile::resolved(path_);
    lockPath_ = place + "-lock";
    // Looked at before anything is opened: a pipe would block, and a folder gives an odd message. In a folder that
    // can't be written SQLite opens the file and fails later, with a text that depends on what is there.
    const auto before = DatabaseFile::item(path_);
    if ((before && !before->isRegular) || !DatabaseFile::isInWritableFolder(place)) {
        throw cannotOpen();
    }
    const FileLock guard = lock();
    // SQLite makes its files for all to read, those beside the database with the mode that this has at the time, and
    // leaves those of a read-only database.
    DatabaseFile::createPrivate(place);
    for (const char* suffix : {"", "-wal", "-shm"}) DatabaseFile::makePrivate(place + suffix);
    for (const char* suffix : {"-wal", "-shm"}) DatabaseFile::makeWritableLike(place, place + suffix);
    auto connection = std::make_unique<SQLiteConnection>(path_, cannotOpenText);
    sqlite3_busy_timeout(connection->handle(), static_cast<int>(options_.patience.count()));
    if (options_.longestPayload) sqlite3_limit(connection->handle(), SQLITE_LIMIT_LENGTH, *options_.longestPayload);
    const auto item = DatabaseFile::item(path_);
    // Large pages: the payload is one long chain of them. No effect on a file that has pages already.
    if (!item || item->size == 0) connection->tryToRun("PRAGMA page_size=65536;");
    connection->run("PRAGMA journal_mode=WAL;");
    connection->run("PRAGMA synchronous=NORMAL;");
    connection->run("PRAGMA foreign_keys=ON;");
    connection->run(
        "CREATE TABLE IF NOT EXISTS snapshots (\n    id TEXT PRIMARY KEY,\n    completed_at REAL NOT NULL,\n"
        "    payload BLOB NOT NULL\n);");
    connection_ = std::move(connection);
    opened_ = DatabaseFile::item(path_);
}

void SQLiteSnapshotStore::State::reopenIfReplaced() {
    const auto now = DatabaseFile::item(path_);
    if (now && opened_ && now->device == opened_->device && now->inode == opened_->inode) return;
    open();
}

bool SQLiteSnapshotStore::State::replace(const ScanSnapshot& snapshot, const std::optional<UUID>& storedID) {
    const std::size_t length = encodedLength(snapshot);
    reopenIfReplaced();
    const FileLock guard = lock();
    checkSpace(length);
    connection_->run("BEGIN IMMEDIATE;");
    try {
        if (storedID && latestID() != storedID->uuidString()) {
            connection_->run("ROLLBACK;");
            return false;
        }
        connection_->run("DELETE FROM snapshots;");
        connection_->run("DROP TABLE IF EXISTS node_search;");
        writePayload(snapshot, length);
        connection_->run("COMMIT;");
    } catch (...) {
        connection_->tryToRun("ROLLBACK;");
        // What was written so far stands in the log, as large as it got: on a full disk it must not stay there.
        connection_->tryToRun("PRAGMA wal_checkpoint(TRUNCATE);");
        throw;
    }
    connection_->tryToRun("PRAGMA wal_checkpoint(TRUNCATE);");
    return true;
}

void SQLiteSnapshotStore::State::checkSpace(std::size_t length) const {
    const auto available = DatabaseFile::availableBytes(path_);
    if (!available) return;
    // All of the payload is written to the log, which is empty between two saves, and then to the database, where the
    // earlier one makes room.
    const auto item = DatabaseFile::item(path_);
    const std::uint64_t present = item ? static_cast<std::uint64_t>(std::max<std::int64_t>(0, item->size)) : 0;
    const std::uint64_t growth = length > present ? length - present : 0;
    if (length + growth > static_cast<std::uint64_t>(*available)) {
        throw KestrelError::unavailable(sqlite3_errstr(SQLITE_FULL));
    }
}

std::optional<std::string> SQLiteSnapshotStore::State::latestID() {
    auto select = connection_->prepare("SELECT id FROM snapshots ORDER BY completed_at DESC LIMIT 1;");
    const int result = sqlite3_step(select.get());
    if (result == SQLITE_DONE) return std::nullopt;
    if (result != SQLITE_ROW) connection_->fail();
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(select.get(), 0));
    const auto length = static_cast<std::size_t>(sqlite3_column_bytes(select.get(), 0));
    return text == nullptr ? std::nullopt : std::optional{std::string{text, length}};
}

void SQLiteSnapshotStore::State::writePayload(const ScanSnapshot& snapshot, std::size_t length) {
    auto insert = connection_->prepare("INSERT INTO snapshots (id, completed_at, payload) VALUES (?, ?, ?);");
    const std::string id = snapshot.id().uuidString();
    const auto bind = [](int result) {
        // A payload above SQLite's limit is refused here, before any memory is spent on it, and SQLite leaves no text.
        if (result != SQLITE_OK) throw KestrelError::unavailable(sqlite3_errstr(result));
    };
    bind(sqlite3_bind_text(insert.get(), 1, id.c_str(), -1, SQLITE_TRANSIENT));
    bind(sqlite3_bind_double(insert.get(), 2, snapshot.completedAt().secondsSince1970()));
    bind(sqlite3_bind_zeroblob64(insert.get(), 3, length));
    if (sqlite3_step(insert.get()) != SQLITE_DONE) connection_->fail();
    insert.reset();
    SQLiteBlob blob{*connection_, sqlite3_last_insert_rowid(connection_->handle()), SQLiteBlob::Access::writing};
    if (!blob.isOpen()) connection_->fail();
    PieceQueue pieces{[&](const PieceQueue::Sink& sink) {
        std::string copy;
        encodeSnapshot(snapshot, [&](std::string_view piece) {
            copy.assign(piece);
            if (!sink(copy)) throw Abandoned{};
        });
    }};
    std::size_t offset = 0;
    for (std::string_view piece = pieces.next(); !piece.empty(); piece = pieces.next()) {
        if (!blob.write(piece, offset)) connection_->fail();
        offset += piece.size();
    }
    if (offset != length) fatalError("KestrelCore/Storage", "A snapshot changed its length while it was saved");
}

std::optional<ScanSnapshot> SQLiteSnapshotStore::State::loadLatest() {
    // A table that lacks a column fails here with the text that belongs to it.
    auto select = connection_->prepare("SELECT payload FROM snapshots ORDER BY completed_at DESC LIMIT 1;");
    // To sort is to copy, payload and all: so the row is found by its number, and its value read in pieces. While this
    // statement stands, all that is read belongs to one state of the database.
    sqlite3_stmt* prepared = nullptr;
    sqlite3_prepare_v2(connection_->handle(), "SELECT rowid FROM snapshots ORDER BY completed_at DESC LIMIT 1;", -1,
                       &prepared, nullptr);
    const SQLiteConnection::Statement newest{prepared};
    SnapshotDecoder decoder;
    if (newest != nullptr) {
        if (sqlite3_step(newest.get()) != SQLITE_ROW) return std::nullopt;
        SQLiteBlob blob{*connection_, sqlite3_column_int64(newest.get(), 0), SQLiteBlob::Access::reading};
        if (blob.isOpen()) {
            if (!decode(blob, decoder)) return std::nullopt;
            return decoder.finish();
        }
    }
    // A table of another make, without row numbers, or a value that is no blob.
    if (sqlite3_step(select.get()) != SQLITE_ROW) return std::nullopt;
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(select.get(), 0));
    const auto length = static_cast<std::size_t>(sqlite3_column_bytes(select.get(), 0));
    if (bytes != nullptr) decoder.feed({bytes, length});
    return decoder.finish();
}

void SQLiteSnapshotStore::State::clear() {
    reopenIfReplaced();
    const FileLock guard = lock();
    connection_->run("DELETE FROM snapshots;");
    connection_->run("DROP TABLE IF EXISTS node_search;");
    connection_->run("PRAGMA wal_checkpoint(TRUNCATE);");
    giveSpaceBack();
}

void SQLiteSnapshotStore::State::giveSpaceBack() noexcept {
    // Writing a database anew takes as long as it is large, and renumbers rows: not when others have tables in it.
    try {
        auto foreign = connection_->prepare("SELECT 1 FROM sqlite_master WHERE tbl_name != 'snapshots' LIMIT 1;");
        if (sqlite3_step(foreign.get()) != SQLITE_DONE) return;
    } catch (const KestrelError&) {
        return;
    }
    connection_->tryToRun("VACUUM;");
    connection_->tryToRun("PRAGMA wal_checkpoint(TRUNCATE);");
}

SQLiteSnapshotStore::SQLiteSnapshotStore(const URL& url) : SQLiteSnapshotStore{url, Options{}} {}

SQLiteSnapshotStore::SQLiteSnapshotStore(const URL& url, const Options& options)
    : state_{std::make_unique<State>(url, options)} {}

SQLiteSnapshotStore::~SQLiteSnapshotStore() = default;

void SQLiteSnapshotStore::replace(const ScanSnapshot& snapshot) {
    const std::lock_guard guard{state_->mutex};
    state_->replace(snapshot, std::nullopt);
}

bool SQLiteSnapshotStore::replaceStored(const UUID& storedID, const ScanSnapshot& snapshot) {
    const std::lock_guard guard{state_->mutex};
    return state_->replace(snapshot, storedID);
}

std::optional<ScanSnapshot> SQLiteSnapshotStore::loadLatest() {
    const std::lock_guard guard{state_->mutex};
    return state_->loadLatest();
}

void SQLiteSnapshotStore::clear() {
    const std::lock_guard guard{state_->mutex};
    state_->clear();
}

}  // namespace KestrelCore
