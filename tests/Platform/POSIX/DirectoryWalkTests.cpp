#include "Platform/POSIX/DirectoryWalk.hpp"

#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace KestrelCore {
namespace {

/// Makes `levels` folders, each in the one before, with a file in each: relative to descriptors, as their paths are
/// longer than the system takes.
void makeChain(const std::string& root, int levels) {
    int folder = open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int level = 0; level < levels; ++level) {
        ASSERT_EQ(mkdirat(folder, "d", 0755), 0);
        const int below = openat(folder, "d", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        close(openat(folder, "zfile", O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
        close(folder);
        folder = below;
        ASSERT_GE(folder, 0);
    }
    close(folder);
}

/// Takes such a chain away again from its deepest end, through "..".
void removeChain(const std::string& root) {
    int folder = open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    int depth = 0;
    for (int below; (below = openat(folder, "d", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) >= 0; ++depth) {
        close(folder);
        folder = below;
    }
    for (; depth >= 0; --depth) {
        unlinkat(folder, "zfile", 0);
        unlinkat(folder, "d", AT_REMOVEDIR);
        const int above = openat(folder, "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        close(folder);
        folder = above;
    }
    close(folder);
}

int openDescriptors() {
    int count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator{"/proc/self/fd"}) ++count;
    return count;
}

}  // namespace

TEST(DirectoryWalk, visitsATreeOfAnyDepthWithFewDescriptors) {
    const TemporaryFolder folder;
    constexpr int levels = 5'000;
    makeChain(folder.path(), levels);
    const int before = openDescriptors();
    int most = 0;
    int folders = 0;
    int files = 0;
    std::size_t longest = 0;
    walkBelow(folder.path(), [&](const WalkedItem& item) {
        if (folders % 500 == 0) most = std::max(most, openDescriptors());
        ++(item.isDirectory ? folders : files);
        longest = std::max(longest, item.path.size());
        return true;
    });
    removeChain(folder.path());
    EXPECT_EQ(folders, levels);
    EXPECT_EQ(files, levels);
    EXPECT_EQ(longest, 2U * (levels - 1) + std::string_view{"zfile"}.size());
    EXPECT_LT(most - before, 40);
    EXPECT_EQ(openDescriptors(), before);
}

TEST(DirectoryWalk, keepsTheRawBytesOfNames) {
    const TemporaryFolder folder;
    std::ofstream{folder.path() + "/b\xff"} << "x";
    std::vector<std::string> paths;
    walkBelow(folder.path(), [&paths](const WalkedItem& item) {
        paths.emplace_back(item.path);
        return true;
    });
    EXPECT_EQ(paths, std::vector<std::string>{"b\xff"});
}

TEST(DirectoryWalk, anItemThatVanishesAfterTheListingHasNoSize) {
    const TemporaryFolder folder;
    std::ofstream{folder.path() + "/a"} << "x";
    std::ofstream{folder.path() + "/b"} << "x";
    std::vector<bool> sized;
    walkBelow(folder.path(), [&](const WalkedItem& item) {
        sized.push_back(item.allocatedBytes.has_value());
        unlink((folder.path() + (item.path == "a" ? "/b" : "/a")).c_str());
        return true;
    });
    EXPECT_EQ(sized, (std::vector<bool>{true, false}));
}

TEST(DirectoryWalk, doesNotEnterAFolderThatBecameALink) {
    const TemporaryFolder folder;
    const TemporaryFolder outside;
    std::ofstream{outside.path() + "/secret"} << "x";
    mkdir((folder.path() + "/d").c_str(), 0755);
    std::vector<std::string> paths;
    walkBelow(folder.path(), [&](const WalkedItem& item) {
        paths.emplace_back(item.path);
        rmdir((folder.path() + "/d").c_str());
        EXPECT_EQ(symlink(outside.path().c_str(), (folder.path() + "/d").c_str()), 0);
        return true;
    });
    EXPECT_EQ(paths, std::vector<std::string>{"d"});
}

TEST(DirectoryWalk, opensNoFIFO) {
    const TemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder.path() + "/fifo").c_str(), 0644), 0);
    int items = 0;
    walkBelow(folder.path(), [&items](const WalkedItem& item) {
        EXPECT_EQ(item.allocatedBytes, 0);
        return ++items > 0;
    });
    EXPECT_EQ(items, 1);
}

TEST(DirectoryWalk, blocksBecomeBytesUnlessTheClaimIsAbsurd) {
    EXPECT_EQ(plausibleAllocatedBytes(0), 0);
    EXPECT_EQ(plausibleAllocatedBytes(8), 4096);
    EXPECT_EQ(plausibleAllocatedBytes(std::int64_t{1} << 41), std::int64_t{1} << 50);
    EXPECT_EQ(plausibleAllocatedBytes((std::int64_t{1} << 41) + 1), std::nullopt);
    EXPECT_EQ(plausibleAllocatedBytes(std::int64_t{1} << 55), std::nullopt);
    EXPECT_EQ(plausibleAllocatedBytes(-1), std::nullopt);
}

}  // namespace KestrelCore
