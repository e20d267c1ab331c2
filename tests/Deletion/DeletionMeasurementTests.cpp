#include "KestrelCore/Deletion/DeletionMeasurement.hpp"

#include "KestrelCore/Deletion/DeletionPlan.hpp"
#include "support/ChildProcess.hpp"
#include "support/DiskRecord.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sys/mount.h>
#include <sys/stat.h>

namespace KestrelCore {

namespace fs = std::filesystem;

namespace {

std::int64_t blocks(const std::string& path) { return diskRecord(path).allocatedBytes(); }

}  // namespace

TEST(DeletionMeasurement, countsFoldersWithTheirOwnBlocks) {
    const TemporaryFolder folder;
    std::int64_t sum = blocks(folder.makeFolder("a"));
    for (int i = 0; i < 20; ++i) sum += blocks(folder.makeFolder("a/" + std::to_string(i)));
    DeletionMeasurement measurement;
    const auto amount = measurement.measure(folder / "a");
    EXPECT_EQ(amount.allocatedBytes, sum);
    EXPECT_EQ(amount.unread, 0U);
    EXPECT_EQ(measurement.freedBytes({folder / "a", folder / "a"}), sum);
}

TEST(DeletionMeasurement, freesAFileWithItsLastNameOnly) {
    const TemporaryFolder folder;
    const std::string first = folder.makeFile("0", std::string(50'000, 'x'));
    for (const char* name : {"1", "2"}) fs::create_hard_link(first, folder / name);
    DeletionMeasurement measurement;
    for (const char* name : {"0", "1", "2"})
        EXPECT_EQ(measurement.measure(folder / name).allocatedBytes, blocks(first));
    EXPECT_EQ(measurement.freedBytes({folder / "0", folder / "1"}), 0);
    EXPECT_EQ(measurement.freedBytes({folder / "0", folder / "1", folder / "1"}), 0);
    EXPECT_EQ(measurement.freedBytes({folder / "0", folder / "1", folder / "2"}), blocks(first));
    EXPECT_EQ(measurement.freedBytes({folder / "never measured"}), 0);
}

TEST(DeletionMeasurement, staysOnOneMount) {
    const TemporaryFolder folder;
    folder.makeFile("other/large", std::string(1'000'000, 'x'));
    const std::int64_t sum = blocks(folder.makeFolder("a")) + blocks(folder.makeFolder("other"));
    folder.makeFolder("a/mount");
    inChild(ChildSetting::mountNamespace, [&] {
        if (::mount((folder / "other").c_str(), (folder / "a/mount").c_str(), nullptr, MS_BIND, nullptr) != 0)
            GTEST_SKIP() << "bind mounts are not allowed here: " << std::strerror(errno);
        EXPECT_EQ(DeletionMeasurement{}.measure(folder / "a").allocatedBytes, sum);
    });
}

TEST(DeletionMeasurement, saysWhatItCouldNotRead) {
    const TemporaryFolder folder;
    folder.makeFile("a/closed/b");
    ::chmod((folder / "a/closed").c_str(), 0);
    ::chmod(folder.path().c_str(), 0755);
    inChild(ChildSetting::unprivileged, [&] { EXPECT_EQ(DeletionMeasurement{}.measure(folder / "a").unread, 1U); });
    EXPECT_EQ(DeletionMeasurement{}.measure(folder / "nothing").unread, 1U);
}

TEST(DeletionMeasurement, endsWhenItIsCancelled) {
    const TemporaryFolder folder;
    folder.makeFile("a/b", "content");
    const CancellationToken cancellation;
    cancellation.cancel();
    DeletionMeasurement measurement;
    const auto amount = measurement.measure(folder / "a", cancellation);
    EXPECT_EQ(amount.unread, 1U);
    EXPECT_EQ(amount.allocatedBytes, 0);
}

TEST(DeletionMeasurement, givesAFreshRecordTheSizesOfAScan) {
    const TemporaryFolder folder;
    const std::string first = folder.makeFile("a/0", std::string(50'000, 'x'));
    fs::create_hard_link(first, folder / "a/1");
    DeletionMeasurement measurement;
    const auto record = DeletionPlan::freshRecord(folder / "a", measurement);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->aggregateAllocatedBytes(), blocks(folder / "a") + blocks(first));
    // A dot with a mark is another character, as in a scan.
    EXPECT_FALSE(DeletionPlan::freshRecord(folder.makeFile(".\u0301a"), measurement)->isHidden());
    EXPECT_TRUE(DeletionPlan::freshRecord(folder.makeFile(".a"), measurement)->isHidden());
}

}  // namespace KestrelCore
