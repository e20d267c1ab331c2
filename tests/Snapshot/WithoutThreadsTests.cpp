#include "KestrelCore/Collections/DocumentLibraryIndexer.hpp"
#include "KestrelCore/Collections/MediaLibraryIndexer.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"
#include "Platform/FileLock.hpp"
#include "support/ChildProcess.hpp"
#include "support/SampleSnapshots.hpp"
#include "support/StoreFiles.hpp"
#include "support/TemporaryFolder.hpp"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
#include <system_error>
#include <thread>

namespace KestrelCore {

namespace {

/// Runs `checks` in a process that is given no further thread.
void withoutThreads(const std::function<void()>& checks) {
    inChild(ChildSetting::unprivileged, [&] {
        const rlimit none{0, 0};
        ASSERT_EQ(::setrlimit(RLIMIT_NPROC, &none), 0);
        ASSERT_THROW((std::thread{[] {}}.join()), std::system_error);
        checks();
    });
}

}  // namespace

TEST(WithoutThreads, aSnapshotAnswersAllTheSame) {
    withoutThreads([] {
        constexpr std::size_t records = 60'000;
        const ScanSnapshot snapshot = sampleSnapshot(records, 1);
        EXPECT_TRUE(snapshot.record(snapshot.records()[records / 2].path()));
        EXPECT_FALSE(snapshot.children(snapshot.scope().root.path()).empty());
        EXPECT_GT(snapshot.encodedJSON().size(), records);
        EXPECT_FALSE(MediaLibraryIndexer::makeIndex(snapshot, "/home/someone").images.empty());
        EXPECT_FALSE(DocumentLibraryIndexer::makeIndex(snapshot, "/home/someone").documents.empty());
        EXPECT_FALSE(snapshot.search(SearchQuery{"a"}, 100).empty());
    });
}

TEST(WithoutThreads, theStoreSaysWhatIsMissing) {
    const StoreFiles files;
    std::filesystem::permissions(files.folder(), std::filesystem::perms::all);
    withoutThreads([&] {
        SQLiteSnapshotStore store{files.url()};
        try {
            store.replace(sampleSnapshot(10, 1));
            FAIL() << "saved";
        } catch (const KestrelError& error) {
            EXPECT_EQ(error, KestrelError::unavailable(std::strerror(EAGAIN)));
        }
    });
}

TEST(WithoutThreads, aLockIsAskedForAgainAndAgain) {
    const TemporaryFolder folder;
    std::filesystem::permissions(folder.path(), std::filesystem::perms::all);
    withoutThreads([&] {
        const std::string path = folder / "lock";
        auto held = FileLock::acquire(path, std::chrono::milliseconds{0});
        ASSERT_TRUE(held);
        EXPECT_FALSE(FileLock::acquire(path, std::chrono::milliseconds{30}));
        held.reset();
        EXPECT_TRUE(FileLock::acquire(path, std::chrono::milliseconds{30}));
    });
}

}  // namespace KestrelCore
