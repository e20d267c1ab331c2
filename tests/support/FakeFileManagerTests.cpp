#include "support/FakeFileManager.hpp"

#include <gtest/gtest.h>

#include <cerrno>

namespace KestrelCore {
namespace {

using Operation = FakeFileManager::Operation;

int codeOf(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const PlatformError& error) {
        return error.code();
    }
    return 0;
}

}  // namespace

TEST(FakeFileManager, failsAsOftenAsAskedAndThenWorks) {
    FakeFileManager files;
    files.addFolder("/a");
    files.fail(Operation::list, "/a", EIO, 2);
    const auto list = [&files] { (void)files.contentsOfDirectory(Text{"/a"}); };
    EXPECT_EQ(codeOf(list), 256);
    EXPECT_EQ(codeOf(list), 256);
    EXPECT_EQ(codeOf(list), 0);
}

TEST(FakeFileManager, letsAnItemVanishBetweenListingAndReading) {
    FakeFileManager files;
    files.addFile("/a/file", 512);
    files.vanishAfterListing("/a/file");
    EXPECT_EQ(files.contentsOfDirectory(Text{"/a"}), std::vector<Text>{"file"});
    EXPECT_FALSE(files.exists("/a/file"));
    EXPECT_EQ(files.allocatedBytes(URL::fromPath("/a/file")), std::nullopt);
}

TEST(FakeFileManager, makesNoFolderOnAFullDisk) {
    FakeFileManager files;
    files.fillDisk();
    EXPECT_EQ(codeOf([&files] { files.createDirectory(URL::fromPath("/new")); }), 640);
    EXPECT_FALSE(files.exists("/new"));
}

TEST(FakeFileManager, keepsItsTrashInTheHomeDirectory) {
    FakeFileManager files{"/home"};
    files.addFile("/a/d/file", 512);
    EXPECT_EQ(files.trashItem(URL::fromPath("/a/d"), std::nullopt, {})->path(), "/home/.Trash/d");
}

TEST(FakeFileManager, failsToRemoveOnDemand) {
    FakeFileManager files;
    files.addFile("/a/file", 512);
    files.fail(Operation::remove, "/a/file", EBUSY, 1);
    files.fail(Operation::trash, "/a/file", EXDEV, 1);
    EXPECT_EQ(codeOf([&files] { files.removeItem(URL::fromPath("/a/file"), std::nullopt, {}); }), 512);
    EXPECT_EQ(codeOf([&files] { (void)files.trashItem(URL::fromPath("/a/file"), std::nullopt, {}); }), 512);
    EXPECT_TRUE(files.exists("/a/file"));
}

}  // namespace KestrelCore
