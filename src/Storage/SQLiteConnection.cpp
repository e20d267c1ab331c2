#include "Storage/SQLiteConnection.hpp"

#include "Base/PercentCoding.hpp"
#include "KestrelCore/Model/KestrelError.hpp"

#include <sqlite3.h>

namespace KestrelCore {

SQLiteConnection::SQLiteConnection(const std::string& path, std::string_view failure, Access access) {
    // Serialized: the pieces of a value are read on another thread while a statement of this one stands.
    int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX;
    std::string name = path;
    if (access == Access::unchanging) {
        flags = SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_FULLMUTEX;
        name = "file:" + percentEncoded(path, keepingUnreservedAnd("/")) + "?immutable=1";
    }
    if (sqlite3_open_v2(name.c_str(), &handle_, flags, nullptr) != SQLITE_OK) {
        sqlite3_close(handle_);  // a failed open leaves a handle, too
        throw KestrelError::unavailable(failure);
    }
}

SQLiteConnection::~SQLiteConnection() { sqlite3_close(handle_); }

void SQLiteConnection::fail() const {
    const char* message = handle_ == nullptr ? nullptr : sqlite3_errmsg(handle_);
    throw KestrelError::unavailable(message == nullptr ? "Unknown SQLite error" : message);
}

void SQLiteConnection::run(const char* statement) {
    if (sqlite3_exec(handle_, statement, nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

void SQLiteConnection::tryToRun(const char* statement) noexcept {
    (void)sqlite3_exec(handle_, statement, nullptr, nullptr, nullptr);
}

void SQLiteConnection::Finalizer::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

SQLiteConnection::Statement SQLiteConnection::prepare(const char* statement) {
    sqlite3_stmt* prepared = nullptr;
    if (sqlite3_prepare_v2(handle_, statement, -1, &prepared, nullptr) != SQLITE_OK) fail();
    return Statement{prepared};
}

void SQLiteConnection::leaveLogOnClose() noexcept {
    sqlite3_db_config(handle_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

SQLiteBlob::SQLiteBlob(SQLiteConnection& connection, std::int64_t row, Access access) {
    const int isWriting = access == Access::writing ? 1 : 0;
    if (sqlite3_blob_open(connection.handle(), "main", "snapshots", "payload", row, isWriting, &blob_) != SQLITE_OK) {
        sqlite3_blob_close(blob_);
        blob_ = nullptr;
    }
}

SQLiteBlob::~SQLiteBlob() { sqlite3_blob_close(blob_); }

std::size_t SQLiteBlob::size() const { return static_cast<std::size_t>(sqlite3_blob_bytes(blob_)); }

bool SQLiteBlob::read(char* into, std::size_t length, std::size_t offset) {
    return sqlite3_blob_read(blob_, into, static_cast<int>(length), static_cast<int>(offset)) == SQLITE_OK;
}

bool SQLiteBlob::write(std::string_view bytes, std::size_t offset) {
    return sqlite3_blob_write(blob_, bytes.data(), static_cast<int>(bytes.size()), static_cast<int>(offset)) ==
           SQLITE_OK;
}

}  // namespace KestrelCore
