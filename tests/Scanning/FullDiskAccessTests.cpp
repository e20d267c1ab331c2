#include "KestrelCore/Scanning/FullDiskAccess.hpp"

#include "support/EnvironmentSetting.hpp"
#include "support/FakeFileManager.hpp"

#include <gtest/gtest.h>

#include <cerrno>

namespace KestrelCore {
namespace {

constexpr const char* mail = "/Users/ann/Library/Mail";
constexpr const char* safari = "/Users/ann/Library/Safari";
constexpr const char* messages = "/Users/ann/Library/Messages";

}  // namespace

TEST(FullDiskAccess, isNotGrantedWhereNoProtectedFolderExists) {
    FakeFileManager files{"/Users/ann"};
    files.addFolder("/Users/ann/Library");
    EXPECT_FALSE(FullDiskAccess::isLikelyGranted(files));
}

TEST(FullDiskAccess, isGrantedWhenTheOnlyProtectedFolderCanBeListed) {
    FakeFileManager files{"/Users/ann"};
    files.addFolder(messages);
    EXPECT_TRUE(FullDiskAccess::isLikelyGranted(files));
}

TEST(FullDiskAccess, isGrantedWhenALaterFolderCanBeListed) {
    FakeFileManager files{"/Users/ann"};
    files.addFolder(mail);
    files.denyReading(mail);
    files.addFolder(safari);
    EXPECT_TRUE(FullDiskAccess::isLikelyGranted(files));
}

TEST(FullDiskAccess, isNotGrantedWhenEveryListingFails) {
    FakeFileManager files{"/Users/ann"};
    files.addFolder(mail);
    files.denyReading(mail);
    files.addFolder(safari);
    files.fail(FakeFileManager::Operation::list, safari, EIO);
    files.addFile(messages);
    EXPECT_FALSE(FullDiskAccess::isLikelyGranted(files));
}

TEST(FullDiskAccess, isAskedAfreshEachTime) {
    FakeFileManager files{"/Users/ann"};
    files.addFolder(mail);
    files.fail(FakeFileManager::Operation::list, mail, EPERM, 1);
    EXPECT_FALSE(FullDiskAccess::isLikelyGranted(files));
    EXPECT_TRUE(FullDiskAccess::isLikelyGranted(files));
}

TEST(FullDiskAccess, looksOnlyIntoItsThreeFolders) {
    FakeFileManager files{"/Users/ann"};
    files.addFolder("/Users/ann/Library/Calendars");
    files.addFolder("/Library/Mail");
    EXPECT_FALSE(FullDiskAccess::isLikelyGranted(files));
}

TEST(FullDiskAccess, isNotGrantedWhereTheHomeDirectoryHasNoText) {
    const EnvironmentSetting home{"CFFIXED_USER_HOME", "/nowhere/b\xff"};
    EXPECT_FALSE(FullDiskAccess::isLikelyGranted());
}

}  // namespace KestrelCore
