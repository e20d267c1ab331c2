#include "Platform/POSIX/Walk/DirectoryEntries.hpp"

#include "Platform/POSIX/FileDescriptor.hpp"
#include "support/ChildProcess.hpp"
#include "support/SystemCallFilter.hpp"
#include "support/TemporaryFolder.hpp"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace KestrelCore {

namespace {

FileDescriptor openForListing(const std::string& path) {
    return FileDescriptor{open(path.c_str(), O_RDONLY | O_CLOEXEC)};
}

}  // namespace

TEST(DirectoryEntries, givesEveryNameOnceWithWhatTheSystemSaysOfIt) {
    const TemporaryFolder folder;
    folder.makeFile(".hidden");
    folder.makeFile("...");
    folder.makeFolder("inner");
    std::filesystem::create_symlink("inner", folder / "link");
    const FileDescriptor opened = openForListing(folder.path());
    DirectoryEntries listing;
    std::map<std::string, bool> found;
    while (listing.readPiece(opened.get())) {
        while (const ListedEntry* entry = listing.next()) {
            EXPECT_TRUE(found.emplace(entry->name, entry->isFolder).second) << entry->name;
            struct stat status {};
            ASSERT_EQ(fstatat(opened.get(), entry->name.data(), &status, AT_SYMLINK_NOFOLLOW), 0);
            EXPECT_EQ(entry->inode, status.st_ino);
        }
    }
    EXPECT_EQ(listing.errorNumber(), 0);
    EXPECT_EQ(found,
              (std::map<std::string, bool>{{"...", false}, {".hidden", false}, {"inner", true}, {"link", false}}));
}

TEST(DirectoryEntries, goesOnWhereAnotherLeftTheFolder) {
    const TemporaryFolder folder;
    constexpr std::size_t files = 5'000;
    for (std::size_t index = 0; index < files; ++index) folder.makeFile(std::to_string(index));
    const FileDescriptor opened = openForListing(folder.path());
    std::set<std::string> found;
    std::size_t pieces = 0;
    for (bool isAtEnd = false; !isAtEnd; ++pieces) {
        DirectoryEntries listing;
        isAtEnd = !listing.readPiece(opened.get());
        while (const ListedEntry* entry = listing.next()) EXPECT_TRUE(found.emplace(entry->name).second);
    }
    EXPECT_EQ(found.size(), files);
    EXPECT_GT(pieces, 2U);
}

TEST(DirectoryEntries, endsInAFolderThatWasRemovedAsInAnEmptyOne) {
    const TemporaryFolder folder;
    const std::string path = folder.makeFolder("gone");
    const FileDescriptor opened = openForListing(path);
    ASSERT_TRUE(std::filesystem::remove(path));
    DirectoryEntries listing;
    EXPECT_FALSE(listing.readPiece(opened.get()));
    EXPECT_EQ(listing.errorNumber(), 0);
    EXPECT_EQ(listing.next(), nullptr);
}

TEST(DirectoryEntries, saysWhatEndedIt) {
    const TemporaryFolder folder;
    folder.makeFile("file");
    DirectoryEntries listing;
    const FileDescriptor file = openForListing(folder / "file");
    EXPECT_FALSE(listing.readPiece(file.get()));
    EXPECT_EQ(listing.errorNumber(), ENOTDIR);
    // The next folder begins anew.
    const FileDescriptor opened = openForListing(folder.path());
    EXPECT_TRUE(listing.readPiece(opened.get()));
    EXPECT_EQ(listing.errorNumber(), 0);
}

TEST(DirectoryEntries, givesNoMoreThanItMay) {
    const TemporaryFolder folder;
    for (const char* name : {"a", "b", "c"}) folder.makeFile(name);
    for (const std::size_t most : {2U, 3U}) {
        const FileDescriptor opened = openForListing(folder.path());
        DirectoryEntries listing{most};
        std::size_t given = 0;
        while (listing.readPiece(opened.get()))
            while (listing.next() != nullptr) ++given;
        EXPECT_EQ(given, most);
        EXPECT_EQ(listing.errorNumber(), most < 3 ? EOVERFLOW : 0);
    }
}

TEST(DirectoryEntries, endsWhereReadingIsInterruptedForEver) {
    inChild(ChildSetting::same, [] {
        const TemporaryFolder folder;
        const FileDescriptor opened = openForListing(folder.path());
        if (!refuseSystemCalls({SYS_getdents64}, EINTR)) GTEST_SKIP() << "No system call filters here";
        DirectoryEntries listing;
        EXPECT_FALSE(listing.readPiece(opened.get()));
        EXPECT_EQ(listing.errorNumber(), EINTR);
    });
}

}  // namespace KestrelCore
