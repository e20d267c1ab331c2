#include "Storage/SnapshotDatabase.hpp"

#include "Base/FatalError.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "Snapshot/Coding/SnapshotCoding.hpp"
#include "Storage/PieceQueue.hpp"

#include <sqlite3.h>

#include <algorithm>
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

KestrelError cannotOpen() { return KestrelError::unavailable("Kestrel could not open its private scan index."); }

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

SnapshotDatabase::SnapshotDatabase(const URL& url, const Options& options) : url_{url}, options_{options} {
    path_ = url_.path().string();
    open();
}

SnapshotDatabase::~SnapshotDatabase() {
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

FileLock SnapshotDatabase::lock() const {
    try {
        if (auto guard = FileLock::acquire(lockPath_, options_.patience)) return std::move(*guard);
    } catch (const PlatformError&) {
        throw cannotOpen();
    }
    throw KestrelError::unavailable("database is locked");
}

void SnapshotDatabase::open() {
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
    auto connection = std::make_unique<SQLiteConnection>(path_);
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

void SnapshotDatabase::reopenIfReplaced() {
    const auto now = DatabaseFile::item(path_);
    if (now && opened_ && now->device == opened_->device && now->inode == opened_->inode) return;
    open();
}

bool SnapshotDatabase::replace(const ScanSnapshot& with, const std::optional<UUID>& stored) {
    const std::size_t length = encodedLength(with);
    reopenIfReplaced();
    const FileLock guard = lock();
    checkSpace(length);
    connection_->run("BEGIN IMMEDIATE;");
    try {
        if (stored && latestID() != stored->uuidString()) {
            connection_->run("ROLLBACK;");
            return false;
        }
        connection_->run("DELETE FROM snapshots;");
        connection_->run("DROP TABLE IF EXISTS node_search;");
        writePayload(with, length);
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

void SnapshotDatabase::checkSpace(std::size_t length) const {
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

std::optional<std::string> SnapshotDatabase::latestID() {
    auto select = connection_->prepare("SELECT id FROM snapshots ORDER BY completed_at DESC LIMIT 1;");
    const int result = sqlite3_step(select.get());
    if (result == SQLITE_DONE) return std::nullopt;
    if (result != SQLITE_ROW) connection_->fail();
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(select.get(), 0));
    const auto length = static_cast<std::size_t>(sqlite3_column_bytes(select.get(), 0));
    return text == nullptr ? std::nullopt : std::optional{std::string{text, length}};
}

void SnapshotDatabase::writePayload(const ScanSnapshot& snapshot, std::size_t length) {
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

std::optional<ScanSnapshot> SnapshotDatabase::loadLatest() {
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

void SnapshotDatabase::clear() {
    reopenIfReplaced();
    const FileLock guard = lock();
    connection_->run("DELETE FROM snapshots;");
    connection_->run("DROP TABLE IF EXISTS node_search;");
    connection_->run("PRAGMA wal_checkpoint(TRUNCATE);");
    giveSpaceBack();
}

void SnapshotDatabase::giveSpaceBack() noexcept {
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

}  // namespace KestrelCore
