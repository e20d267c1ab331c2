#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"

#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/JSON/CodingErrors.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "Platform/FileLock.hpp"
#include "support/ChildProcess.hpp"
#include "support/SampleSnapshots.hpp"
#include "support/StoreFiles.hpp"
#include "support/SystemCallFilter.hpp"
#include "support/UnprivilegedThread.hpp"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cerrno>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <thread>

namespace KestrelCore {

namespace fs = std::filesystem;

namespace {

constexpr const char* cannotOpen = "Kestrel could not open its private scan index.";

/// The message of the `unavailable` error that `work` must throw.
template <typename Work>
std::string unavailableMessage(Work work) {
    try {
        work();
    } catch (const KestrelError& error) {
        EXPECT_EQ(error.errorCase(), KestrelError::Case::unavailable);
        return error.what();
    }
    ADD_FAILURE() << "no error";
    return {};
}

TEST(SQLiteSnapshotStore, createsFolderTableAndNothingElseInANewFile) {
    StoreFiles files;
    const std::string path = files.folder() + "/a/b/snapshots.sqlite";
    SQLiteSnapshotStore store{URL::fromPath(path)};
    EXPECT_TRUE(std::filesystem::is_regular_file(path));
    EXPECT_EQ(store.loadLatest(), std::nullopt);
}

TEST(SQLiteSnapshotStore, hasExactlyTheStatedSchema) {
    StoreFiles files;
    { SQLiteSnapshotStore store{files.url()}; }
    EXPECT_EQ(
        files.query("SELECT sql FROM sqlite_master WHERE name = 'snapshots';"),
        "CREATE TABLE snapshots (\n    id TEXT PRIMARY KEY,\n    completed_at REAL NOT NULL,\n    payload BLOB NOT "
        "NULL\n)");
    EXPECT_EQ(files.query("PRAGMA journal_mode;"), "wal");
}

TEST(SQLiteSnapshotStore, savesAgainAfterItsFileWasReadOnly) {
    inChild(ChildSetting::unprivileged, [] {
        StoreFiles files;
        SQLiteSnapshotStore{files.url()}.replace(sampleSnapshot(10, 1));
        ASSERT_EQ(chmod(files.path().c_str(), 0444), 0);
        EXPECT_EQ(unavailableMessage([&] { SQLiteSnapshotStore{files.url()}.replace(sampleSnapshot(10, 2)); }),
                  "attempt to write a readonly database");
        ASSERT_EQ(chmod(files.path().c_str(), 0644), 0);
        const ScanSnapshot snapshot = sampleSnapshot(10, 3);
        SQLiteSnapshotStore store{files.url()};
        store.replace(snapshot);
        EXPECT_EQ(store.loadLatest(), snapshot);
    });
}

TEST(SQLiteSnapshotStore, givesBackWhatWasSaved) {
    StoreFiles files;
    const ScanSnapshot snapshot = sampleSnapshot(5'000, 1);
    SQLiteSnapshotStore store{files.url()};
    store.replace(snapshot);
    const auto loaded = store.loadLatest();
    ASSERT_TRUE(loaded.has_value());
    EXPECT_EQ(*loaded, snapshot);
    EXPECT_TRUE(contents(*loaded) == contents(snapshot));
}

TEST(SQLiteSnapshotStore, givesBackWhatAnEarlierRunSaved) {
    StoreFiles files;
    const ScanSnapshot snapshot = sampleSnapshot(300, 2);
    SQLiteSnapshotStore{files.url()}.replace(snapshot);
    EXPECT_EQ(SQLiteSnapshotStore{files.url()}.loadLatest(), snapshot);
}

TEST(SQLiteSnapshotStore, storesIdentifierDateAndOneJSONText) {
    StoreFiles files;
    const ScanSnapshot snapshot = sampleSnapshot(10'000, 3);  // more than one piece
    SQLiteSnapshotStore{files.url()}.replace(snapshot);
    EXPECT_EQ(files.query("SELECT id FROM snapshots;"), snapshot.id().uuidString());
    EXPECT_EQ(files.query("SELECT completed_at FROM snapshots;"), "1678307200.0");
    EXPECT_EQ(files.query("SELECT typeof(payload) FROM snapshots;"), "blob");
    EXPECT_TRUE(files.query("SELECT CAST(payload AS TEXT) FROM snapshots;") == snapshot.encodedJSON());
}

TEST(SQLiteSnapshotStore, holdsOneRowAfterTwoSaves) {
    StoreFiles files;
    SQLiteSnapshotStore store{files.url()};
    store.replace(sampleSnapshot(200, 4, 800'000'000));
    const ScanSnapshot second = sampleSnapshot(10, 5, 700'000'000);  // completed earlier, and still the one that counts
    store.replace(second);
    EXPECT_EQ(store.loadLatest(), second);
    EXPECT_EQ(files.query("SELECT count(*) FROM snapshots;"), "1");
}

TEST(SQLiteSnapshotStore, leavesAnEmptyLogAfterASave) {
    StoreFiles files;
    SQLiteSnapshotStore store{files.url()};
    store.replace(sampleSnapshot(2'000, 6));
    EXPECT_EQ(std::filesystem::file_size(files.path() + "-wal"), 0U);
}

TEST(SQLiteSnapshotStore, loadsNoneAfterClear) {
    StoreFiles files;
    SQLiteSnapshotStore store{files.url()};
    store.replace(sampleSnapshot(20, 7));
    store.clear();
    EXPECT_EQ(store.loadLatest(), std::nullopt);
    EXPECT_EQ(files.query("SELECT count(*) FROM snapshots;"), "0");
}

TEST(SQLiteSnapshotStore, loadsTheRowThatWasCompletedLast) {
    StoreFiles files;
    const ScanSnapshot newer = sampleSnapshot(20, 8, 800'000'000);
    SQLiteSnapshotStore store{files.url()};
    store.replace(newer);
    files.query("INSERT INTO snapshots VALUES ('older', 1, 'no JSON');");
    EXPECT_EQ(store.loadLatest(), newer);
}

TEST(SQLiteSnapshotStore, dropsTheTableOfOlderVersionsOnSaveAndOnClear) {
    const auto search = "SELECT count(*) FROM sqlite_master WHERE name = 'node_search';";
    StoreFiles files;
    SQLiteSnapshotStore store{files.url()};
    files.query("CREATE TABLE node_search (x); INSERT INTO node_search VALUES (1);");
    EXPECT_EQ(files.query(search), "1");
    store.replace(sampleSnapshot(5, 9));
    EXPECT_EQ(files.query(search), "0");
    files.query("CREATE TABLE node_search (x);");
    store.clear();
    EXPECT_EQ(files.query(search), "0");
}

TEST(SQLiteSnapshotStore, refusesADateThatIsNotFiniteBeforeAnythingIsTouched) {
    StoreFiles files;
    SQLiteSnapshotStore store{files.url()};
    const ScanSnapshot earlier = sampleSnapshot(5, 10);
    store.replace(earlier);
    EXPECT_THROW(store.replace(sampleSnapshot(5, 11, std::numeric_limits<double>::infinity())), EncodingError);
    EXPECT_EQ(store.loadLatest(), earlier);
}

TEST(SQLiteSnapshotStore, throwsTheReadersErrorForAPayloadThatIsNoSnapshot) {
    StoreFiles files;
    SQLiteSnapshotStore store{files.url()};
    for (const char* payload : {"x''", "x'7b7d'", "'text'", "12", "zeroblob(100000)"}) {
        files.query(std::string{"DELETE FROM snapshots; INSERT INTO snapshots VALUES ('a', 1, "} + payload + ");");
        EXPECT_THROW((void)store.loadLatest(), DecodingError) << payload;
    }
    const ScanSnapshot next = sampleSnapshot(5, 12);
    store.replace(next);
    EXPECT_EQ(store.loadLatest(), next);
}

TEST(SQLiteSnapshotStore, readsAPayloadThatIsStoredAsText) {
    StoreFiles files;
    const ScanSnapshot snapshot = sampleSnapshot(5, 13);
    SQLiteSnapshotStore store{files.url()};
    store.replace(snapshot);
    files.query("UPDATE snapshots SET payload = CAST(payload AS TEXT);");
    EXPECT_EQ(store.loadLatest(), snapshot);
}

TEST(SQLiteSnapshotStore, readsATableOfAnotherMake) {
    StoreFiles files;
    const ScanSnapshot snapshot = sampleSnapshot(5, 14);
    SQLiteSnapshotStore{files.url()}.replace(snapshot);
    files.query("ALTER TABLE snapshots RENAME TO old; CREATE TABLE snapshots (id TEXT PRIMARY KEY, completed_at REAL, "
                "payload BLOB) WITHOUT ROWID; INSERT INTO snapshots SELECT * FROM old;");
    SQLiteSnapshotStore store{files.url()};
    EXPECT_EQ(store.loadLatest(), snapshot);
    // Such a table can't be written in pieces; what it holds stays.
    EXPECT_NE(unavailableMessage([&] { store.replace(sampleSnapshot(6, 15)); }), "");
    EXPECT_EQ(store.loadLatest(), snapshot);
}

TEST(SQLiteSnapshotStore, tellsWhichColumnAForeignTableLacks) {
    StoreFiles files;
    files.query("CREATE TABLE snapshots (id TEXT, completed_at REAL);");
    SQLiteSnapshotStore store{files.url()};
    EXPECT_EQ(unavailableMessage([&] { (void)store.loadLatest(); }), "no such column: payload");
    EXPECT_EQ(unavailableMessage([&] { store.replace(sampleSnapshot(5, 16)); }),
              "table snapshots has no column named payload");
}

TEST(SQLiteSnapshotStore, takesTheTextOfTheFailingStatementForAFileThatIsNoDatabase) {
    StoreFiles files;
    files.setBytes(std::string(5'000, 'x'));
    EXPECT_EQ(unavailableMessage([&] { SQLiteSnapshotStore{files.url()}; }), "file is not a database");
    EXPECT_EQ(files.bytes(), std::string(5'000, 'x'));
}

TEST(SQLiteSnapshotStore, takesAnEmptyFileForANewOne) {
    StoreFiles files;
    files.setBytes("");
    SQLiteSnapshotStore store{files.url()};
    EXPECT_EQ(store.loadLatest(), std::nullopt);
}

TEST(SQLiteSnapshotStore, opensNothingButPlainFiles) {
    StoreFiles files;
    ASSERT_EQ(mkfifo(files.path().c_str(), 0600), 0);
    EXPECT_EQ(unavailableMessage([&] { SQLiteSnapshotStore{files.url()}; }), cannotOpen);
    std::filesystem::remove(files.path());
    std::filesystem::create_directory(files.path());
    EXPECT_EQ(unavailableMessage([&] { SQLiteSnapshotStore{files.url()}; }), cannotOpen);
    std::filesystem::remove(files.path());
    std::filesystem::create_symlink("/dev/zero", files.path());
    EXPECT_EQ(unavailableMessage([&] { SQLiteSnapshotStore{files.url()}; }), cannotOpen);
    std::filesystem::remove(files.path());
    std::filesystem::create_symlink(files.path(), files.path());  // a loop
    EXPECT_EQ(unavailableMessage([&] { SQLiteSnapshotStore{files.url()}; }), cannotOpen);
}

TEST(SQLiteSnapshotStore, opensNothingInAFolderThatCannotBeWritten) {
    StoreFiles files;
    const auto opensAsNobody = [&] {
        std::filesystem::permissions(files.folder(), std::filesystem::perms{0555});
        const UnprivilegedThread unprivileged;
        EXPECT_EQ(unavailableMessage([&] { SQLiteSnapshotStore{files.url()}; }), cannotOpen);
    };
    opensAsNobody();
    std::filesystem::permissions(files.folder(), std::filesystem::perms{0755});
    EXPECT_TRUE(std::filesystem::is_empty(files.folder()));

    // With a database in it SQLite would open it, and say something else later.
    const ScanSnapshot snapshot = sampleSnapshot(5, 17);
    SQLiteSnapshotStore{files.url()}.replace(snapshot);
    for (const auto& item : std::filesystem::directory_iterator{files.folder()}) {
        std::filesystem::permissions(item, std::filesystem::perms{0666});
    }
    opensAsNobody();
    std::filesystem::permissions(files.folder(), std::filesystem::perms{0755});
    EXPECT_EQ(SQLiteSnapshotStore{files.url()}.loadLatest(), snapshot);
}

TEST(SQLiteSnapshotStore, followsALinkToADatabase) {
    StoreFiles files;
    std::filesystem::create_directory(files.folder() + "/elsewhere");
    std::filesystem::create_symlink("elsewhere/real.sqlite", files.path());
    const ScanSnapshot snapshot = sampleSnapshot(5, 17);
    SQLiteSnapshotStore{files.url()}.replace(snapshot);
    EXPECT_EQ(SQLiteSnapshotStore{URL::fromPath(files.folder() + "/elsewhere/real.sqlite")}.loadLatest(), snapshot);
    // One lock for all names of the database.
    EXPECT_TRUE(std::filesystem::exists(files.folder() + "/elsewhere/real.sqlite-lock"));
    EXPECT_FALSE(std::filesystem::exists(files.path() + "-lock"));
}

TEST(SQLiteSnapshotStore, passesTheErrorOfAFolderThatCannotBeMadeUnchanged) {
    StoreFiles files;
    files.setBytes("in the way");
    try {
        SQLiteSnapshotStore store{URL::fromPath(files.path() + "/below/snapshots.sqlite")};
        FAIL();
    } catch (const PlatformError& error) {
        EXPECT_EQ(error.domain(), PlatformError::Domain::fileManager);
        EXPECT_EQ(error.code(), PlatformError::fileWriteUnknown);
    }
}

TEST(SQLiteSnapshotStore, waitsForAnotherSaverAndThenSaysThatTheDatabaseIsLocked) {
    StoreFiles files;
    SQLiteSnapshotStore store{files.url(), {.patience = std::chrono::milliseconds{20}, .longestPayload = {}}};
    const ScanSnapshot earlier = sampleSnapshot(5, 18);
    store.replace(earlier);
    {
        const auto held = FileLock::acquire(files.path() + "-lock", std::chrono::milliseconds{0});
        ASSERT_TRUE(held.has_value());
        EXPECT_EQ(unavailableMessage([&] { store.replace(sampleSnapshot(5, 19)); }), "database is locked");
        EXPECT_EQ(unavailableMessage([&] { store.clear(); }), "database is locked");
        EXPECT_EQ(store.loadLatest(), earlier);  // waits for nobody
    }
    const ScanSnapshot later = sampleSnapshot(5, 20);
    store.replace(later);
    EXPECT_EQ(store.loadLatest(), later);
}

TEST(SQLiteSnapshotStore, saysThatTheDatabaseIsLockedByAWriterWhoDoesNotKnowOurLock) {
    StoreFiles files;
    SQLiteSnapshotStore store{files.url(), {.patience = std::chrono::milliseconds{20}, .longestPayload = {}}};
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(files.path().c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE;", nullptr, nullptr, nullptr), SQLITE_OK);
    EXPECT_EQ(unavailableMessage([&] { store.replace(sampleSnapshot(5, 21)); }), "database is locked");
    sqlite3_close(other);
    store.replace(sampleSnapshot(5, 22));
}

TEST(SQLiteSnapshotStore, waitsForAWriterBeforeItLooksWhatIsStored) {
    StoreFiles files;
    SQLiteSnapshotStore store{files.url(), {.patience = std::chrono::milliseconds{20}, .longestPayload = {}}};
    store.replace(sampleSnapshot(5, 30));
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(files.path().c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE;", nullptr, nullptr, nullptr), SQLITE_OK);
    const UUID another = sampleSnapshot(5, 31).id();
    EXPECT_EQ(unavailableMessage([&] { (void)store.replaceStored(another, sampleSnapshot(5, 32)); }),
              "database is locked");
    sqlite3_close(other);
    EXPECT_FALSE(store.replaceStored(another, sampleSnapshot(5, 32)));
}

TEST(SQLiteSnapshotStore, keepsTheReferencesOfForeignTables) {
    StoreFiles files;
    SQLiteSnapshotStore store{files.url()};
    const ScanSnapshot earlier = sampleSnapshot(5, 33);
    store.replace(earlier);
    files.query("CREATE TABLE notes (id TEXT REFERENCES snapshots(id)); INSERT INTO notes SELECT id FROM snapshots;");
    EXPECT_EQ(unavailableMessage([&] { store.replace(sampleSnapshot(5, 34)); }), "FOREIGN KEY constraint failed");
    EXPECT_EQ(unavailableMessage([&] { store.clear(); }), "FOREIGN KEY constraint failed");
    EXPECT_EQ(store.loadLatest(), earlier);
}

TEST(SQLiteSnapshotStore, tellsWhenItsLogCannotBeWrittenBackAfterAClear) {
    inChild(ChildSetting::same, [] {
        StoreFiles files;
        SQLiteSnapshotStore store{files.url()};
        store.replace(sampleSnapshot(5, 35));
        // A log that is in use already: the synchronisation that is asked for writes more to it without a sync, and
        // syncs when it is copied into the database. One kept open, since the last to close copies it.
        sqlite3* other = nullptr;
        ASSERT_EQ(sqlite3_open(files.path().c_str(), &other), SQLITE_OK);
        ASSERT_EQ(sqlite3_exec(other, "CREATE TABLE node_search (x);", nullptr, nullptr, nullptr), SQLITE_OK);
        if (!refuseSystemCalls({SYS_fsync, SYS_fdatasync}, EIO)) GTEST_SKIP() << "no filter of system calls here";
        EXPECT_EQ(unavailableMessage([&] { store.clear(); }), "disk I/O error");
        EXPECT_EQ(store.loadLatest(), std::nullopt);  // that much is done
        sqlite3_close(other);
    });
}

TEST(SQLiteSnapshotStore, isPrivateAndBecomesSo) {
    StoreFiles files;
    const std::string folder = files.folder() + "/a";
    const std::string path = folder + "/b/snapshots.sqlite";
    const auto mode = [](const std::string& item) { return static_cast<unsigned>(fs::status(item).permissions()); };
    const auto expectPrivate = [&] {
        for (const char* suffix : {"", "-wal", "-shm", "-lock"}) EXPECT_EQ(mode(path + suffix), 0600U) << suffix;
    };
    const mode_t mask = umask(0);
    {
        SQLiteSnapshotStore store{URL::fromPath(path)};
        store.replace(sampleSnapshot(5, 36));
        EXPECT_EQ(mode(folder), 0700U);
        EXPECT_EQ(mode(folder + "/b"), 0700U);
        expectPrivate();
        // One that an earlier version made, with its log.
        for (const char* suffix : {"", "-wal", "-shm", "-lock"}) chmod((path + suffix).c_str(), 0664);
        SQLiteSnapshotStore again{URL::fromPath(path)};
        expectPrivate();
    }
    {
        std::filesystem::remove_all(folder);
        std::filesystem::create_directories(folder + "/b");
        std::ofstream{path} << "";
        SQLiteSnapshotStore store{URL::fromPath(path)};
        store.replace(sampleSnapshot(5, 37));
        expectPrivate();
    }
    umask(mask);
}

TEST(SQLiteSnapshotStore, checksForSpaceBeforeItWrites) {
    inChild(ChildSetting::mountNamespace, [] {
        StoreFiles files;
        ASSERT_EQ(mount("none", files.folder().c_str(), "tmpfs", 0, "size=4m"), 0);
        SQLiteSnapshotStore store{files.url()};
        const ScanSnapshot earlier = sampleSnapshot(100, 38);
        store.replace(earlier);
        EXPECT_EQ(unavailableMessage([&] { store.replace(sampleSnapshot(20'000, 39)); }), "database or disk is full");
        EXPECT_EQ(fs::file_size(files.path() + "-wal"), 0U);
        EXPECT_EQ(store.loadLatest(), earlier);
        const ScanSnapshot next = sampleSnapshot(1'000, 40);
        store.replace(next);
        EXPECT_EQ(store.loadLatest(), next);
    });
}

TEST(SQLiteSnapshotStore, takesAwayWhatItHadBegun) {
    inChild(ChildSetting::same, [] {
        StoreFiles files;
        SQLiteSnapshotStore store{files.url()};
        const ScanSnapshot earlier = sampleSnapshot(100, 41);
        store.replace(earlier);
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{.rlim_cur = 1'000'000, .rlim_max = RLIM_INFINITY};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        EXPECT_EQ(unavailableMessage([&] { store.replace(sampleSnapshot(20'000, 42)); }), "disk I/O error");
        EXPECT_EQ(fs::file_size(files.path() + "-wal"), 0U);
        EXPECT_EQ(store.loadLatest(), earlier);
    });
}

TEST(SQLiteSnapshotStore, keepsTheEarlierSnapshotWhenThePayloadIsAboveTheLimit) {
    StoreFiles files;
    SQLiteSnapshotStore store{files.url(), {.patience = std::chrono::milliseconds{20}, .longestPayload = 100'000}};
    const ScanSnapshot small = sampleSnapshot(100, 23);
    store.replace(small);
    EXPECT_EQ(unavailableMessage([&] { store.replace(sampleSnapshot(1'000, 24)); }), "string or blob too big");
    EXPECT_EQ(store.loadLatest(), small);
    const ScanSnapshot next = sampleSnapshot(90, 25);
    store.replace(next);
    EXPECT_EQ(store.loadLatest(), next);
}

TEST(SQLiteSnapshotStore, savesIntoANewFileWhenItsOwnWasDeleted) {
    StoreFiles files;
    SQLiteSnapshotStore store{files.url()};
    store.replace(sampleSnapshot(50, 26));
    std::filesystem::remove_all(files.folder());
    const ScanSnapshot next = sampleSnapshot(60, 27);
    store.replace(next);
    EXPECT_EQ(store.loadLatest(), next);
    EXPECT_EQ(SQLiteSnapshotStore{files.url()}.loadLatest(), next);
}

TEST(SQLiteSnapshotStore, mayBeUsedFromSeveralThreads) {
    StoreFiles files;
    SQLiteSnapshotStore store{files.url()};
    const ScanSnapshot first = sampleSnapshot(200, 28);
    const ScanSnapshot second = sampleSnapshot(300, 29);
    store.replace(first);
    std::thread saver{[&] {
        for (int i = 0; i < 20; ++i) store.replace(i % 2 == 0 ? second : first);
    }};
    for (int i = 0; i < 20; ++i) {
        const auto loaded = store.loadLatest();
        EXPECT_TRUE(loaded == first || loaded == second);
    }
    saver.join();
}

TEST(SQLiteSnapshotStore, replacesASnapshotOnlyWhileItIsTheStoredOne) {
    StoreFiles files;
    const ScanSnapshot first = sampleSnapshot(100, 1, 1);
    const ScanSnapshot second = sampleSnapshot(100, 2, 2);
    const ScanSnapshot third = sampleSnapshot(100, 3, 1);
    SQLiteSnapshotStore store{files.url()};
    SQLiteSnapshotStore other{files.url()};
    EXPECT_FALSE(store.replaceStored(first.id(), third));  // there is none yet
    EXPECT_EQ(store.loadLatest(), std::nullopt);
    store.replace(first);
    EXPECT_TRUE(store.replaceStored(first.id(), second));
    EXPECT_EQ(store.loadLatest(), second);

    other.replace(first);
    EXPECT_FALSE(store.replaceStored(second.id(), third));
    EXPECT_EQ(store.loadLatest(), first);
    // And the store still saves after that.
    EXPECT_TRUE(store.replaceStored(first.id(), third));
    EXPECT_EQ(other.loadLatest(), third);
    other.clear();
    EXPECT_FALSE(store.replaceStored(third.id(), second));
    EXPECT_EQ(other.loadLatest(), std::nullopt);
}

}  // namespace
}  // namespace KestrelCore
