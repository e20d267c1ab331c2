#include "Platform/POSIX/Walk/FolderDescent.hpp"

#include "support/ChildProcess.hpp"
#include "support/SystemCallFilter.hpp"
#include "support/TemporaryFolder.hpp"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace KestrelCore {

namespace {

FileDescriptor openForListing(const std::string& path) {
    return FileDescriptor{open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
}

std::uint64_t inodeOf(int folder) {
    struct stat status {};
    return fstat(folder, &status) == 0 ? status.st_ino : 0;
}

}  // namespace

TEST(FolderDescent, findsItsWayBackThroughFoldersThatItHadToClose) {
    const TemporaryFolder folder;
    constexpr std::size_t levels = 100;
    std::string path = folder.path();
    FolderDescent descent{openForListing(path)};
    std::vector<std::uint64_t> inodes{inodeOf(descent.folder())};
    for (std::size_t level = 0; level < levels; ++level) {
        ASSERT_EQ(mkdirat(descent.folder(), "d", 0755), 0);
        ASSERT_EQ(descent.enter("d"), 0);
        inodes.push_back(inodeOf(descent.folder()));
    }
    EXPECT_EQ(descent.depth(), levels + 1);
    bool wasReopened = false;
    while (descent.depth() > 1) {
        ASSERT_TRUE(descent.leave());
        wasReopened = descent.takeWasReopened() || wasReopened;
        EXPECT_EQ(inodeOf(descent.folder()), inodes[descent.depth() - 1]);
    }
    EXPECT_TRUE(wasReopened) << "all levels stayed open";
}

TEST(FolderDescent, isAtItsTopWhenTheFolderAboveIsNoLongerThere) {
    const TemporaryFolder folder;
    FolderDescent descent{openForListing(folder.path())};
    for (int level = 0; level < 60; ++level) {
        ASSERT_EQ(mkdirat(descent.folder(), "d", 0755), 0);
        ASSERT_EQ(descent.enter("d"), 0);
    }
    // The 20th folder goes elsewhere with all that is in it: above it nothing can be found from below.
    std::string twentieth = folder.path();
    for (int level = 0; level < 20; ++level) twentieth += "/d";
    folder.makeFolder("elsewhere");
    std::filesystem::rename(twentieth, folder / "elsewhere/d");
    bool isOnItsWay = true;
    while (isOnItsWay && descent.depth() > 1) isOnItsWay = descent.leave();
    EXPECT_FALSE(isOnItsWay);
    EXPECT_EQ(descent.depth(), 1U);
    EXPECT_EQ(descent.pathOf("entry"), "entry");
}

TEST(FolderDescent, entersNoLinkAndNoFile) {
    const TemporaryFolder folder;
    folder.makeFile("file");
    std::filesystem::create_directory_symlink(".", folder / "link");
    FolderDescent descent{openForListing(folder.path())};
    EXPECT_EQ(descent.enter("file"), ENOTDIR);
    const int error = descent.enter("link");
    EXPECT_TRUE(error == ELOOP || error == ENOTDIR) << error;
    EXPECT_EQ(descent.enter("missing"), ENOENT);
    EXPECT_EQ(descent.depth(), 1U);
}

TEST(FolderDescent, endsWhereOpeningIsToBeTriedAgainForEver) {
    for (const int error : {EAGAIN, EINTR}) {
        inChild(ChildSetting::same, [error] {
            const TemporaryFolder folder;
            folder.makeFolder("inner");
            FolderDescent descent{openForListing(folder.path())};
            if (!refuseSystemCalls({SYS_openat2}, error)) GTEST_SKIP() << "No system call filters here";
            EXPECT_EQ(descent.enter("inner"), error);
        });
    }
}

}  // namespace KestrelCore
