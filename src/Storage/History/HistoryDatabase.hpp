#pragma once

#include "KestrelCore/Base/UUID.hpp"
#include "Platform/FileLock.hpp"
#include "Storage/History/RowValues.hpp"
#include "Storage/History/StreamView.hpp"
#include "Storage/SQLiteConnection.hpp"

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// One generation as the database has it.
struct StoredGeneration {
    std::int64_t number = 0;
    UUID snapshot;
    std::string scope;     ///< its JSON text
    std::string root;      ///< the scope's path; of what comes from elsewhere a text that is no path
    double startedAt = 0;  ///< seconds since the reference date
    double completedAt = 0;
    std::int64_t records = 0;
    std::int64_t issues = 0;
    std::int64_t totalBytes = 0;
    bool isComplete = true;
    std::int64_t origin = 0;
    std::int64_t base = 0;  ///< the generation that this is a difference to; 0 for a full one
    UUID identifierSeed;
    std::int64_t agesCountedFrom = 0;
    GenerationLayout layout;
    std::int64_t columns = 0;       ///< how many stand in the database
    std::uint64_t columnsHash = 0;  ///< of all their hashes together
    std::int64_t storedBytes = 0;   ///< of the columns
    std::string provenance;         ///< see ProvenanceText.hpp

    // What may change afterwards.
    bool isPinned = false;
    bool isForgotten = false;  ///< kept only because others are differences to it
};

/// The SQLite database of a history, and what keeps its processes apart. The calls throw `KestrelError::unavailable`
/// with a finished sentence, or SQLite's own text.
///
/// One process writes at a time, under a lock on a file beside the database, which covers commit and checkpoint: SQLite
/// before 3.51.3 can damage a database when one connection commits while another runs a checkpoint. Readers take no
/// lock of ours, never run a checkpoint, and see the state in which they began.
class HistoryDatabase {
public:
    /// What this program writes. Newer ones are refused. Format 1, whose generations have no provenance, is read as it
    /// is, and turned into this one by the first change, together with it.
    static constexpr int formatNumber = 2;

    /// Of the database at `path`, which is neither opened nor made yet.
    HistoryDatabase(std::string path, std::chrono::milliseconds patience);

    [[nodiscard]] const std::string& path() const { return path_; }
    /// Whether there is a file with anything in it.
    [[nodiscard]] bool exists() const;

    /// A view of one state of the database. Any thread; calls wait for each other. The file must exist.
    class Reading final : public ColumnSource {
    public:
        explicit Reading(const HistoryDatabase& database);
        ~Reading() override;

        /// All of them, forgotten ones too, ascending by number. Throws when one contradicts its hash.
        [[nodiscard]] std::vector<StoredGeneration> generations() const;
        /// Whether each column of the generation is there, as far as that shows without reading what is in them.
        void checkColumns(const StoredGeneration& generation) const;
        [[nodiscard]] std::optional<std::string> column(const ColumnKey& key) const override;
        [[nodiscard]] bool read(const ColumnKey& key, std::string& packed) const override;

    private:
        mutable std::mutex mutex_;
        std::unique_ptr<SQLiteConnection> connection_;
        std::int64_t format_ = formatNumber;
        SQLiteConnection::Statement select_;  ///< guarded by `mutex_`; null where the tables were never made
    };

    /// One change, made when `commit` returns and not at all without it. The only one in all processes.
    class Writing {
    public:
        /// Makes the database where there is none. Throws "database is locked" when another writes for too long.
        explicit Writing(HistoryDatabase& database);
        ~Writing();
        Writing(const Writing&) = delete;
        Writing& operator=(const Writing&) = delete;

        /// A number that no generation ever had.
        [[nodiscard]] std::int64_t nextNumber();
        void addColumn(const ColumnKey& key, std::string_view packed);
        /// Adds the generation whose columns have been added: its counts of them are filled in here.
        void add(StoredGeneration& generation);
        void setPinned(std::int64_t number, bool isPinned);
        void setForgotten(std::int64_t number);
        /// Removes it with all its columns.
        void remove(std::int64_t number);
        /// Ends the change. `givesSpaceBack` where something was removed.
        void commit(bool givesSpaceBack);

    private:
        void rollBack() noexcept;
        /// Moves the log into the database, as far as no reader needs it.
        void checkpoint() noexcept;

        HistoryDatabase& database_;
        FileLock lock_;
        std::unique_ptr<SQLiteConnection> connection_;
        SQLiteConnection::Statement insert_;
        std::int64_t columns_ = 0;
        std::uint64_t columnsHash_ = 0;
        std::int64_t storedBytes_ = 0;
        bool isDone_ = false;
    };

private:
    [[nodiscard]] FileLock lock() const;
    [[nodiscard]] std::unique_ptr<SQLiteConnection> open() const;
    void create(SQLiteConnection& connection) const;

    std::string path_;
    std::chrono::milliseconds patience_;
};

}  // namespace KestrelCore
