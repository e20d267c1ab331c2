#include "Snapshot/TreeOrder.hpp"

#include "support/Records.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace KestrelCore {

namespace {

using testing::aRecord;

std::vector<std::string> folderNames(const TreeOrder& order) {
    std::vector<std::string> names;
    for (const TreeOrder::Folder& folder : order.folders()) names.emplace_back(order.nameOf(folder));
    return names;
}

}  // namespace

TEST(TreeOrder, putsEachFolderBeforeWhatItHoldsAndFilesFolderByFolder) {
    RecordStorage storage;
    for (const FileRecord& record : {
             aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory}),
             aRecord({.path = "/r/z"}),
             aRecord({.path = "/r/b/c/deep"}),
             aRecord({.path = "/r/b", .kind = FileKind::directory}),
             aRecord({.path = "/r/a", .kind = FileKind::directory}),
             aRecord({.path = "/r/b/c", .kind = FileKind::directory}),
             aRecord({.path = "/r/b/x"}),
             aRecord({.path = "/r/y"}),
         }) {
        storage.append(record);
    }
    const TreeOrder order{storage};
    EXPECT_EQ(folderNames(order), (std::vector<std::string>{"", "r", "a", "b", "c"}));
    EXPECT_EQ(order.files(), (std::vector<std::uint32_t>{7, 1, 6, 2}));
    EXPECT_EQ(order.irregular(), (std::vector<std::uint32_t>{0}));
    EXPECT_EQ(order.folderAt("/r/b"), 3U);
    EXPECT_EQ(order.folders()[3].end, 5U);
    EXPECT_EQ(order.folders()[3].files, 1U);
    EXPECT_EQ(order.folders()[1].row, TreeOrder::none);
    EXPECT_EQ(order.folderAt("/r/none"), TreeOrder::none);
    EXPECT_EQ(order.folderAt("relative"), TreeOrder::none);
    EXPECT_EQ(order.places(), (std::vector<std::uint32_t>{9, 6, 8, 3, 2, 4, 7, 5}));
}

TEST(TreeOrder, comparesNamesByNormalFormCAndThenByTheirBytes) {
    EXPECT_TRUE(compareNames("a", "b") < 0);
    EXPECT_TRUE(compareNames("a", "a.") < 0);
    EXPECT_TRUE(compareNames("e\u0301", "\u00E9") != 0);
    EXPECT_TRUE(areEqualNames("e\u0301", "\u00E9"));
    EXPECT_FALSE(areEqualNames("e", "\u00E9"));
    // The decomposed spelling begins with "e" and would come before "f".
    EXPECT_TRUE(compareNames("e\u0301", "f") > 0);
}

TEST(TreeOrder, knowsWhereContentComesAmongWholePaths) {
    EXPECT_TRUE(contentComesBefore("a", "ab"));
    EXPECT_TRUE(contentComesBefore("a", "b"));
    EXPECT_FALSE(contentComesBefore("a", "a.txt"));
    EXPECT_FALSE(contentComesBefore("a", "a-b"));
    EXPECT_TRUE(contentComesBefore("a", "a\u00E9"));
}

}  // namespace KestrelCore
