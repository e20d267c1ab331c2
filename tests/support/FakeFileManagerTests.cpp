#include "support/FakeFileManager.hpp"

#include "KestrelCore/Model/KestrelError.hpp"

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

TEST(FakeFileManager, trashesAFolderWholeUnderAFreeName) {
    FakeFileManager files{"/home"};
    files.addFile("/a/d/file", 512);
    files.addFile("/b/d", 512);
    EXPECT_EQ(files.trashItem(URL::fromPath("/a/d"), std::nullopt)->path(), "/home/.Trash/d");
    EXPECT_EQ(files.trashItem(URL::fromPath("/b/d"), std::nullopt)->path(), "/home/.Trash/d 2");
    EXPECT_TRUE(files.exists("/home/.Trash/d/file"));
    EXPECT_FALSE(files.exists("/a/d"));
}

TEST(FakeFileManager, takesNothingAwayThatIsNotWhatWasExpected) {
    FakeFileManager files;
    files.addFile("/a/file", 512);
    const auto expected = files.identity("/a/file");
    files.erase("/a/file");
    files.addFile("/a/file", 512);
    EXPECT_THROW(files.removeItem(URL::fromPath("/a/file"), expected), KestrelError);
    EXPECT_TRUE(files.exists("/a/file"));
    files.removeItem(URL::fromPath("/a/file"), files.identity("/a/file"));
    EXPECT_FALSE(files.exists("/a/file"));
    EXPECT_EQ(codeOf([&files] { files.removeItem(URL::fromPath("/a/file"), std::nullopt); }), 4);
}

TEST(FakeFileManager, keepsWhatItMayNotTakeAway) {
    FakeFileManager files;
    files.addFile("/a/file", 512);
    files.denyWriting("/a");
    EXPECT_EQ(codeOf([&files] { files.removeItem(URL::fromPath("/a/file"), std::nullopt); }), 513);
    EXPECT_EQ(codeOf([&files] { (void)files.trashItem(URL::fromPath("/a/file"), std::nullopt); }), 513);
    EXPECT_TRUE(files.exists("/a/file"));
}

}  // namespace KestrelCore
