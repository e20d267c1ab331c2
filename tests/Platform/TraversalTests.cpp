#include "Platform/Traversal.hpp"

#include "support/BulkTraversal.hpp"
#include "support/ChildProcess.hpp"
#include "support/FakeTraversal.hpp"
#include "support/FtsTraversal.hpp"
#include "support/RandomTree.hpp"
#include "support/TemporaryFolder.hpp"
#include "support/TraversalListing.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace KestrelCore {

namespace {

using Kind = TraversalEntry::Kind;
using Lines = std::vector<std::string>;

/// Walks until the folder called `name` is given; null when there is none.
const TraversalEntry* walkTo(Traversal& traversal, std::string_view name) {
    const TraversalEntry* entry = traversal.next();
    while (entry != nullptr && entry->name != name) entry = traversal.next();
    return entry;
}

}  // namespace

/// A way to walk a folder.
struct Walker {
    const char* name;
    std::unique_ptr<Traversal> (*open)(const TraversalOptions& options);
};

/// The walk of this system, and that of macOS over made answers of its system: one with statuses, one by names alone.
constexpr std::array<Walker, 3> walkers{
    {{"System", [](const TraversalOptions& options) { return openTraversal(options); }},
     {"Bulk", [](const TraversalOptions& options) { return openBulkTraversal(options); }},
     {"Plain", [](const TraversalOptions& options) {
          return openBulkTraversal(options, {.adjust = {}, .volumes = {}, .refusal = ENOTSUP});
      }}}};

static std::string nameOf(const testing::TestParamInfo<Walker>& info) { return info.param.name; }

/// One tree that holds "a/b/file" and nothing else, and many ways to walk it: what holds for one holds for all.
class TraversalContract : public testing::TestWithParam<Walker> {
protected:
    TraversalContract() { folder_.makeFile("a/b/file", "12345"); }

    [[nodiscard]] std::unique_ptr<Traversal> open() { return GetParam().open({folder_.path(), {}, cancellation_}); }

    const TemporaryFolder folder_;
    const CancellationToken cancellation_;
};

INSTANTIATE_TEST_SUITE_P(Walkers, TraversalContract, testing::ValuesIn(walkers), nameOf);
INSTANTIATE_TEST_SUITE_P(
    Others, TraversalContract,
    testing::Values(Walker{"Fts", [](const TraversalOptions& options) { return openFtsTraversal(options); }},
                    Walker{"Fake",
                           [](const TraversalOptions& options) {
                               FakeTree tree{options.root};
                               tree.directory("a").directory("b").file("file", {.size = 5});
                               return tree.open(options);
                           }}),
    nameOf);

TEST_P(TraversalContract, givesAFolderItsContentAndItsEnd) {
    EXPECT_EQ(briefListing(open()), (Lines{"0 directory " + folder_.path(), "1 directory a", "2 directory b",
                                           "3 item file", "2 end b", "1 end a", "0 end " + folder_.path()}));
}

TEST_P(TraversalContract, givesStatusesOfItemsAndOfDirectoriesBeforeTheirContent) {
    const auto traversal = open();
    const TraversalEntry* entry = walkTo(*traversal, "b");
    ASSERT_NE(entry, nullptr);
    ASSERT_NE(entry->status, nullptr);
    EXPECT_EQ(entry->status->type, FileType::directory);
    entry = traversal->next();
    ASSERT_NE(entry, nullptr);
    ASSERT_NE(entry->status, nullptr);
    EXPECT_EQ(entry->status->type, FileType::regular);
    EXPECT_EQ(entry->status->size, 5);
    EXPECT_EQ(traversal->next()->status, nullptr);
}

TEST_P(TraversalContract, leavesOutTheContentOfASkippedDirectoryButNotItsEnd) {
    EXPECT_EQ(briefListing(open(), {"a"}),
              (Lines{"0 directory " + folder_.path(), "1 directory a", "1 end a", "0 end " + folder_.path()}));
}

TEST_P(TraversalContract, givesNothingMoreOnceItEnded) {
    const auto traversal = open();
    while (traversal->next() != nullptr) {
    }
    EXPECT_EQ(traversal->next(), nullptr);
    EXPECT_EQ(traversal->errorNumber(), 0);
}

TEST_P(TraversalContract, stopsWhenItIsCancelled) {
    const auto traversal = open();
    ASSERT_NE(walkTo(*traversal, "a"), nullptr);
    cancellation_.cancel();
    EXPECT_EQ(traversal->next(), nullptr);
    EXPECT_EQ(traversal->errorNumber(), ECANCELED);
    EXPECT_EQ(traversal->next(), nullptr);
}

TEST(Traversal, givesOneEntryForARootThatIsNoFolder) {
    const TemporaryFolder folder;
    const std::string file = folder.makeFile("file");
    const std::string link = folder / "link";
    std::filesystem::create_symlink(folder.path(), link);
    EXPECT_EQ(briefListing(openTraversal({file, {}, {}})), (Lines{"0 item " + file}));
    EXPECT_EQ(briefListing(openTraversal({link, {}, {}})), (Lines{"0 item " + link}));
}

TEST(Traversal, givesOneEntryWithoutStatusForARootThatIsMissing) {
    const TemporaryFolder folder;
    const auto traversal = openTraversal({folder / "missing", {}, {}});
    const TraversalEntry* entry = traversal->next();
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->kind, Kind::noStatus);
    EXPECT_EQ(entry->level, 0U);
    EXPECT_EQ(entry->name, folder / "missing");
    EXPECT_EQ(entry->errorNumber, ENOENT);
    EXPECT_EQ(traversal->next(), nullptr);
    EXPECT_EQ(traversal->errorNumber(), 0);
}

TEST(Traversal, givesRandomTreesAsFtsDoes) {
    for (std::uint32_t seed = 1; seed <= 15; ++seed) {
        SCOPED_TRACE(seed);
        const TemporaryFolder folder{roomyTemporaryFolder()};
        makeRandomTree(folder.path(), seed);
        const TraversalOptions options{folder.path(), {}, {}};
        const Lines expected = listing(openFtsTraversal(options));
        const Lines skipped = {"n1", ".hidden", "-rf", "...", "*", "\xff\xfe"};
        const Lines expectedWithoutThem = listing(openFtsTraversal(options), skipped);
        for (const Walker& walker : walkers) {
            SCOPED_TRACE(walker.name);
            ASSERT_EQ(firstDifference(listing(walker.open(options)), expected), "");
            ASSERT_EQ(firstDifference(listing(walker.open(options), skipped), expectedWithoutThem), "");
        }
    }
}

TEST(Traversal, givesWhatAnOrdinaryUserMayNotReadAsFtsDoes) {
    inChild(ChildSetting::unprivileged, [] {
        std::size_t issues = 0;
        for (std::uint32_t seed = 100; seed < 115; ++seed) {
            SCOPED_TRACE(seed);
            const TemporaryFolder folder{roomyTemporaryFolder()};
            makeRandomTree(folder.path(), seed);
            const Lines expected = listing(openFtsTraversal({folder.path(), {}, {}}));
            issues += static_cast<std::size_t>(std::count_if(expected.begin(), expected.end(), [](const auto& line) {
                return line.find("unreadable") == 2 || line.find("nostatus") == 2;
            }));
            for (const Walker& walker : walkers) {
                SCOPED_TRACE(walker.name);
                ASSERT_EQ(firstDifference(listing(walker.open({folder.path(), {}, {}})), expected), "");
            }
        }
        EXPECT_GT(issues, 0U) << "the trees hold nothing that is refused";
    });
}

TEST(Traversal, saysWhyAFolderOrAnEntryIsRefused) {
    inChild(ChildSetting::unprivileged, [] {
        const TemporaryFolder folder;
        folder.makeFile("d/file");
        const std::string path = folder / "d";
        const std::string first = "0 directory " + folder.path();
        const std::string last = "0 end " + folder.path();
        chmod(path.c_str(), 0300);
        EXPECT_EQ(briefListing(openTraversal({folder.path(), {}, {}})),
                  (Lines{first, "1 directory d", "1 unreadable d 13", last}));
        chmod(path.c_str(), 0400);
        EXPECT_EQ(briefListing(openTraversal({folder.path(), {}, {}})),
                  (Lines{first, "1 directory d", "2 nostatus file 13", "1 end d", last}));
    });
}

TEST(Traversal, entersWhatIsNotReadAheadWhenTheWalkDoes) {
    const TemporaryFolder folder{roomyTemporaryFolder()};
    makeRandomTree(folder.path(), 7);
    folder.makeFile("left/out/deep/file");
    const Lines expected = listing(openFtsTraversal({folder.path(), {}, {}}));
    const TraversalOptions options{folder.path(), {folder / "left/out", folder / "left", folder / "no/such"}, {}};
    EXPECT_EQ(firstDifference(listing(openTraversal(options)), expected), "");
    EXPECT_EQ(firstDifference(listing(openTraversal(options), {"out"}), listing(openFtsTraversal(options), {"out"})),
              "");
}

TEST(Traversal, canBeGivenUpAtAnyEntry) {
    const TemporaryFolder folder;
    for (int index = 0; index < 40; ++index) folder.makeFile(std::to_string(index) + "/a/file");
    for (int taken = 0; taken < 60; ++taken) {
        const auto traversal = openTraversal({folder.path(), {}, {}});
        for (int count = 0; count < taken; ++count) ASSERT_NE(traversal->next(), nullptr);
    }
}

/// A tree that changes between the listing of a folder and its opening. What is left out of the reading ahead is opened
/// only when the walk enters it, so the order of events is certain.
class ChangingTree : public testing::TestWithParam<Walker> {
protected:
    ChangingTree() {
        folder_.makeFile("root/victim/inner/file");
        outside_.makeFile("secret/file");
    }

    /// What follows the directory `name` when `change` happens right after it was given.
    Lines after(std::string_view name, const std::function<void()>& change) {
        const auto traversal = GetParam().open({root_, {root_ + "/victim", root_ + "/victim/inner"}, {}});
        EXPECT_NE(walkTo(*traversal, name), nullptr);
        change();
        Lines found = listing(*traversal);
        return found;
    }

    const TemporaryFolder folder_;
    const TemporaryFolder outside_;
    const std::string root_ = folder_ / "root";
    const std::string victim_ = folder_ / "root/victim";
    const Lines gone_{"1 unreadable victim 2", "0 end " + root_};
};

INSTANTIATE_TEST_SUITE_P(Walkers, ChangingTree, testing::Values(walkers[0], walkers[1]), nameOf);

TEST_P(ChangingTree, reportsAFolderThatVanished) {
    EXPECT_EQ(after("victim", [&] { std::filesystem::remove_all(victim_); }), gone_);
}

TEST_P(ChangingTree, doesNotFollowALinkThatTookTheFoldersPlace) {
    EXPECT_EQ(after("victim",
                    [&] {
                        std::filesystem::rename(victim_, folder_ / "away");
                        std::filesystem::create_symlink(outside_.path(), victim_);
                    }),
              gone_);
}

TEST_P(ChangingTree, doesNotEnterAnotherFolderInItsPlace) {
    EXPECT_EQ(after("victim",
                    [&] {
                        std::filesystem::rename(victim_, folder_ / "away");
                        std::filesystem::rename(outside_ / "secret", victim_);
                    }),
              gone_);
}

TEST_P(ChangingTree, reportsAFolderThatBecameAFile) {
    EXPECT_EQ(after("victim",
                    [&] {
                        std::filesystem::rename(victim_, folder_ / "away");
                        folder_.makeFile("root/victim");
                    }),
              gone_);
}

TEST_P(ChangingTree, reportsAFolderThatWasMovedOutOfTheOneBeingRead) {
    EXPECT_EQ(after("inner", [&] { std::filesystem::rename(victim_ + "/inner", folder_ / "away"); }),
              (Lines{"2 unreadable inner 2", "1 end victim", "0 end " + root_}));
}

TEST_P(ChangingTree, reportsARootThatVanished) {
    // The walk has looked at the root, and opens it only when the entry after it is asked for.
    const auto traversal = GetParam().open({root_, {}, {}});
    ASSERT_NE(traversal->next(), nullptr);
    std::filesystem::rename(root_, folder_ / "away");
    EXPECT_EQ(listing(*traversal), (Lines{"0 unreadable " + root_ + " 2"}));
}

TEST_P(ChangingTree, endsWhateverIsRemovedUnderIt) {
    // What was read ahead may be given, what was not is an issue: but every folder ends, and nothing comes twice.
    for (int index = 0; index < 200; ++index) folder_.makeFile("root/" + std::to_string(index) + "/a/b/file");
    const auto traversal = GetParam().open({root_, {}, {}});
    std::vector<std::string> open;
    for (int count = 0; const TraversalEntry* entry = traversal->next(); ++count) {
        if (count == 50) std::filesystem::remove_all(root_);  // the entry stays valid: it is in memory
        ASSERT_EQ(entry->level, open.size() - (entry->status == nullptr && entry->kind != Kind::noStatus ? 1 : 0));
        if (entry->kind == Kind::directory) open.emplace_back(entry->name);
        if (entry->kind == Kind::directoryEnd || entry->kind == Kind::unreadableDirectory) {
            EXPECT_EQ(open.back(), entry->name);
            open.pop_back();
        }
        if (entry->kind == Kind::unreadableDirectory) {
            EXPECT_EQ(entry->errorNumber, ENOENT);
        }
    }
    EXPECT_TRUE(open.empty());
    EXPECT_EQ(traversal->errorNumber(), 0);
}

}  // namespace KestrelCore
