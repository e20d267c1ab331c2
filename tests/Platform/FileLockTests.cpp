#include "Platform/FileLock.hpp"

#include "KestrelCore/Base/PlatformError.hpp"
#include "support/SupervisedCalls.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace KestrelCore {
namespace {

constexpr std::chrono::milliseconds noTime{0};
constexpr std::chrono::minutes longTime{1};

TEST(FileLock, excludesOtherHoldersInThisProcess) {
    TemporaryFolder folder;
    const std::string path = folder.path() + "/lock";
    auto first = FileLock::acquire(path, noTime);
    ASSERT_TRUE(first.has_value());
    EXPECT_FALSE(FileLock::acquire(path, noTime).has_value());
    first.reset();
    EXPECT_TRUE(FileLock::acquire(path, noTime).has_value());
}

TEST(FileLock, waitsUntilTheHolderLetsGo) {
    TemporaryFolder folder;
    const std::string path = folder.path() + "/lock";
    auto first = FileLock::acquire(path, noTime);
    std::thread waiting{[&] { EXPECT_TRUE(FileLock::acquire(path, longTime).has_value()); }};
    first.reset();
    waiting.join();
}

TEST(FileLock, failsWhenItIsInterruptedForEver) {
    const TemporaryFolder folder;
    int error = 0;
    const auto count = interruptions({SYS_flock}, [&] {
        try {
            (void)FileLock::acquire(folder / "lock", noTime);
        } catch (const PlatformError& thrown) {
            error = thrown.code();
        }
    });
    if (!count) GTEST_SKIP() << "System calls can't be supervised here";
    EXPECT_EQ(error, EINTR);
    EXPECT_LT(*count, 1'000);
}

TEST(FileLock, excludesOtherProcessesAndIsFreeWhenTheHolderIsKilled) {
    TemporaryFolder folder;
    const std::string path = folder.path() + "/lock";
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
        const auto held = FileLock::acquire(path, longTime);
        (void)!write(ready[1], "x", 1);
        while (held) pause();
        _exit(1);
    }
    char byte = 0;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    EXPECT_FALSE(FileLock::acquire(path, noTime).has_value());
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_TRUE(FileLock::acquire(path, noTime).has_value());
    close(ready[0]);
    close(ready[1]);
}

TEST(FileLock, isTakenOnTheFileThatThePathNamesNow) {
    TemporaryFolder folder;
    const std::string path = folder.path() + "/lock";
    auto first = FileLock::acquire(path, noTime);
    std::filesystem::remove(path);
    auto second = FileLock::acquire(path, noTime);  // another file by now
    EXPECT_TRUE(second.has_value());
    EXPECT_FALSE(FileLock::acquire(path, noTime).has_value());
}

TEST(FileLock, neitherFollowsALinkNorWaitsForAPipe) {
    TemporaryFolder folder;
    const std::string path = folder.path() + "/lock";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_THROW((void)FileLock::acquire(path, noTime), PlatformError);
    std::filesystem::remove(path);
    std::filesystem::create_symlink(folder.path() + "/target", path);
    EXPECT_THROW((void)FileLock::acquire(path, noTime), PlatformError);
    EXPECT_FALSE(std::filesystem::exists(folder.path() + "/target"));
}

TEST(FileLock, isOnAFileThatNobodyElseCanOpen) {
    TemporaryFolder folder;
    const std::string path = folder.path() + "/lock";
    const auto mode = [&] { return static_cast<unsigned>(std::filesystem::status(path).permissions()); };
    const mode_t mask = umask(0);
    EXPECT_TRUE(FileLock::acquire(path, noTime).has_value());
    umask(mask);
    EXPECT_EQ(mode(), 0600U);
    ASSERT_EQ(chmod(path.c_str(), 0664), 0);
    EXPECT_TRUE(FileLock::acquire(path, noTime).has_value());
    EXPECT_EQ(mode(), 0600U);
}

TEST(FileLock, failsWhereThereIsNoFolder) {
    TemporaryFolder folder;
    EXPECT_THROW((void)FileLock::acquire(folder.path() + "/missing/lock", noTime), PlatformError);
}

}  // namespace
}  // namespace KestrelCore
