#include "Platform/macOS/Removal/Portable/WaysToPlaces.hpp"

#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sys/stat.h>

namespace KestrelCore {
namespace {

namespace fs = std::filesystem;

class WaysToPlaces : public testing::Test {
protected:
    WaysToPlaces() {
        fs::create_directories(top_ / "a/b/c");
        fs::create_directory(top_ / "elsewhere");
        fs::create_directory_symlink(top_ / "a", top_ / "elsewhere/link");
    }

    static FileIdentity identity(const fs::path& path) {
        struct stat status {};
        EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
        return {static_cast<std::uint64_t>(status.st_dev), static_cast<std::uint64_t>(status.st_ino)};
    }
    static bool leadsThrough(const WayToPlace& way, const fs::path& path) {
        return std::ranges::find(way.ways, identity(path)) != way.ways.end();
    }

    TemporaryFolder folder_;
    const fs::path top_ = fs::canonical(folder_.path());
};

TEST_F(WaysToPlaces, noteEveryFolderAndThePlace) {
    const WayToPlace way = wayTo((top_ / "a/b").string());
    EXPECT_EQ(way.identity, identity(top_ / "a/b"));
    for (const fs::path& folder : {fs::path{"/"}, top_, top_ / "a", top_ / "a/b"})
        EXPECT_TRUE(leadsThrough(way, folder)) << folder;
    EXPECT_FALSE(leadsThrough(way, top_ / "a/b/c"));
    EXPECT_FALSE(leadsThrough(way, top_ / "elsewhere"));
}

TEST_F(WaysToPlaces, noteALinkAndBothWaysThroughIt) {
    const WayToPlace way = wayTo((top_ / "elsewhere/link/b/../b/c").string());
    EXPECT_EQ(way.identity, identity(top_ / "a/b/c"));
    for (const char* part : {"elsewhere", "elsewhere/link", "a", "a/b"})
        EXPECT_TRUE(leadsThrough(way, top_ / part)) << part;
}

TEST_F(WaysToPlaces, endAtTheLastFolderOfWhatIsNotThere) {
    const WayToPlace way = wayTo((top_ / "a/new/newer").string());
    EXPECT_FALSE(way.identity);
    EXPECT_TRUE(leadsThrough(way, top_ / "a"));
    EXPECT_TRUE(wayTo("a").ways.empty());
}

TEST_F(WaysToPlaces, endWithLinksThatGoRound) {
    fs::create_symlink(top_ / "round", top_ / "round");
    const WayToPlace way = wayTo((top_ / "round/x").string());
    EXPECT_FALSE(way.identity);
    EXPECT_TRUE(leadsThrough(way, top_ / "round"));
}

TEST_F(WaysToPlaces, findMountsByEveryNameOfAFolder) {
    const auto below = [&](const fs::path& point, const fs::path& place) {
        return isAnyAtOrBelow({"/", "/dev", point.string()}, place.string());
    };
    EXPECT_TRUE(below(top_ / "a/b", top_ / "a/b"));
    EXPECT_TRUE(below(top_ / "a/b", top_ / "a"));
    EXPECT_FALSE(below(top_ / "a/b", top_ / "a/b/c"));
    EXPECT_FALSE(below(top_ / "a/b", top_ / "elsewhere"));
    EXPECT_FALSE(below(top_ / "a/bc", top_ / "a/b"));
    // The mount point by another name than the item: identities tell, and the mount itself need not be there.
    EXPECT_TRUE(below(top_ / "elsewhere/link/b/mount", top_ / "a/b"));
    EXPECT_FALSE(below(top_ / "elsewhere/link/b/mount", top_ / "a/b/c"));
}

TEST(TrashesName, isKnownInEveryCase) {
    EXPECT_TRUE(isTrashesName(".Trashes"));
    EXPECT_TRUE(isTrashesName(".trashes"));
    EXPECT_FALSE(isTrashesName(".Trash"));
    EXPECT_FALSE(isTrashesName(".Trashes2"));
    EXPECT_FALSE(isTrashesName(""));
}

}  // namespace
}  // namespace KestrelCore
