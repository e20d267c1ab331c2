#include "Scanning/DiskAccounting.hpp"

#include "support/Records.hpp"
#include "support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <latch>
#include <memory>
#include <string>
#include <vector>

namespace KestrelCore {

using ::testing::ElementsAre;

namespace {

ScanSnapshot scanOf(const Text& root, std::int64_t bytes) {
    return {UUID::random(),
            ScanScope{URL::fromPath(root, true)},
            Date{},
            Date{},
            {FileRecord{UUID::random(), std::nullopt, std::nullopt, root, root, FileKind::directory, 0, 0, bytes,
                        Date{}, "", false, false, false, RiskLevel::normal}},
            {ScanIssue{"/closed", "Permission denied"}}};
}

/// A file system of 1000 bytes of which 700 are used, with others below it.
DiskAccountSources sourcesOf(std::vector<FileSystemMount> below) {
    return {
        .layout = [below](const std::string& folder) -> std::optional<FileSystemLayout> {
            return FileSystemLayout{.top = {.path = folder, .kind = "ext4"}, .sharesRoom = false, .below = below};
        },
        .space = [](const std::string& path) -> std::optional<FileSystemSpace> {
            if (path == "/proc") return FileSystemSpace{};
            if (path == "/gone") return std::nullopt;
            return FileSystemSpace{.totalBytes = 1000, .freeBytes = path == "/home" ? 10 : 300, .availableBytes = 250};
        },
        .deletedOpen =
            [](const std::string&) {
                return std::vector<DeletedOpenFile>{{.path = "/tmp/x", .allocatedBytes = 60, .holders = {{12, "cat"}}},
                                                    {.path = "/tmp/y", .allocatedBytes = 4, .holders = {{13, "sh"}}}};
            }};
}

}  // namespace

TEST(DiskAccount, addsUpToWhatTheFileSystemSaysIsUsed) {
    const auto account = diskAccount(scanOf("/", 600), {}, sourcesOf({})).value();
    EXPECT_EQ(account.usedBytes, 700);
    EXPECT_EQ(account.shownBytes, 600);
    EXPECT_EQ(account.deletedOpenBytes(), 64);
    EXPECT_EQ(account.restBytes(), 36);
    EXPECT_EQ(account.unreadItems, 1);
    EXPECT_EQ(account.deletedOpen.front().processes, (std::vector<DiskAccount::Process>{{12, "cat"}}));
    EXPECT_THAT(account.leftOut, ::testing::Contains(Text{"/usr"}));
    EXPECT_EQ(account.freeBytes - account.availableBytes, 50);
}

TEST(DiskAccount, hasARestBelowZeroWhereMoreIsShownThanIsUsed) {
    EXPECT_EQ(diskAccount(scanOf("/", 900), {}, sourcesOf({}))->restBytes(), -264);
}

TEST(DiskAccount, namesOtherFileSystemsThatKeepAnything) {
    const auto account = diskAccount(
        scanOf("/", 600), {}, sourcesOf({{"/proc", "proc"}, {"/data", "xfs"}, {"/gone", "nfs"}, {"/home", "ext4"}}));
    EXPECT_THAT(account->otherSystems, ElementsAre(DiskAccount::OtherFileSystem{"/home", "ext4", 990},
                                                   DiskAccount::OtherFileSystem{"/data", "xfs", 700},
                                                   DiskAccount::OtherFileSystem{"/gone", "nfs", std::nullopt}));
}

TEST(DiskAccount, leavesAFileSystemBehindThatDoesNotAnswer) {
    const auto gate = std::make_shared<std::latch>(1);
    DiskAccountSources sources = sourcesOf({{"/data", "xfs"}, {"/dead", "nfs"}, {"/home", "ext4"}});
    sources.space = [gate, space = sources.space](const std::string& path) {
        if (path == "/dead") gate->wait();
        return space(path);
    };
    // Others may be slow here, too; that they are named does not depend on it.
    sources.patience = std::chrono::milliseconds{20};
    const auto account = diskAccount(scanOf("/", 600), {}, sources);
    gate->count_down();
    std::vector<std::string> paths;
    for (const DiskAccount::OtherFileSystem& each : account->otherSystems) {
        paths.push_back(each.path.string());
        if (each.path == Text{"/dead"}) {
            EXPECT_EQ(each.usedBytes, std::nullopt);
        }
    }
    EXPECT_THAT(paths, ::testing::UnorderedElementsAre("/data", "/dead", "/home"));
}

TEST(DiskAccount, isOfWholeFileSystemsOnly) {
    const TemporaryFolder folder;
    EXPECT_EQ(DiskAccount::of(scanOf(Text{folder.path()}, 0), {}), std::nullopt);
    DiskAccountSources sources = sourcesOf({});
    sources.layout = [](const std::string&) { return std::nullopt; };
    EXPECT_EQ(diskAccount(scanOf("/", 1), {}, sources), std::nullopt);
}

TEST(DeletedOpenFiles, areFoundOnceWithTheProcessesThatHoldThem) {
    const TemporaryFolder folder;
    const std::string path =
        std::filesystem::canonical(folder.makeFile("gone.log", std::string(100'000, 'x'))).string();
    const int open = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const int again = ::dup(open);
    const auto isThis = [&](const DeletedOpenFile& file) { return file.path == path; };
    EXPECT_TRUE(std::ranges::none_of(deletedOpenFiles(folder.path()), isThis));
    std::filesystem::remove(path);
    const std::vector<DeletedOpenFile> files = deletedOpenFiles(folder.path());
    ASSERT_EQ(std::ranges::count_if(files, isThis), 1);
    const DeletedOpenFile& file = *std::ranges::find_if(files, isThis);
    struct stat status {};
    ASSERT_EQ(::fstat(open, &status), 0);
    EXPECT_EQ(file.allocatedBytes, status.st_blocks * 512);
    ASSERT_EQ(file.holders.size(), 1U);
    EXPECT_EQ(file.holders.front().processIdentifier, ::getpid());
    EXPECT_FALSE(file.holders.front().name.empty());
    ::close(open);
    ::close(again);
    EXPECT_TRUE(std::ranges::none_of(deletedOpenFiles(folder.path()), isThis));
}

}  // namespace KestrelCore
