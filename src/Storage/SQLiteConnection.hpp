#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_blob;
struct sqlite3_stmt;

namespace KestrelCore {

/// Owns an open SQLite database. Failures of statements are `KestrelError::unavailable` with SQLite's own text.
class SQLiteConnection {
public:
    enum class Access {
        writing,    ///< for reading, too; made when missing
        unchanging  ///< only read, and nothing is made beside it: for a file that nobody can change now
    };
    /// Throws `unavailable` with the sentence `failure`.
    SQLiteConnection(const std::string& path, std::string_view failure, Access access = Access::writing);
    ~SQLiteConnection();
    SQLiteConnection(const SQLiteConnection&) = delete;
    SQLiteConnection& operator=(const SQLiteConnection&) = delete;

    /// Runs a statement without parameters or results.
    void run(const char* statement);
    /// The same when its failure changes nothing.
    void tryToRun(const char* statement) noexcept;

    struct Finalizer {
        void operator()(sqlite3_stmt* statement) const;
    };
    using Statement = std::unique_ptr<sqlite3_stmt, Finalizer>;
    /// The compiled statement, which must go before the connection does.
    [[nodiscard]] Statement prepare(const char* statement);

    /// Throws `unavailable` with the text of the last failure.
    [[noreturn]] void fail() const;
    /// Closing leaves the write-ahead log as it is.
    void leaveLogOnClose() noexcept;

    [[nodiscard]] sqlite3* handle() const { return handle_; }

private:
    sqlite3* handle_ = nullptr;
};

/// One value of one row, read or written in pieces. The row must exist as long as this does.
class SQLiteBlob {
public:
    enum class Access { reading, writing };

    /// Of the column `payload` of `snapshots`. `isOpen` is false when the row or the value can't be had this way.
    SQLiteBlob(SQLiteConnection& connection, std::int64_t row, Access access);
    ~SQLiteBlob();
    SQLiteBlob(const SQLiteBlob&) = delete;
    SQLiteBlob& operator=(const SQLiteBlob&) = delete;

    [[nodiscard]] bool isOpen() const { return blob_ != nullptr; }
    [[nodiscard]] std::size_t size() const;
    /// False when SQLite failed; the connection knows why.
    [[nodiscard]] bool read(char* into, std::size_t length, std::size_t offset);
    [[nodiscard]] bool write(std::string_view bytes, std::size_t offset);

private:
    sqlite3_blob* blob_ = nullptr;
};

}  // namespace KestrelCore
