#include "KestrelCore/Scanning/GrowingTree.hpp"

#include "KestrelCore/Scanning/DiskScanner.hpp"
#include "support/Listings.hpp"
#include "support/RandomTree.hpp"
#include "support/ScanEvents.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace KestrelCore {

namespace {

using testing::collect;
using testing::environmentOf;
using testing::linesOf;
using testing::pathsToList;
using testing::ScanEvents;
using testing::startScan;

ScanOptions watching(const GrowingTree& tree, ScanOptions options = {}) {
    options.growing = tree;
    return options;
}

ScanEvents scanWatching(const GrowingTree& growing, const FakeTree& tree, const Text& root = "/tmp",
                        const ScanOptions& options = {}) {
    return collect(startScan(ScanScope{URL::fromPath(root)}, environmentOf(tree), watching(growing, options)));
}

/// What a listing says where nothing is being found any more.
std::vector<std::string> finalLinesOf(std::optional<FolderListing> listing) {
    if (listing) {
        listing->isComplete = true;
        for (FolderEntry& entry : listing->entries) entry.isComplete = true;
    }
    return linesOf(listing);
}

/// A tree of random shape whose names are ASCII, with `probe` between all of its entries.
class RandomFake {
public:
    RandomFake(std::uint64_t seed, std::function<void()> probe) : random_{seed}, probe_{std::move(probe)} {
        fill("/tmp", 0);
    }

    [[nodiscard]] const FakeTree& tree() const { return tree_; }
    [[nodiscard]] const std::vector<Text>& folders() const { return folders_; }

private:
    void fill(const std::string& path, int depth) {
        folders_.push_back(Text{path});
        for (std::size_t i = 0, count = random_() % 6; i < count; ++i) {
            const bool isFolder = depth < 5 && random_() % 3 == 0;
            const std::string stem = std::string{names[random_() % names.size()]} + std::to_string(i);
            const std::string name = stem + (isFolder && random_() % 5 == 0 ? ".app" : "");
            FileStatus status{.size = static_cast<std::int64_t>(random_() % 100'000),
                              .allocatedBytes = static_cast<std::int64_t>(random_() % 200 * 512),
                              .modifiedSeconds = 1'700'000'000};
            if (isFolder) {
                tree_.directory(name, status).then(probe_);
                fill(path + "/" + name, depth + 1);
                if (random_() % 8 == 0) {
                    tree_.unreadable(EACCES);
                } else {
                    tree_.end();
                }
            } else {
                if (random_() % 4 == 0) {
                    status.links = 2;
                    status.inode = 1 + random_() % 5;
                }
                tree_.file(name + extensions[random_() % extensions.size()], status);
            }
            tree_.then(probe_);
        }
    }

    static constexpr std::array<const char*, 4> names{"a", "b c", ".hidden", "Z"};
    static constexpr std::array<const char*, 4> extensions{"", ".txt", ".JPG", ".App"};

    std::mt19937_64 random_;
    std::function<void()> probe_;
    FakeTree tree_{"/tmp", {.size = 10, .allocatedBytes = 4096}};
    std::vector<Text> folders_;
};

}  // namespace

TEST(GrowingTree, showsWhatHasBeenFoundSoFar) {
    const GrowingTree growing;
    std::optional<FolderListing> root;
    std::optional<FolderListing> folder;
    FakeTree tree{"/tmp"};
    tree.file("a", {.size = 3, .allocatedBytes = 512});
    tree.directory("d", {.size = 1, .allocatedBytes = 4096});
    tree.directory("e").file("x", {.size = 5, .allocatedBytes = 1024});
    tree.then([&] {
        root = growing.listing("/tmp");
        folder = growing.listing("/tmp/d");
    });
    tree.end().end().file("z", {.allocatedBytes = 1 << 20});
    const ScanEvents events = scanWatching(growing, tree);
    ASSERT_TRUE(root.has_value());
    EXPECT_FALSE(root->isComplete);
    EXPECT_EQ(root->below, (FolderSums{.items = 4, .allocatedBytes = 5632, .apparentBytes = 9}));
    ASSERT_EQ(root->entries.size(), 2U);
    const FolderEntry& d = root->entries.front();
    EXPECT_EQ(d.record.path(), Text{"/tmp/d"});
    EXPECT_EQ(d.record.displayBytes(), 5120);
    EXPECT_EQ(d.below, (FolderSums{.items = 2, .allocatedBytes = 1024, .apparentBytes = 5}));
    EXPECT_FALSE(d.isComplete);
    EXPECT_TRUE(root->entries.back().isComplete);
    ASSERT_TRUE(folder.has_value());
    EXPECT_EQ(folder->entries.front().record.path(), Text{"/tmp/d/e"});
    EXPECT_EQ(linesOf(growing.listing("/tmp")), linesOf(events.result().listing("/tmp")));
}

TEST(GrowingTree, neverShowsMoreThanThereIsAndAllOfAFolderThatIsComplete) {
    for (std::uint64_t seed = 1; seed <= 60; ++seed) {
        const GrowingTree growing;
        std::map<Text, std::vector<FolderListing>> seen;
        const RandomFake* fake = nullptr;
        const RandomFake made{seed, [&] {
                                  for (const Text& path : fake->folders()) {
                                      if (auto listing = growing.listing(path)) {
                                          seen[path].push_back(std::move(*listing));
                                      }
                                  }
                              }};
        fake = &made;
        const ScanEvents events = scanWatching(growing, made.tree());
        std::map<Text, FolderSums> last;
        for (const auto& [path, listings] : seen) {
            const auto final = events.result().listing(path);
            ASSERT_TRUE(final.has_value()) << path.view();
            FolderSums before;
            for (const FolderListing& listing : listings) {
                ASSERT_LE(before.items, listing.below.items);
                ASSERT_LE(before.allocatedBytes, listing.below.allocatedBytes);
                ASSERT_LE(before.apparentBytes, listing.below.apparentBytes);
                before = listing.below;
                if (listing.isComplete) {
                    ASSERT_EQ(linesOf(listing), linesOf(final)) << seed << path.view();
                }
            }
            ASSERT_LE(before.items, final->below.items);
            ASSERT_LE(before.allocatedBytes, final->below.allocatedBytes);
            ASSERT_LE(before.apparentBytes, final->below.apparentBytes);
            // The last look was behind the last entry.
            ASSERT_EQ(finalLinesOf(listings.back()), linesOf(final)) << seed << path.view();
        }
    }
}

TEST(GrowingTree, isTheSnapshotsWhenTheScanHasEnded) {
    const TemporaryFolder folder;
    makeRandomTree(folder.path(), 5);
    const GrowingTree growing;
    const ScanEvents events =
        collect(DiskScanner{}.scan(ScanScope{URL::fromPath(Text{folder.path()})}, watching(growing)));
    const ScanSnapshot snapshot = events.result();
    for (const Text& path : pathsToList(snapshot)) {
        const auto listing = growing.listing(path);
        const auto expected = snapshot.listing(path);
        ASSERT_EQ(linesOf(listing), linesOf(expected)) << path.view();
        if (listing && !listing->entries.empty()) {
            EXPECT_EQ(listing->entries.front().record.id(), expected->entries.front().record.id());
        }
    }
}

TEST(GrowingTree, listsAnEmptyFolderAndOneThatIsNamedInAnotherSpelling) {
    const GrowingTree growing;
    std::optional<FolderListing> open;
    std::optional<FolderListing> ended;
    std::vector<bool> others;
    FakeTree tree{"/tmp"};
    tree.directory("e\u0301").then([&] { open = growing.listing("/tmp/\u00E9"); });
    tree.end().then([&] {
        ended = growing.listing("/tmp/\u00E9");
        for (const char* path : {"/tmp/a", "/", "/tm", "/tmp/", "tmp", "", "/tmp/e\u0301/x"}) {
            others.push_back(growing.listing(path).has_value());
        }
    });
    (void)scanWatching(growing, tree);
    ASSERT_TRUE(open && ended);
    EXPECT_FALSE(open->isComplete);
    EXPECT_TRUE(ended->isComplete);
    EXPECT_TRUE(ended->entries.empty());
    EXPECT_EQ(others, std::vector<bool>(7, false));
}

TEST(GrowingTree, showsFoldersWhosePathsAreEqualAsOne) {
    const GrowingTree growing;
    std::optional<FolderListing> root;
    std::optional<FolderListing> both;
    FakeTree tree{"/tmp"};
    tree.directory("\u00E9", {.allocatedBytes = 4096}).file("x", {.size = 1, .allocatedBytes = 512}).end();
    tree.directory("e\u0301", {.allocatedBytes = 4096}).file("y", {.size = 2, .allocatedBytes = 512}).end();
    tree.then([&] {
        root = growing.listing("/tmp");
        both = growing.listing("/tmp/\u00E9");
    });
    const ScanEvents events = scanWatching(growing, tree);
    ASSERT_TRUE(root && both);
    ASSERT_EQ(root->entries.size(), 1U);
    const FolderListing final = events.result().listing("/tmp").value();
    EXPECT_EQ(root->entries.front().below, final.entries.front().below);
    EXPECT_EQ(root->entries.front().record.displayBytes(), final.entries.front().record.displayBytes());
    EXPECT_EQ(linesOf(both), linesOf(events.result().listing("/tmp/\u00E9")));
}

TEST(GrowingTree, countsSmallFilesOfAWholeDiskWithoutListingThem) {
    const GrowingTree growing;
    std::optional<FolderListing> listing;
    FakeTree tree{"/"};
    tree.directory("d", {.allocatedBytes = 4096}).file("small", {.size = 100, .allocatedBytes = 512});
    tree.end().then([&] { listing = growing.listing("/d"); });
    const ScanEvents events = scanWatching(growing, tree, "/");
    EXPECT_EQ(linesOf(listing), linesOf(events.result().listing("/d")));
    EXPECT_EQ(listing->below, (FolderSums{.items = 0, .allocatedBytes = 512, .apparentBytes = 0}));
}

TEST(GrowingTree, isThereForOthersWhileTheWalkHangs) {
    const GrowingTree growing;
    FakeTree tree{"/tmp"};
    std::optional<FolderListing> seen;
    // The walk goes on only when another thread has got its answer.
    tree.file("a").then([&] { std::thread{[&] { seen = growing.listing("/tmp"); }}.join(); });
    (void)scanWatching(growing, tree);
    ASSERT_TRUE(seen.has_value());
    EXPECT_EQ(seen->entries.size(), 1U);
}

TEST(GrowingTree, mayBeAskedByAnotherThreadAllTheTime) {
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        const GrowingTree growing;
        const RandomFake fake{seed, [] {}};
        std::atomic<bool> isOver = false;
        std::thread other{[&] {
            while (!isOver) {
                for (const Text& path : fake.folders()) (void)growing.listing(path);
            }
        }};
        const ScanEvents events = scanWatching(growing, fake.tree());
        isOver = true;
        other.join();
        EXPECT_EQ(linesOf(growing.listing("/tmp")), linesOf(events.result().listing("/tmp")));
    }
}

TEST(GrowingTree, isEmptyBeforeAScanAndAfterOneThatGaveNothing) {
    const GrowingTree growing;
    EXPECT_FALSE(growing.listing("/tmp").has_value());
    const ScanEvents failed = scanWatching(growing, FakeTree{"/tmp"}.file("a").stop(EIO));
    EXPECT_NE(failed.error, nullptr);
    EXPECT_FALSE(growing.listing("/tmp").has_value());
    const ScanEvents done = scanWatching(growing, FakeTree{"/tmp"}.file("a"));
    EXPECT_EQ(growing.listing("/tmp")->entries.size(), 1U);
    const ScanEvents refused = scanWatching(growing, FakeTree{"/tmp"}, "/tmp/nothing is here");
    EXPECT_NE(refused.error, nullptr);
    EXPECT_FALSE(growing.listing("/tmp").has_value());
    // What another scan finds takes the place of what was there.
    const ScanEvents missing = scanWatching(growing, FakeTree::missing("/tmp", ENOENT));
    EXPECT_EQ(linesOf(growing.listing("/tmp")), linesOf(missing.result().listing("/tmp")));
}

TEST(GrowingTree, keepsWhatAScanThatWasEndedEarlyHasFound) {
    const GrowingTree growing;
    ScanOptions options;
    options.keepingFound.emplace();
    FakeTree tree{"/tmp"};
    tree.directory("d").file("first", {.allocatedBytes = 512}).then([&] { options.keepingFound->cancel(); });
    tree.file("second").end();
    const ScanEvents events = scanWatching(growing, tree, "/tmp", options);
    EXPECT_FALSE(events.isComplete);
    EXPECT_EQ(linesOf(growing.listing("/tmp/d")), linesOf(events.result().listing("/tmp/d")));
}

}  // namespace KestrelCore
