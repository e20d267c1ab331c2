#include "Platform/FolderEnumeration.hpp"

#include "support/FakeTraversal.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace KestrelCore {
namespace {

constexpr std::int64_t largestClaims = std::int64_t{1} << 62;

std::vector<std::string> linesOf(Traversal& walk) {
    std::vector<std::string> lines;
    enumerateBelow(walk, [&lines](const EnumeratedItem& item) {
        lines.push_back(std::string{item.path} + (item.isDirectory ? "/" : "") +
                        (item.allocatedBytes ? " " + std::to_string(*item.allocatedBytes) : ""));
        return true;
    });
    return lines;
}

}  // namespace

TEST(FolderEnumeration, givesEachItemBelowTheRootWithItsPathAndBytes) {
    FakeTree tree{"/root"};
    tree.directory("a").file("one", {.allocatedBytes = 512});
    tree.directory("b").unreadable(EACCES);
    tree.end().link("c").mountPoint("disk").noStatus("gone", ENOENT).error("odd", EIO).file("last");
    const auto walk = tree.open({});
    EXPECT_EQ(linesOf(*walk), (std::vector<std::string>{"a/", "a/one 512", "a/b/", "c 0", "disk/", "gone", "last 0"}));
}

TEST(FolderEnumeration, givesNothingForWhatIsNoFolder) {
    EXPECT_EQ(linesOf(*FakeTree::single("/root", FileType::regular, {.allocatedBytes = 512}).open({})),
              std::vector<std::string>{});
    EXPECT_EQ(linesOf(*FakeTree::missing("/root", ENOENT).open({})), std::vector<std::string>{});
}

TEST(FolderEnumeration, countsAFileWithSeveralNamesOnce) {
    FakeTree tree{"/root"};
    const FileStatus linked{.device = 1, .inode = 7, .links = 3, .allocatedBytes = 4096};
    tree.file("a", linked).directory("b").file("c", linked).end();
    tree.file("d", {.device = 2, .inode = 7, .links = 2, .allocatedBytes = 4096});
    EXPECT_EQ(linesOf(*tree.open({})), (std::vector<std::string>{"a 4096", "b/", "b/c 0", "d 4096"}));
    EXPECT_EQ(allocatedBytesBelow(*tree.open({})), 2 * 4096);
}

TEST(FolderEnumeration, stopsWhenItsVisitorSaysSo) {
    FakeTree tree{"/root"};
    tree.file("a").file("b").file("c");
    int seen = 0;
    enumerateBelow(*tree.open({}), [&seen](const EnumeratedItem&) { return ++seen < 2; });
    EXPECT_EQ(seen, 2);
}

TEST(FolderEnumerationDeathTest, aSumThatOverflowsStopsTheProcess) {
    FakeTree tree{"/root"};
    tree.file("a", {.allocatedBytes = largestClaims}).file("b", {.allocatedBytes = largestClaims - 1});
    EXPECT_EQ(allocatedBytesBelow(*tree.open({})), 2 * (largestClaims - 1) + 1);
    tree.file("c", {.allocatedBytes = 1});
    EXPECT_DEATH((void)allocatedBytesBelow(*tree.open({})), "KestrelCore/Platform/FileManager: Fatal error");
}

TEST(FolderEnumeration, keepsTheRawBytesOfNames) {
    const TemporaryFolder folder;
    folder.makeFile("b\xff", "");
    const auto walk = openTraversal({.root = folder.path(), .notEntered = {}, .cancellation = {}});
    EXPECT_EQ(linesOf(*walk), std::vector<std::string>{"b\xff 0"});
}

}  // namespace KestrelCore
