#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include "support/Records.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <thread>

namespace KestrelCore {

using testing::aRecord;
using testing::aSnapshot;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::pathsOf;

namespace {

ScanSnapshot aTree() {
    return aSnapshot("/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory, .aggregate = 1000}),
                            aRecord({.path = "/r/a", .kind = FileKind::directory, .aggregate = 100}),
                            aRecord({.path = "/r/b", .allocated = 500}), aRecord({.path = "/r/c", .allocated = 100}),
                            aRecord({.path = "/r/a/x"})});
}

}  // namespace

TEST(ScanSnapshot, listsChildrenLargestFirstAndEqualOnesInRecordOrder) {
    const ScanSnapshot snapshot = aTree();
    EXPECT_THAT(pathsOf(snapshot.children()), ElementsAre("/r"));
    EXPECT_THAT(pathsOf(snapshot.children(Text{"/r"})), ElementsAre("/r/b", "/r/a", "/r/c"));
    EXPECT_THAT(pathsOf(snapshot.children(Text{"/r/a"})), ElementsAre("/r/a/x"));
    EXPECT_THAT(snapshot.children(Text{"/r/b"}), IsEmpty());
    EXPECT_THAT(snapshot.children(Text{"/nowhere"}), IsEmpty());
    EXPECT_THAT(snapshot.children(Text{""}), IsEmpty());
}

TEST(ScanSnapshot, findsARecordOnlyByItsVeryPath) {
    const ScanSnapshot snapshot = aTree();
    EXPECT_EQ(snapshot.record("/r/a/x")->path(), Text{"/r/a/x"});
    for (const char* path : {"/r/a/", "/R/a", "/r/./a", "/r//a", "r/a", "/", ""}) {
        EXPECT_FALSE(snapshot.record(path).has_value()) << path;
    }
}

TEST(ScanSnapshot, treatsNormalFormsOfOnePathAsOne) {
    const ScanSnapshot snapshot =
        aSnapshot("/r", {aRecord({.path = "/r/Cafe\u0301", .kind = FileKind::directory, .aggregate = 9}),
                         aRecord({.path = "/r/Caf\u00E9/menu"}), aRecord({.path = "/r/Cafe\u0301/bill"})});
    ASSERT_TRUE(snapshot.record("/r/Caf\u00E9").has_value());
    EXPECT_EQ(snapshot.record("/r/Caf\u00E9")->path().view(), "/r/Cafe\u0301");
    EXPECT_THAT(pathsOf(snapshot.children(Text{"/r/Caf\u00E9"})),
                ElementsAre("/r/Caf\u00E9/menu", "/r/Cafe\u0301/bill"));
    EXPECT_THAT(pathsOf(snapshot.removing({Text{"/r/Caf\u00E9"}}).records()), IsEmpty());
}

TEST(ScanSnapshot, keepsARecordOfAnUnknownParentOutOfTheRoots) {
    const ScanSnapshot snapshot =
        aSnapshot("/r", {aRecord({.path = "/r/a", .parent = Text{"/elsewhere"}}),
                         aRecord({.path = "/r/b", .parent = Text{"not absolute"}}), aRecord({.path = "/elsewhere/c"})});
    EXPECT_THAT(snapshot.children(), IsEmpty());
    EXPECT_THAT(pathsOf(snapshot.children(Text{"/elsewhere"})), ElementsAre("/r/a", "/elsewhere/c"));
    EXPECT_THAT(pathsOf(snapshot.children(Text{"not absolute"})), ElementsAre("/r/b"));
}

TEST(ScanSnapshot, givesTheLaterOfTwoRecordsWithOnePath) {
    const ScanSnapshot snapshot =
        aSnapshot("/r", {aRecord({.path = "/r/a", .allocated = 1}), aRecord({.path = "/r/a", .allocated = 2})});
    EXPECT_EQ(snapshot.record("/r/a")->allocatedBytes(), 2);
    EXPECT_FALSE(snapshot.isConsistent());
}

TEST(ScanSnapshotDeathTest, stopsWhenPruningFindsAPathTwice) {
    const ScanSnapshot snapshot =
        aSnapshot("/r", {aRecord({.path = "/r", .isTop = true}), aRecord({.path = "/r/a"}), aRecord({.path = "/r/a"})});
    EXPECT_DEATH((void)snapshot.removing({Text{"/r"}}),
                 "^KestrelCore/Model/ScanSnapshot: Fatal error: Duplicate values for key: '/r/a'\n$");
    EXPECT_EQ(snapshot.removing({Text{"/nowhere"}}), snapshot);
}

TEST(ScanSnapshotDeathTest, stopsWhenPruningOverflows) {
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    const ScanSnapshot sum =
        aSnapshot("/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory}),
                         aRecord({.path = "/r/a", .allocated = most}), aRecord({.path = "/r/b", .allocated = 1})});
    EXPECT_DEATH((void)sum.removing({Text{"/r/a"}, Text{"/r/b"}}), "KestrelCore/Model/ScanSnapshot: Fatal error");
    const ScanSnapshot difference =
        aSnapshot("/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory, .aggregate = -2}),
                         aRecord({.path = "/r/a", .allocated = most})});
    EXPECT_DEATH((void)difference.removing({Text{"/r/a"}}), "KestrelCore/Model/ScanSnapshot: Fatal error");
}

TEST(ScanSnapshot, takesItsTotalFromTheRecordAtTheRoot) {
    EXPECT_EQ(aTree().totalAllocatedBytes(), 1000);
    EXPECT_EQ(aSnapshot("/other", {aRecord({.path = "/r", .isTop = true, .aggregate = 5})}).totalAllocatedBytes(), 0);
    EXPECT_EQ(aSnapshot("/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::file, .aggregate = 5})})
                  .totalAllocatedBytes(),
              5);
}

TEST(ScanSnapshot, reducesTheFoldersAboveWhatIsRemoved) {
    const ScanSnapshot snapshot = aSnapshot(
        "/r",
        {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory, .allocated = 4, .aggregate = 1000}),
         aRecord({.path = "/r/a", .kind = FileKind::directory, .allocated = 10, .aggregate = 300}),
         aRecord({.path = "/r/a/x", .allocated = 290}), aRecord({.path = "/r/ab", .allocated = 7})},
        {{"/r/a/x", "m"}, {"/r/ab", "m"}, {"/r/a", "m"}});
    const ScanSnapshot rest = snapshot.removing({Text{"/r/a"}});
    EXPECT_NE(rest, snapshot);
    EXPECT_THAT(pathsOf(rest.records()), ElementsAre("/r", "/r/ab"));
    EXPECT_EQ(rest.totalAllocatedBytes(), 700);
    ASSERT_EQ(rest.issues().size(), 1U);
    EXPECT_EQ(rest.issues().front().path, Text{"/r/ab"});
    EXPECT_EQ(snapshot.totalAllocatedBytes(), 1000);
    EXPECT_EQ(snapshot.records().size(), 4U);
}

TEST(ScanSnapshot, countsNestedRemovalsTwiceDownToTheOwnSize) {
    const ScanSnapshot snapshot = aSnapshot(
        "/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory, .allocated = 4, .aggregate = 1000}),
               aRecord({.path = "/r/b", .kind = FileKind::directory, .allocated = 1, .aggregate = 300}),
               aRecord({.path = "/r/b/c", .allocated = 200})});
    EXPECT_EQ(snapshot.removing({Text{"/r/b"}, Text{"/r/b/c"}}).totalAllocatedBytes(), 500);
    const ScanSnapshot small = aSnapshot(
        "/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory, .allocated = 40, .aggregate = 50}),
               aRecord({.path = "/r/b", .allocated = 200})});
    EXPECT_EQ(small.removing({Text{"/r/b"}}).totalAllocatedBytes(), 40);
}

TEST(ScanSnapshot, raisesEveryKeptContainerToItsOwnSize) {
    const ScanSnapshot snapshot =
        aSnapshot("/r", {aRecord({.path = "/r/low", .kind = FileKind::directory, .allocated = 40, .aggregate = 5}),
                         aRecord({.path = "/r/file", .allocated = 40, .aggregate = 5}), aRecord({.path = "/r/gone"})});
    const ScanSnapshot rest = snapshot.removing({Text{"/r/gone"}});
    EXPECT_EQ(rest.record("/r/low")->aggregateAllocatedBytes(), 40);
    EXPECT_EQ(rest.record("/r/file")->aggregateAllocatedBytes(), 5);
}

TEST(ScanSnapshot, removesEverythingBelowTheTopOnlyWhenTheTopIsARecord) {
    const FileRecord child = aRecord({.path = "/a"});
    EXPECT_EQ(aSnapshot("/", {child}).removing({Text{"/"}}).records().size(), 1U);
    const ScanSnapshot disk = aSnapshot("/", {aRecord({.path = "/", .isTop = true, .kind = FileKind::directory}), child,
                                              aRecord({.path = "/a/b"}), aRecord({.path = "relative"})});
    EXPECT_THAT(pathsOf(disk.removing({Text{"/"}}).records()), ElementsAre("relative"));
    EXPECT_EQ(disk.removing({Text{"/a"}}).record("/")->path(), Text{"/"});
}

TEST(ScanSnapshot, ordersFoldersByTheirReducedSizes) {
    const ScanSnapshot snapshot =
        aSnapshot("/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory, .aggregate = 9000}),
                         aRecord({.path = "/r/a", .kind = FileKind::directory, .allocated = 1, .aggregate = 5000}),
                         aRecord({.path = "/r/a/x", .allocated = 4900}), aRecord({.path = "/r/b", .allocated = 3000})});
    EXPECT_THAT(pathsOf(snapshot.removing({Text{"/r/a/x"}}).children(Text{"/r"})), ElementsAre("/r/b", "/r/a"));
}

TEST(ScanSnapshot, isInconsistentWithNegativeOrAbsurdSizes) {
    EXPECT_TRUE(aTree().isConsistent());
    EXPECT_FALSE(aSnapshot("/r", {aRecord({.logical = -1})}).isConsistent());
    EXPECT_FALSE(aSnapshot("/r", {aRecord({.allocated = -1})}).isConsistent());
    EXPECT_FALSE(aSnapshot("/r", {aRecord({.aggregate = -1})}).isConsistent());
    constexpr std::int64_t half = std::int64_t{1} << 61;
    EXPECT_TRUE(
        aSnapshot("/r", {aRecord({.path = "/r/a", .allocated = half}), aRecord({.path = "/r/b", .allocated = half})})
            .isConsistent());
    EXPECT_FALSE(aSnapshot("/r", {aRecord({.path = "/r/a", .allocated = half}),
                                  aRecord({.path = "/r/b", .allocated = half + 1})})
                     .isConsistent());
}

// Whoever adds up what is shown, or what an ancestor loses, takes one of the two sizes of each record.
TEST(ScanSnapshot, boundsTheSumOfTheLargerSizesOfAllRecords) {
    constexpr std::int64_t most = std::int64_t{1} << 62;
    const FileRecord file = aRecord({.path = "/r/file", .allocated = most, .aggregate = 0});
    const FileRecord folder =
        aRecord({.path = "/r/folder", .kind = FileKind::directory, .allocated = 0, .aggregate = most});
    EXPECT_TRUE(aSnapshot("/r", {file}).isConsistent());
    EXPECT_TRUE(aSnapshot("/r", {folder}).isConsistent());
    EXPECT_FALSE(aSnapshot("/r", {file, folder}).isConsistent());
    EXPECT_FALSE(aSnapshot("/r", {folder, aRecord({.path = "/r/a", .allocated = 0, .aggregate = 1})}).isConsistent());
}

TEST(ScanSnapshot, addsUpLossesOnlyForContainersThatAreKept) {
    constexpr std::int64_t huge = std::int64_t{1} << 62;
    const auto sized = [](const Text& path, FileKind kind, std::int64_t bytes) {
        return aRecord({.path = path, .kind = kind, .allocated = bytes, .aggregate = bytes});
    };
    // Twice 2^62 would stop the process: "/r/file" holds nothing, "/r/gone" is no record or goes itself.
    for (const char* ancestor : {"/r/file", "/r/gone"}) {
        const Text folder{ancestor};
        const ScanSnapshot snapshot =
            aSnapshot("/r", {sized("/r/file", FileKind::file, 1),
                             sized(Text::concatenating({folder.view(), "/a"}), FileKind::file, huge),
                             sized(Text::concatenating({folder.view(), "/b"}), FileKind::file, huge)});
        const ScanSnapshot rest = snapshot.removing({snapshot.records()[1].path(), snapshot.records()[2].path()});
        EXPECT_THAT(pathsOf(rest.records()), ElementsAre("/r/file")) << ancestor;
    }
    const ScanSnapshot snapshot =
        aSnapshot("/r", {sized("/r/kept", FileKind::file, 1), sized("/r/gone", FileKind::directory, 1),
                         sized("/r/gone/a", FileKind::file, huge), sized("/r/gone/b", FileKind::file, huge)});
    const ScanSnapshot rest = snapshot.removing({Text{"/r/gone"}, Text{"/r/gone/a"}, Text{"/r/gone/b"}});
    EXPECT_THAT(pathsOf(rest.records()), ElementsAre("/r/kept"));
}

TEST(ScanSnapshot, isMadeOfEmptyBraces) {
    const ScanSnapshot snapshot{UUID::random(), ScanScope{URL::fromPath("/r")}, Date{1}, Date{2}, {}, {}};
    EXPECT_TRUE(snapshot.records().empty());
    EXPECT_TRUE(snapshot.issues().empty());
}

TEST(ScanSnapshot, readsItsRecordsAsARandomAccessRange) {
    const ScanSnapshot snapshot = aTree();
    static_assert(std::random_access_iterator<RecordList::Iterator>);
    EXPECT_EQ(snapshot.records()[1].path(), Text{"/r/a"});
    EXPECT_EQ(snapshot.records().end() - snapshot.records().begin(), 5);
    EXPECT_EQ((*(snapshot.records().begin() + 4)).name(), Text{"x"});
}

TEST(ScanSnapshot, givesTheSizeOfEachRecordWithoutTheRecord) {
    const ScanSnapshot snapshot = aSnapshot(
        "/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory, .allocated = 1, .aggregate = 9}),
               aRecord({.path = "/r/p.app", .kind = FileKind::package, .allocated = 2, .aggregate = 5}),
               aRecord({.path = "/r/a", .allocated = 3, .aggregate = 7}),
               aRecord({.path = "/r/b", .allocated = 4, .isDuplicate = true}),
               aRecord({.path = "odd", .parent = "/r", .kind = FileKind::symbolicLink, .allocated = 6})});
    const RecordList& records = snapshot.records();
    const std::vector<RecordSize> expected{
        {9, true, false}, {5, true, false}, {3, false, false}, {4, false, true}, {6, false, false}};
    ASSERT_EQ(records.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(records.sizeOf(i), expected[i]) << i;
        EXPECT_EQ(records.sizeOf(i).displayBytes, records[i].displayBytes()) << i;
    }
}

TEST(ScanSnapshot, givesBackExactlyTheRecordsItWasMadeOf) {
    std::vector<FileRecord> records{
        aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory}),
        aRecord({.path = "/r/\u00DCber.TXT", .modified = std::nullopt, .identity = std::nullopt, .isHidden = true}),
        aRecord({.path = "/r/a//b/", .parent = Text{"/r/a/"}}),
        aRecord({.path = "/", .parent = Text{"/"}}),
        aRecord({.path = "//x", .parent = Text{"/"}}),
        aRecord({.path = "///x", .parent = Text{"//"}}),
        aRecord({.path = "", .parent = Text{""}}),
        aRecord({.path = Text{"/r/" + std::string(5000, 'n')}, .isCloudPlaceholder = true, .isDuplicate = true}),
        FileRecord{UUID::random(), std::nullopt, Text{"/r"}, "/r/one", "another name", FileKind::package, 1, 2, 3,
                   Date{-0.0}, "EXT", false, true, false, RiskLevel::blocked}};
    for (std::uint64_t device = 0; device < 300; ++device) {
        records.push_back(
            aRecord({.path = Text{"/r/d" + std::to_string(device)}, .identity = FileIdentity{device, device * 3}}));
    }
    const ScanSnapshot snapshot = aSnapshot("/r", records);
    ASSERT_EQ(snapshot.records().size(), records.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(snapshot.records()[i], records[i]) << records[i].path().view();
        EXPECT_EQ(snapshot.records()[i].path().view(), records[i].path().view());
        EXPECT_EQ(snapshot.record(records[i].path())->id(), records[i].id()) << records[i].path().view();
    }
}

TEST(ScanSnapshot, isReadByManyThreadsAtOnce) {
    const ScanSnapshot snapshot = aTree();
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back([copy = snapshot] {
            for (int round = 0; round < 200; ++round) {
                EXPECT_EQ(copy.children(Text{"/r"}).size(), 3U);
                EXPECT_TRUE(copy.record("/r/a/x").has_value());
                for (const FileRecord& record : copy.records()) EXPECT_FALSE(record.path().isEmpty());
            }
        });
    }
    for (std::thread& reader : readers) reader.join();
}

}  // namespace KestrelCore
