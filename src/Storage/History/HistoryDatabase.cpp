#include "Storage/History/HistoryDatabase.hpp"

#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "Platform/DatabaseFile.hpp"

#include <fmt/format.h>
#include <sqlite3.h>

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <array>
#include <bit>
#include <cstring>
#include <utility>

// Two tables. A row of `generations` is one scan, or what became of one; its columns stand in `columns`, packed. Every
// row and every column has a hash (xxHash, 64 bits) over what it is and where it belongs, so that nothing that the disk
// has changed, lost or put elsewhere is taken for something else:
//
//     generations: number | … | hash over all that never changes
//     columns:     generation, stream, field, chunk | hash over these and the bytes | data
//
// A generation knows how many columns it has, and the sum of their hashes.
//
// Columns have an index over what names them, and are not themselves one: in an index SQLite compares whole entries,
// and would read some ten columns to find one.

namespace KestrelCore {

namespace {

constexpr int applicationID = 0x4B737448;  // "KstH"

constexpr const char* schema = R"(
CREATE TABLE generations (
    number INTEGER PRIMARY KEY AUTOINCREMENT, snapshot BLOB NOT NULL, scope TEXT NOT NULL, root TEXT NOT NULL,
    started_at INTEGER NOT NULL, completed_at INTEGER NOT NULL, records INTEGER NOT NULL, issues INTEGER NOT NULL,
    total_bytes INTEGER NOT NULL, is_complete INTEGER NOT NULL, origin INTEGER NOT NULL, base INTEGER NOT NULL,
    identifiers INTEGER NOT NULL, identifier_seed BLOB NOT NULL, ages_from INTEGER NOT NULL, layout BLOB NOT NULL,
    columns INTEGER NOT NULL, columns_hash INTEGER NOT NULL, stored_bytes INTEGER NOT NULL, hash INTEGER NOT NULL,
    is_pinned INTEGER NOT NULL DEFAULT 0, is_forgotten INTEGER NOT NULL DEFAULT 0, provenance TEXT NOT NULL DEFAULT ''
);
CREATE TABLE columns (
    generation INTEGER NOT NULL, stream INTEGER NOT NULL, field INTEGER NOT NULL, chunk INTEGER NOT NULL,
    hash INTEGER NOT NULL, data BLOB NOT NULL,
    UNIQUE (generation, stream, field, chunk)
);
)";

KestrelError cannotOpen() { return KestrelError::unavailable("Kestrel could not open its history."); }

/// Numbers and texts one after the other, for a hash.
class Digest {
public:
    Digest& number(std::uint64_t value) {
        for (std::size_t i = 0; i < sizeof value; ++i) bytes_ += static_cast<char>(value >> (8 * i));
        return *this;
    }
    Digest& number(std::int64_t value) { return number(static_cast<std::uint64_t>(value)); }
    Digest& text(std::string_view text) {
        number(std::uint64_t{text.size()});
        bytes_ += text;
        return *this;
    }
    Digest& id(const UUID& id) { return text({reinterpret_cast<const char*>(id.bytes.data()), id.bytes.size()}); }
    [[nodiscard]] std::uint64_t hash() const { return XXH64(bytes_.data(), bytes_.size(), 0); }

private:
    std::string bytes_;
};

std::uint64_t hashOf(const ColumnKey& key, std::string_view packed) {
    const std::uint64_t seed = Digest{}
                                   .number(key.generation)
                                   .number(static_cast<std::uint64_t>(key.stream))
                                   .number(std::uint64_t{key.field})
                                   .number(std::uint64_t{key.chunk})
                                   .hash();
    return XXH64(packed.data(), packed.size(), seed);
}

/// The layout's numbers, four bytes each.
std::string bytesOf(const GenerationLayout& layout) {
    std::string bytes;
    for (const StreamLayout& stream : layout.streams) {
        for (const std::uint32_t number : {stream.rows, stream.runs, stream.changes}) {
            for (std::size_t i = 0; i < sizeof number; ++i) bytes += static_cast<char>(number >> (8 * i));
        }
    }
    return bytes;
}

bool readLayout(std::string_view bytes, GenerationLayout& layout) {
    std::size_t at = 0;
    const auto next = [&](std::uint32_t& number) {
        number = 0;
        for (std::size_t i = 0; i < sizeof number; ++i) {
            number |= static_cast<std::uint32_t>(static_cast<std::uint8_t>(bytes[at++])) << (8 * i);
        }
    };
    if (bytes.size() != layout.streams.size() * 3 * sizeof(std::uint32_t)) return false;
    for (StreamLayout& stream : layout.streams) {
        next(stream.rows);
        next(stream.runs);
        next(stream.changes);
    }
    return true;
}

std::uint64_t hashOf(const StoredGeneration& generation) {
    Digest digest;
    digest.number(generation.number)
        .id(generation.snapshot)
        .text(generation.scope)
        .text(generation.root)
        .number(std::bit_cast<std::uint64_t>(generation.startedAt))
        .number(std::bit_cast<std::uint64_t>(generation.completedAt))
        .number(generation.records)
        .number(generation.issues)
        .number(generation.totalBytes)
        .number(std::uint64_t{generation.isComplete})
        .number(generation.origin)
        .number(generation.base)
        .number(static_cast<std::uint64_t>(generation.layout.identifiers))
        .id(generation.identifierSeed)
        .number(generation.agesCountedFrom)
        .text(bytesOf(generation.layout))
        .number(generation.columns)
        .number(generation.columnsHash)
        .number(generation.storedBytes);
    // Generations of format 1 keep the hash that they have.
    if (!generation.provenance.empty()) digest.text(generation.provenance);
    return digest.hash();
}

/// Binds and reads the values of one statement, one after the other.
class Values {
public:
    Values(SQLiteConnection& connection, sqlite3_stmt* statement) : connection_{connection}, statement_{statement} {}

    Values& bind(std::int64_t value) { return check(sqlite3_bind_int64(statement_, ++next_, value)); }
    Values& bindBlob(std::string_view bytes) {
        // Never null: that would be SQLite's NULL.
        const char* data = bytes.data() == nullptr ? "" : bytes.data();
        return check(sqlite3_bind_blob64(statement_, ++next_, data, bytes.size(), SQLITE_STATIC));
    }
    Values& bindText(std::string_view text) {
        const char* data = text.data() == nullptr ? "" : text.data();
        return check(sqlite3_bind_text64(statement_, ++next_, data, text.size(), SQLITE_STATIC, SQLITE_UTF8));
    }
    Values& bindID(const UUID& id) {
        return bindBlob({reinterpret_cast<const char*>(id.bytes.data()), id.bytes.size()});
    }
    /// Runs a statement that gives nothing, and makes it ready for the next time.
    void run() {
        const int result = sqlite3_step(statement_);
        sqlite3_reset(statement_);
        next_ = 0;
        if (result != SQLITE_DONE) connection_.fail();
    }
    /// Goes to the next row; false when there is none.
    [[nodiscard]] bool step() {
        const int result = sqlite3_step(statement_);
        next_ = -1;
        if (result == SQLITE_ROW) return true;
        if (result != SQLITE_DONE) connection_.fail();
        return false;
    }
    [[nodiscard]] std::int64_t number() { return sqlite3_column_int64(statement_, ++next_); }
    /// Valid until the next step.
    [[nodiscard]] std::string_view bytes() {
        const auto* data = static_cast<const char*>(sqlite3_column_blob(statement_, ++next_));
        return {data == nullptr ? "" : data, static_cast<std::size_t>(sqlite3_column_bytes(statement_, next_))};
    }
    [[nodiscard]] UUID id() {
        UUID id;
        const std::string_view value = bytes();
        std::memcpy(id.bytes.data(), value.data(), std::min(value.size(), id.bytes.size()));
        return id;
    }

private:
    Values& check(int result) {
        if (result != SQLITE_OK) connection_.fail();
        return *this;
    }

    SQLiteConnection& connection_;
    sqlite3_stmt* statement_;
    int next_ = 0;
};

std::int64_t single(SQLiteConnection& connection, const char* statement) {
    const auto prepared = connection.prepare(statement);
    Values values{connection, prepared.get()};
    return values.step() ? values.number() : 0;
}

}  // namespace

HistoryDatabase::HistoryDatabase(std::string path, std::chrono::milliseconds patience)
    : path_{std::move(path)}, patience_{patience} {}

bool HistoryDatabase::exists() const {
    const auto item = DatabaseFile::item(path_);
    return item && (!item->isRegular || item->size > 0);
}

FileLock HistoryDatabase::lock() const {
    try {
        if (auto guard = FileLock::acquire(path_ + "-lock", patience_)) return std::move(*guard);
    } catch (const PlatformError&) {
        throw cannotOpen();
    }
    throw KestrelError::unavailable("database is locked");
}

std::unique_ptr<SQLiteConnection> HistoryDatabase::open() const {
    const auto item = DatabaseFile::item(path_);
    if (item && !item->isRegular) throw cannotOpen();
    if (const auto reason = DatabaseFile::whyNotTrusted(path_)) {
        throw KestrelError::unavailable(fmt::format("The history {} is not used: {}", path_, *reason));
    }
    // A reader writes nothing into the database, but into what SQLite makes beside it, so that a writer shows. Where
    // nothing can be made, nobody writes; with an empty log the file is all there is.
    const auto log = DatabaseFile::item(path_ + "-wal");
    const bool isUnchanging = !DatabaseFile::isInWritableFolder(path_) && (!log || log->size == 0);
    auto connection = std::make_unique<SQLiteConnection>(path_, "Kestrel could not open its history.",
                                                         isUnchanging ? SQLiteConnection::Access::unchanging
                                                                      : SQLiteConnection::Access::writing);
    // A checkpoint is a writer's, under the lock.
    connection->leaveLogOnClose();
    sqlite3_busy_timeout(connection->handle(), static_cast<int>(patience_.count()));
    connection->run("PRAGMA wal_autocheckpoint=0;");
    // Of a database that is made: a column takes some ten pages, so that it is read and written in few calls.
    connection->run("PRAGMA page_size=16384;");
    return connection;
}

void HistoryDatabase::create(SQLiteConnection& connection) const {
    // Freed pages can be given back to the volume, without writing everything anew.
    connection.run("PRAGMA auto_vacuum=INCREMENTAL;");
    connection.run("PRAGMA journal_mode=WAL;");
    connection.run("BEGIN IMMEDIATE;");
    connection.run(fmt::format("PRAGMA application_id={};", applicationID).c_str());
    connection.run(fmt::format("PRAGMA user_version={};", formatNumber).c_str());
    connection.run(schema);
    connection.run("COMMIT;");
}

namespace {

/// Whether nothing was ever put into the file: whoever was to make our tables was stopped before they were there.
bool isFresh(SQLiteConnection& connection) {
    return single(connection, "PRAGMA application_id;") == 0 &&
           single(connection, "SELECT count(*) FROM sqlite_master;") == 0;
}

/// The format's number. Throws when the database is none of ours, or of a newer kind.
std::int64_t checkedFormat(SQLiteConnection& connection, const std::string& path) {
    if (single(connection, "PRAGMA application_id;") != applicationID) {
        throw KestrelError::unavailable(fmt::format("{} is not a history of Kestrel.", path));
    }
    const std::int64_t format = single(connection, "PRAGMA user_version;");
    if (format < 1 || format > HistoryDatabase::formatNumber) {
        throw KestrelError::unavailable(
            fmt::format("The history {} has the format {}, and this version of Kestrel knows formats up to {} only.",
                        path, format, HistoryDatabase::formatNumber));
    }
    return format;
}

/// Within the change that needs it: a program that was stopped, or a disk that is full, leaves the format as it was.
void bringUpToDate(SQLiteConnection& connection) {
    connection.run("ALTER TABLE generations ADD COLUMN provenance TEXT NOT NULL DEFAULT '';");
    connection.run(fmt::format("PRAGMA user_version={};", HistoryDatabase::formatNumber).c_str());
}

}  // namespace

HistoryDatabase::Reading::Reading(const HistoryDatabase& database) : connection_{database.open()} {
    if (isFresh(*connection_)) return;
    // The format belongs to the state that is read: another process may be about to change it.
    connection_->run("BEGIN;");
    format_ = checkedFormat(*connection_, database.path());
    select_ = connection_->prepare(
        "SELECT hash, data FROM columns WHERE generation = ? AND stream = ? AND field = ? AND chunk = ?;");
}

HistoryDatabase::Reading::~Reading() {
    select_.reset();
    connection_->tryToRun("COMMIT;");
}

std::vector<StoredGeneration> HistoryDatabase::Reading::generations() const {
    const std::lock_guard guard{mutex_};
    if (select_ == nullptr) return {};
    const std::string statement = fmt::format(
        "SELECT number, snapshot, scope, root, started_at, completed_at, records, issues, total_bytes, is_complete, "
        "origin, base, identifiers, identifier_seed, ages_from, layout, columns, columns_hash, stored_bytes, hash, "
        "is_pinned, is_forgotten, {} FROM generations ORDER BY number;",
        format_ == 1 ? "''" : "provenance");
    const auto select = connection_->prepare(statement.c_str());
    Values values{*connection_, select.get()};
    std::vector<StoredGeneration> result;
    while (values.step()) {
        StoredGeneration each;
        each.number = values.number();
        each.snapshot = values.id();
        each.scope = values.bytes();
        each.root = values.bytes();
        each.startedAt = std::bit_cast<double>(values.number());
        each.completedAt = std::bit_cast<double>(values.number());
        each.records = values.number();
        each.issues = values.number();
        each.totalBytes = values.number();
        each.isComplete = values.number() != 0;
        each.origin = values.number();
        each.base = values.number();
        const std::int64_t identifiers = values.number();
        each.identifierSeed = values.id();
        each.agesCountedFrom = values.number();
        const bool hasLayout = readLayout(values.bytes(), each.layout);
        each.columns = values.number();
        each.columnsHash = static_cast<std::uint64_t>(values.number());
        each.storedBytes = values.number();
        const auto hash = static_cast<std::uint64_t>(values.number());
        each.isPinned = values.number() != 0;
        each.isForgotten = values.number() != 0;
        each.provenance = values.bytes();
        each.layout.generation = each.number;
        each.layout.identifiers = static_cast<IdentifierForm>(identifiers & 3);
        if (!hasLayout || (identifiers & ~std::int64_t{3}) != 0 || hash != hashOf(each)) throwDamaged(each.number);
        result.push_back(std::move(each));
    }
    return result;
}

void HistoryDatabase::Reading::checkColumns(const StoredGeneration& generation) const {
    const std::lock_guard guard{mutex_};
    const auto select = connection_->prepare("SELECT hash FROM columns WHERE generation = ?;");
    Values values{*connection_, select.get()};
    values.bind(generation.number);
    std::int64_t count = 0;
    std::uint64_t sum = 0;
    while (values.step()) {
        ++count;
        sum += static_cast<std::uint64_t>(values.number());
    }
    if (count != generation.columns || sum != generation.columnsHash) throwDamaged(generation.number);
}

std::optional<std::string> HistoryDatabase::Reading::column(const ColumnKey& key) const {
    std::string packed;
    return read(key, packed) ? std::optional{std::move(packed)} : std::nullopt;
}

bool HistoryDatabase::Reading::read(const ColumnKey& key, std::string& packed) const {
    std::uint64_t hash = 0;
    {
        const std::lock_guard guard{mutex_};
        Values values{*connection_, select_.get()};
        values.bind(key.generation).bind(static_cast<int>(key.stream)).bind(key.field).bind(key.chunk);
        const bool isThere = values.step();
        if (isThere) {
            hash = static_cast<std::uint64_t>(values.number());
            packed.assign(values.bytes());
        }
        sqlite3_reset(select_.get());
        if (!isThere) return false;
    }
    if (hash != hashOf(key, packed)) throwDamaged(key.generation);
    return true;
}

HistoryDatabase::Writing::Writing(HistoryDatabase& database)
    : database_{database}, lock_{[&] {
          FileManager::standard()->createDirectory(URL::fromPath(database.path_).deletingLastPathComponent());
          return database.lock();
      }()} {
    if (!database_.exists()) DatabaseFile::createPrivate(database_.path_);
    connection_ = database_.open();
    std::int64_t format = formatNumber;
    if (isFresh(*connection_)) {
        database_.create(*connection_);
    } else {
        format = checkedFormat(*connection_, database_.path_);
    }
    // Only now is it known to be ours.
    for (const char* suffix : {"", "-wal", "-shm"}) DatabaseFile::makePrivate(database_.path_ + suffix);
    connection_->run("PRAGMA synchronous=NORMAL;");
    connection_->run("BEGIN IMMEDIATE;");
    if (format != formatNumber) bringUpToDate(*connection_);
}

HistoryDatabase::Writing::~Writing() {
    if (!isDone_) rollBack();
}

void HistoryDatabase::Writing::rollBack() noexcept {
    insert_.reset();
    connection_->tryToRun("ROLLBACK;");
    // What was written so far stands in the log, as large as it got: on a full disk it must not stay there.
    checkpoint();
    isDone_ = true;
}

void HistoryDatabase::Writing::checkpoint() noexcept {
    // Readers keep what they see, for as long as they like: nobody waits for them.
    sqlite3_busy_timeout(connection_->handle(), 0);
    connection_->tryToRun("PRAGMA wal_checkpoint(TRUNCATE);");
}

std::int64_t HistoryDatabase::Writing::nextNumber() {
    return single(*connection_, "SELECT max(seq) FROM sqlite_sequence WHERE name = 'generations';") + 1;
}

void HistoryDatabase::Writing::addColumn(const ColumnKey& key, std::string_view packed) {
    if (insert_ == nullptr) {
        insert_ = connection_->prepare(
            "INSERT INTO columns (generation, stream, field, chunk, hash, data) VALUES (?, ?, ?, ?, ?, ?);");
    }
    const std::uint64_t hash = hashOf(key, packed);
    Values values{*connection_, insert_.get()};
    values.bind(key.generation).bind(static_cast<int>(key.stream)).bind(key.field).bind(key.chunk);
    values.bind(static_cast<std::int64_t>(hash)).bindBlob(packed).run();
    ++columns_;
    columnsHash_ += hash;
    storedBytes_ += static_cast<std::int64_t>(packed.size());
}

void HistoryDatabase::Writing::add(StoredGeneration& generation) {
    generation.columns = std::exchange(columns_, 0);
    generation.columnsHash = std::exchange(columnsHash_, 0);
    generation.storedBytes = std::exchange(storedBytes_, 0);
    const auto insert = connection_->prepare(
        "INSERT INTO generations (number, snapshot, scope, root, started_at, completed_at, records, issues, "
        "total_bytes, is_complete, origin, base, identifiers, identifier_seed, ages_from, layout, columns, "
        "columns_hash, stored_bytes, hash, provenance) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, "
        "?, ?, "
        "?);");
    const std::string layout = bytesOf(generation.layout);
    Values values{*connection_, insert.get()};
    values.bind(generation.number).bindID(generation.snapshot).bindText(generation.scope).bindText(generation.root);
    values.bind(std::bit_cast<std::int64_t>(generation.startedAt));
    values.bind(std::bit_cast<std::int64_t>(generation.completedAt));
    values.bind(generation.records).bind(generation.issues).bind(generation.totalBytes);
    values.bind(generation.isComplete ? 1 : 0).bind(generation.origin).bind(generation.base);
    values.bind(static_cast<int>(generation.layout.identifiers)).bindID(generation.identifierSeed);
    values.bind(generation.agesCountedFrom).bindBlob(layout).bind(generation.columns);
    values.bind(static_cast<std::int64_t>(generation.columnsHash)).bind(generation.storedBytes);
    values.bind(static_cast<std::int64_t>(hashOf(generation))).bindText(generation.provenance).run();
}

void HistoryDatabase::Writing::setPinned(std::int64_t number, bool isPinned) {
    const auto update = connection_->prepare("UPDATE generations SET is_pinned = ? WHERE number = ?;");
    Values{*connection_, update.get()}.bind(isPinned ? 1 : 0).bind(number).run();
}

void HistoryDatabase::Writing::setForgotten(std::int64_t number) {
    const auto update = connection_->prepare("UPDATE generations SET is_forgotten = 1 WHERE number = ?;");
    Values{*connection_, update.get()}.bind(number).run();
}

void HistoryDatabase::Writing::remove(std::int64_t number) {
    for (const char* statement :
         {"DELETE FROM columns WHERE generation = ?;", "DELETE FROM generations WHERE number = ?;"}) {
        const auto removal = connection_->prepare(statement);
        Values{*connection_, removal.get()}.bind(number).run();
    }
}

void HistoryDatabase::Writing::commit(bool givesSpaceBack) {
    insert_.reset();
    try {
        connection_->run("COMMIT;");
    } catch (...) {
        rollBack();
        throw;
    }
    isDone_ = true;
    // From here on the change is made: what fails now leaves the file larger than it must be, and is left for the next.
    if (givesSpaceBack) connection_->tryToRun("PRAGMA incremental_vacuum;");
    checkpoint();
}

}  // namespace KestrelCore
