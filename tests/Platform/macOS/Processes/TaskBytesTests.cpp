#include "Platform/macOS/Processes/Portable/TaskBytes.hpp"

#include "Platform/macOS/BuiltBytes.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace KestrelCore {
namespace {

using namespace TaskBytes;

constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t mostUnsigned = std::numeric_limits<std::uint64_t>::max();

/// `proc_taskallinfo`: `proc_bsdinfo` up to 136, `proc_taskinfo` behind it.
BuiltBytes aProcess() {
    BuiltBytes info{232};
    info.put<std::uint32_t>(4, 2).put<std::uint32_t>(12, 4711).put<std::uint32_t>(16, 1);
    info.put<std::uint32_t>(20, 501).put<std::uint32_t>(28, 502).putText(48, "zsh").putText(64, "zsh");
    info.put<std::uint64_t>(120, 1'700'000'000).put<std::uint64_t>(128, 250'000);
    info.put<std::uint64_t>(136, 400'000).put<std::uint64_t>(144, 30'000);
    info.put<std::uint64_t>(152, 70).put<std::uint64_t>(160, 8);
    return info.put<std::int32_t>(220, 12).put<std::int32_t>(224, 3).put<std::int32_t>(228, 31);
}

TEST(TaskBytes, readsWhoAProcessIs) {
    const auto record = processRecord(aProcess().view());
    ASSERT_TRUE(record);
    EXPECT_EQ(record->parentIdentifier, 1);
    EXPECT_EQ(record->user, 501U);
    EXPECT_EQ(record->started, (StartTime{1'700'000'000, 250'000}));
    EXPECT_FALSE(record->isStopped);
    EXPECT_FALSE(record->isZombie);
    // The first part is an answer of its own.
    EXPECT_EQ(processRecord(aProcess().view().substr(0, 136))->user, 501U);
}

TEST(TaskBytes, tellsStoppedProcessesAndZombies) {
    EXPECT_TRUE(processRecord(aProcess().put<std::uint32_t>(4, 4).view())->isStopped);
    EXPECT_TRUE(processRecord(aProcess().put<std::uint32_t>(4, 5).view())->isZombie);
}

TEST(TaskBytes, readsWhatAProcessUses) {
    const auto record = taskRecord(aProcess().view());
    ASSERT_TRUE(record);
    EXPECT_EQ(record->virtualBytes, 400'000);
    EXPECT_EQ(record->residentBytes, 30'000);
    EXPECT_EQ(record->processorTime, 78U);
    EXPECT_EQ(record->threadCount, 12);
    EXPECT_EQ(record->runningThreadCount, 3);
    EXPECT_EQ(record->priority, 31);
}

TEST(TaskBytes, whatNoProcessHasStaysInRange) {
    BuiltBytes info = aProcess();
    info.put(136, mostUnsigned).put(144, mostUnsigned).put(152, mostUnsigned).put(160, mostUnsigned);
    info.put<std::int32_t>(220, -1).put<std::int32_t>(224, -5).put<std::int32_t>(228, -20).put<std::int32_t>(16, -3);
    const auto record = taskRecord(info.view());
    ASSERT_TRUE(record);
    EXPECT_EQ(record->virtualBytes, largest);
    EXPECT_EQ(record->residentBytes, largest);
    EXPECT_EQ(record->processorTime, mostUnsigned);
    EXPECT_EQ(record->threadCount, 0);
    EXPECT_EQ(record->runningThreadCount, 0);
    EXPECT_EQ(record->priority, -20);
    EXPECT_EQ(processRecord(info.view())->parentIdentifier, 0);
}

TEST(TaskBytes, anAnswerShorterThanItsRecordIsNone) {
    const BuiltBytes info = aProcess();
    for (std::size_t size = 0; size < 232; ++size) {
        EXPECT_EQ(processRecord(info.view().substr(0, size)).has_value(), size >= 136) << size;
        EXPECT_FALSE(taskRecord(info.view().substr(0, size))) << size;
    }
    const BuiltBytes file{1200};
    for (const std::size_t size : {0UL, 1UL, 176UL, 1199UL})
        EXPECT_FALSE(openFile(file.view().substr(0, size))) << size;
    const BuiltBytes usage{160};
    for (const std::size_t size : {0UL, 144UL, 152UL, 159UL})
        EXPECT_FALSE(traffic(usage.view().substr(0, size))) << size;
}

TEST(TaskBytes, readsWhatWentToAndCameFromDisks) {
    BuiltBytes usage{160};
    const auto moved = traffic(usage.put<std::uint64_t>(144, 5).put<std::uint64_t>(152, mostUnsigned).view());
    ASSERT_TRUE(moved);
    EXPECT_EQ(moved->readBytes, 5U);
    EXPECT_EQ(moved->writtenBytes, mostUnsigned);
}

/// `vnode_fdinfowithpath`.
BuiltBytes anOpenFile(std::uint16_t mode, std::uint16_t links) {
    BuiltBytes file{1200};
    file.put<std::uint32_t>(24, 0x01000004).put(28, mode).put(30, links).put<std::uint64_t>(32, 99);
    return file.put<std::int64_t>(120, 16).putText(176, "/private/tmp/gone");
}

TEST(TaskBytes, readsAnOpenFile) {
    const BuiltBytes bytes = anOpenFile(0100644, 0);
    const auto file = openFile(bytes.view());
    ASSERT_TRUE(file);
    EXPECT_EQ(file->device, 0x01000004U);
    EXPECT_EQ(file->inode, 99U);
    EXPECT_TRUE(file->isRegular);
    EXPECT_TRUE(file->isDeleted);
    EXPECT_EQ(file->allocatedBytes, 16 * 512);
    EXPECT_EQ(file->path, "/private/tmp/gone");
    EXPECT_FALSE(openFile(anOpenFile(0100644, 1).view())->isDeleted);
    EXPECT_FALSE(openFile(anOpenFile(0040755, 0).view())->isRegular);
}

TEST(TaskBytes, aFileSystemMaySayAnythingOfAFile) {
    EXPECT_EQ(openFile(anOpenFile(0100644, 0).put<std::int64_t>(120, -1).view())->allocatedBytes, 0);
    EXPECT_EQ(openFile(anOpenFile(0100644, 0).put(120, largest).view())->allocatedBytes, std::int64_t{1} << 50);
    // A path that fills its field has no NUL behind it.
    const BuiltBytes filled = anOpenFile(0100644, 0).putText(176, std::string(1024, 'p'));
    EXPECT_EQ(openFile(filled.view())->path, std::string(1024, 'p'));
}

}  // namespace
}  // namespace KestrelCore
