#include "KestrelCore/Storage/SnapshotHistory.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "support/GrowthChanges.hpp"
#include "support/Records.hpp"
#include "support/SampleSnapshots.hpp"
#include "support/ScannedSnapshots.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <ostream>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace KestrelCore {

void PrintTo(const GrowthChange& change, std::ostream* out) {
    *out << change.path.view() << ": " << change.before << " → " << change.after << ", " << change.items << " items, "
         << static_cast<int>(change.what) << ", kind " << static_cast<int>(change.kind);
    if (change.movedFrom) *out << " from " << change.movedFrom->view();
}

namespace {

using testing::fileChange;
using testing::folderChange;

using testing::aRecord;
using testing::aSnapshot;
using testing::RecordFields;

using Records = std::map<Text, FileRecord>;

Records recordsOf(const ScanSnapshot& snapshot) {
    Records records;
    for (const FileRecord& record : snapshot.records()) records.emplace(record.path(), record);
    return records;
}

std::int64_t counted(const FileRecord& record) {
    return !record.isContainer() && record.isHardLinkDuplicate() ? 0 : record.displayBytes();
}

/// What each container has beside what lies right inside.
std::map<Text, std::int64_t> ownBytes(const Records& records) {
    std::map<Text, std::int64_t> own;
    for (const auto& [path, record] : records) {
        if (record.isContainer()) own[path] += record.displayBytes();
        if (record.parentPath()) own[*record.parentPath()] -= counted(record);
    }
    return own;
}

std::int64_t itemsBelow(const Records& records, const Text& folder) {
    return std::ranges::count_if(records, [&](const auto& entry) { return Path::isBeneath(entry.first, folder); });
}

GrowthChange aChange(const FileRecord& record, GrowthChangeKind what, std::int64_t before, std::int64_t after,
                     std::int64_t items = 1) {
    return {.path = record.path(),
            .kind = record.kind(),
            .what = what,
            .before = before,
            .after = after,
            .items = items,
            .movedFrom = std::nullopt};
}

/// The same without what tells that a folder has moved.
ScanSnapshot anonymous(const ScanSnapshot& snapshot) {
    std::vector<FileRecord> records;
    for (const FileRecord& record : snapshot.records()) {
        records.push_back(aRecord({.path = record.path(),
                                   .parent = record.parentPath(),
                                   .isTop = !record.parentPath(),
                                   .kind = record.kind(),
                                   .logical = record.logicalBytes(),
                                   .allocated = record.allocatedBytes(),
                                   .aggregate = record.aggregateAllocatedBytes(),
                                   .modified = record.modifiedAt(),
                                   .identity = std::nullopt,
                                   .isDuplicate = record.isHardLinkDuplicate()}));
    }
    return ScanSnapshot{UUID::random(), snapshot.scope(), snapshot.startedAt(), snapshot.completedAt(), records, {}};
}

/// Puts some folder, with all that lies in it, somewhere else under another name.
ScanSnapshot withAMovedFolder(const ScanSnapshot& snapshot, std::mt19937_64& random) {
    std::vector<Text> folders;
    for (const FileRecord& record : snapshot.records()) {
        if (record.isContainer()) folders.push_back(record.path());
    }
    const Text from = folders[1 + random() % (folders.size() - 1)];
    const Text into = folders[random() % folders.size()];
    if (into == from || Path::isBeneath(into, from)) return snapshot;
    const std::string to = into.string() + "/moved " + std::to_string(random());
    std::vector<FileRecord> records;
    for (const FileRecord& record : snapshot.records()) {
        const auto there = [&](const Text& path) {
            const bool goesAlong = path == from || Path::isBeneath(path, from);
            return goesAlong ? Text{to + std::string{path.view().substr(from.byteCount())}} : path;
        };
        const Text path = there(record.path());
        records.push_back(aRecord({.path = path,
                                   .isTop = !record.parentPath(),
                                   .kind = record.kind(),
                                   .logical = record.logicalBytes(),
                                   .allocated = record.allocatedBytes(),
                                   .aggregate = record.aggregateAllocatedBytes(),
                                   .identity = record.identity()}));
    }
    return ScanSnapshot{UUID::random(), snapshot.scope(), snapshot.startedAt(), snapshot.completedAt(), records, {}};
}

/// The same comparison from two whole snapshots, every record looked at. Knows nothing of folders that move.
std::vector<GrowthChange> naiveGrowth(const ScanSnapshot& since, const ScanSnapshot& until) {
    const Records before = recordsOf(since);
    const Records after = recordsOf(until);
    const auto ownBefore = ownBytes(before);
    const auto ownAfter = ownBytes(after);
    const auto isBoth = [&](const std::optional<Text>& path) {
        return path && before.contains(*path) && after.contains(*path);
    };
    std::vector<GrowthChange> changes;
    for (const auto& [path, record] : before) {
        if (after.contains(path) || !isBoth(record.parentPath())) continue;
        changes.push_back(aChange(record, GrowthChangeKind::gone, counted(record), 0,
                                  record.isContainer() ? itemsBelow(before, path) : 1));
    }
    for (const auto& [path, record] : after) {
        if (!before.contains(path)) {
            if (isBoth(record.parentPath())) {
                changes.push_back(aChange(record, GrowthChangeKind::appeared, 0, counted(record),
                                          record.isContainer() ? itemsBelow(after, path) : 1));
            }
            continue;
        }
        const std::int64_t old = record.isContainer() ? ownBefore.at(path) : counted(before.at(path));
        const std::int64_t now = record.isContainer() ? ownAfter.at(path) : counted(record);
        if (old == now) continue;
        changes.push_back(aChange(record, now < old ? GrowthChangeKind::shrank : GrowthChangeKind::grew, old, now));
    }
    std::ranges::sort(changes, [](const GrowthChange& a, const GrowthChange& b) {
        if (std::abs(a.change()) != std::abs(b.change())) return std::abs(a.change()) > std::abs(b.change());
        return a.path != b.path ? a.path < b.path : a.what < b.what;
    });
    return changes;
}

std::int64_t sumOf(const std::vector<GrowthChange>& changes) {
    std::int64_t sum = 0;
    for (const GrowthChange& change : changes) sum += change.change();
    return sum;
}

class GenerationGrowthTest : public ::testing::Test {
protected:
    SnapshotHistory& history() { return history_; }

    Growth growth(const ScanSnapshot& since, const ScanSnapshot& until, const GrowthOptions& options = {}) {
        const std::int64_t before = history_.add(since).number;
        return history_.growth(before, history_.add(until).number, std::nullopt, options).value();
    }
    /// Between two scans of /r with these records beside its own.
    Growth growth(const std::vector<RecordFields>& since, const std::vector<RecordFields>& until,
                  const GrowthOptions& options = {}) {
        return growth(scanOf(since), scanOf(until), options);
    }

    /// Folders have what lies in them, and no bytes of their own but 4096.
    static ScanSnapshot scanOf(const std::vector<RecordFields>& items) {
        std::vector<RecordFields> all{{.path = "/r", .isTop = true, .kind = FileKind::directory}};
        all.insert(all.end(), items.begin(), items.end());
        std::vector<FileRecord> records;
        for (RecordFields fields : all) {
            fields.aggregate = 0;
            for (const RecordFields& other : all) {
                const bool isInside = other.path == fields.path || Path::isBeneath(other.path, fields.path);
                if (isInside && !other.isDuplicate) fields.aggregate += other.allocated;
            }
            if (!fields.identity || fields.identity->inode == 8) {
                fields.identity = FileIdentity{.device = 1, .inode = 1000 + std::hash<Text>{}(fields.path) % 1'000'000};
            }
            records.push_back(aRecord(fields));
        }
        return asScanned(aSnapshot("/r", records));
    }

    TemporaryFolder folder_;
    SnapshotHistory history_{URL::fromPath(folder_.path() + "/history.sqlite")};
};

RecordFields file(const char* path, std::int64_t allocated) { return {.path = path, .allocated = allocated}; }
RecordFields folder(const char* path, std::uint64_t inode = 8) {
    return {.path = path, .kind = FileKind::directory, .identity = FileIdentity{.device = 1, .inode = inode}};
}

using enum GrowthChangeKind;
using Changes = std::vector<GrowthChange>;

}  // namespace

TEST_F(GenerationGrowthTest, findsWhatALookAtEveryRecordFinds) {
    for (std::uint64_t seed = 1; seed <= 12; ++seed) {
        SCOPED_TRACE(seed);
        const ScanSnapshot first = asScanned(sampleSnapshot(300, seed));
        const ScanSnapshot second = asScanned(anonymous(changed(first, seed)));
        const ScanSnapshot third = asScanned(anonymous(changed(second, seed + 100)));
        const std::int64_t number = history().add(first).number;
        (void)history().add(second);
        (void)history().add(third);
        for (const auto& [from, to] : {std::pair{0, 1}, {1, 2}, {0, 2}, {2, 0}, {1, 1}}) {
            const ScanSnapshot* const snapshots[]{&first, &second, &third};
            const Growth growth = history().growth(number + from, number + to).value();
            EXPECT_EQ(growth.changes, naiveGrowth(*snapshots[from], *snapshots[to]));
            EXPECT_EQ(growth.totalChange(),
                      snapshots[to]->totalAllocatedBytes() - snapshots[from]->totalAllocatedBytes());
            EXPECT_EQ(sumOf(growth.changes), growth.totalChange());
        }
        (void)history().clear();
    }
}

TEST_F(GenerationGrowthTest, findsTheSameWhicheverWayGenerationsAreKept) {
    SnapshotHistory other{URL::fromPath(folder_.path() + "/other.sqlite")};
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        // Identifiers of their own make every generation a full one.
        const ScanSnapshot first = sampleSnapshot(300, seed);
        const ScanSnapshot second = changed(first, seed);
        const std::int64_t before = other.add(first).number;
        const std::int64_t after = other.add(second).number;
        EXPECT_FALSE(other.generation(after)->isDifference);
        const Growth full = other.growth(before, after).value();
        const Growth difference = growth(asScanned(first), asScanned(second));
        EXPECT_TRUE(difference.until.isDifference);
        EXPECT_EQ(full.changes, difference.changes);
        EXPECT_EQ(full.changes, naiveGrowth(first, second));
        (void)history().clear();
    }
}

TEST_F(GenerationGrowthTest, comparesWithWhatARemovalLeft) {
    const ScanSnapshot first = asScanned(sampleSnapshot(300, 3));
    const std::int64_t number = history().add(first).number;
    const Generation left =
        history().removing(number, {first.records()[40].path(), first.records()[200].path()}).value();
    const ScanSnapshot second = asScanned(changed(first, 7));
    const std::int64_t last = history().add(second).number;
    const ScanSnapshot between = history().load(left.number);
    EXPECT_EQ(history().growth(number, left.number)->changes, naiveGrowth(first, between));
    EXPECT_EQ(history().growth(left.number, last)->changes, naiveGrowth(between, second));
}

TEST_F(GenerationGrowthTest, tellsNoMoreThanIsAskedForAndLosesNothing) {
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        const ScanSnapshot first = asScanned(sampleSnapshot(400, seed));
        const std::int64_t before = history().add(first).number;
        const std::int64_t after = history().add(asScanned(changed(first, seed))).number;
        const Growth all = history().growth(before, after).value();
        for (const std::size_t most : {1U, 2U, 3U, 10U, 40U, 100'000U}) {
            const Growth some = history().growth(before, after, std::nullopt, {.most = most}).value();
            EXPECT_LE(some.changes.size(), most);
            EXPECT_GE(some.changes.size(), std::min<std::size_t>(most, all.changes.size()) / 2);
            EXPECT_EQ(sumOf(some.changes), all.totalChange()) << most;
            std::set<std::tuple<Text, GrowthChangeKind>> seen;
            for (const GrowthChange& each : some.changes) {
                EXPECT_TRUE(seen.emplace(each.path, each.what).second) << each.path.view();
            }
        }
        for (const std::size_t depth : {0U, 1U, 2U, 3U, 9U}) {
            const Growth some = history().growth(before, after, std::nullopt, {.depth = depth}).value();
            EXPECT_EQ(sumOf(some.changes), all.totalChange()) << depth;
            for (const GrowthChange& each : some.changes) {
                const auto slashes = std::ranges::count(each.path.view(), '/');
                EXPECT_LE(static_cast<std::size_t>(slashes), depth + 2) << each.path.view();  // the root has two
            }
        }
        EXPECT_EQ(history().growth(before, after, std::nullopt, {.depth = 0})->changes.size(), 1U);
        EXPECT_TRUE(history().growth(before, after, std::nullopt, {.most = 0})->changes.empty());
        (void)history().clear();
    }
}

TEST_F(GenerationGrowthTest, tellsAChangeWhereItIsAndNotInTheFoldersAbove) {
    const Growth found = growth({folder("/r/a"), folder("/r/a/b"), file("/r/a/b/c", 1000), file("/r/x", 5)},
                                {folder("/r/a"), folder("/r/a/b"), file("/r/a/b/c", 4000), file("/r/x", 2)});
    EXPECT_EQ(found.changes, (Changes{fileChange("/r/a/b/c", grew, 1000, 4000), fileChange("/r/x", shrank, 5, 2)}));
    EXPECT_EQ(found.before, 3 * 4096 + 1005);
    EXPECT_EQ(found.totalChange(), 2997);
}

TEST_F(GenerationGrowthTest, tellsANewOrGoneFolderInOneLine) {
    const Growth found =
        growth({folder("/r/old", 20), folder("/r/old/in"), file("/r/old/in/a", 100), file("/r/old/b", 50)},
               {folder("/r/new", 30), file("/r/new/a", 100), file("/r/new/link", 0)});
    EXPECT_EQ(found.changes, (Changes{folderChange("/r/old", gone, 2 * 4096 + 150, 0, 3),
                                      folderChange("/r/new", appeared, 0, 4196, 2)}));
}

TEST_F(GenerationGrowthTest, tellsAFolderThatHasMovedAsThat) {
    const Growth found =
        growth({folder("/r/a", 20), folder("/r/a/in", 21), file("/r/a/in/f", 100), folder("/r/to", 22)},
               {folder("/r/to", 22), folder("/r/to/b", 20), folder("/r/to/b/in", 21), file("/r/to/b/in/f", 700),
                file("/r/to/other", 10)});
    EXPECT_EQ(found.changes, (Changes{folderChange("/r/to/b", moved, 2 * 4096 + 100, 2 * 4096 + 700, 2, "/r/a"),
                                      fileChange("/r/to/other", appeared, 0, 10)}));
    EXPECT_EQ(sumOf(found.changes), found.totalChange());
}

TEST_F(GenerationGrowthTest, tellsFoldersThatMovedOutOfAndIntoOthersByThemselves) {
    // "in" leaves the folder "gone", which then goes; "way" moves into the new folder "fresh", out of "b", which moves.
    const Growth found =
        growth({folder("/r/gone", 20), folder("/r/gone/in", 21), file("/r/gone/in/f", 100), file("/r/gone/g", 7),
                folder("/r/b", 22), file("/r/b/stays", 30), folder("/r/b/way", 23), file("/r/b/way/f", 1000)},
               {folder("/r/in", 21), file("/r/in/f", 100), folder("/r/fresh", 24), folder("/r/fresh/way", 23),
                file("/r/fresh/way/f", 1000), file("/r/fresh/h", 9), folder("/r/c", 22), file("/r/c/stays", 30)});
    EXPECT_EQ(found.changes,
              (Changes{folderChange("/r/fresh", appeared, 0, 4105, 1), folderChange("/r/gone", gone, 4103, 0, 1),
                       folderChange("/r/c", moved, 4126, 4126, 1, "/r/b"),
                       folderChange("/r/fresh/way", moved, 5096, 5096, 1, "/r/b/way"),
                       folderChange("/r/in", moved, 4196, 4196, 1, "/r/gone/in")}));
    EXPECT_EQ(sumOf(found.changes), found.totalChange());
}

TEST_F(GenerationGrowthTest, addsUpWhateverMovesWhere) {
    std::size_t movedFolders = 0;
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        std::mt19937_64 random{seed};
        const ScanSnapshot first = asScanned(sampleSnapshot(300, seed));
        ScanSnapshot second = first;
        for (int i = 0; i < 6; ++i) second = withAMovedFolder(second, random);
        const Growth found = growth(first, asScanned(changed(second, seed)));
        EXPECT_EQ(sumOf(found.changes), found.totalChange()) << seed;
        const Records before = recordsOf(first);
        for (const GrowthChange& each : found.changes) {
            if (each.what != GrowthChangeKind::moved) continue;
            ++movedFolders;
            EXPECT_TRUE(each.movedFrom && before.contains(*each.movedFrom));
            EXPECT_FALSE(before.contains(each.path));
        }
        (void)history().clear();
    }
    EXPECT_GT(movedFolders, 20U);
}

TEST_F(GenerationGrowthTest, doesNotTakeAFolderForAnotherThatHadItsNumber) {
    const Growth found =
        growth({folder("/r/cache", 20), file("/r/cache/a", 100)}, {folder("/r/photos", 20), file("/r/photos/b", 100)});
    EXPECT_EQ(found.changes,
              (Changes{folderChange("/r/cache", gone, 4196, 0, 1), folderChange("/r/photos", appeared, 0, 4196, 1)}));
}

TEST_F(GenerationGrowthTest, findsFilesThatHaveChangedPlacesInsideOneFolder) {
    // What a folder's files sum up to is the same.
    const Growth found = growth({file("/r/log", 300), file("/r/log.1", 200), file("/r/a", 7)},
                                {file("/r/log", 200), file("/r/log.1", 300), file("/r/b", 7)});
    EXPECT_EQ(found.changes, (Changes{fileChange("/r/log", shrank, 300, 200), fileChange("/r/log.1", grew, 200, 300),
                                      fileChange("/r/a", gone, 7, 0), fileChange("/r/b", appeared, 0, 7)}));
    EXPECT_EQ(found.totalChange(), 0);
}

TEST_F(GenerationGrowthTest, countsHardLinksOnce) {
    const Growth found = growth({file("/r/a", 100), {.path = "/r/b", .allocated = 100, .isDuplicate = true}},
                                {file("/r/b", 100), {.path = "/r/c", .allocated = 100, .isDuplicate = true}});
    EXPECT_EQ(found.changes, (Changes{fileChange("/r/a", gone, 100, 0), fileChange("/r/b", grew, 0, 100),
                                      fileChange("/r/c", appeared, 0, 0)}));
    EXPECT_EQ(found.totalChange(), 0);
}

TEST_F(GenerationGrowthTest, sumsUpManySmallChangesWhereTheyAre) {
    std::vector<RecordFields> before{folder("/r/cache"), folder("/r/docs"), file("/r/docs/report", 100)};
    std::vector<RecordFields> after = before;
    for (int i = 0; i < 200; ++i) after.push_back({.path = Text{"/r/cache/" + std::to_string(i)}, .allocated = 50});
    after[2].allocated = 5000;
    const Growth found = growth(before, after, {.most = 3});
    EXPECT_EQ(found.changes,
              (Changes{folderChange("/r/cache", grew, 0, 10'000, 200), fileChange("/r/docs/report", grew, 100, 5000)}));
}

TEST_F(GenerationGrowthTest, looksBelowTheFolderThatIsAskedFor) {
    const std::int64_t before = history().add(scanOf({folder("/r/a"), file("/r/a/f", 10), file("/r/g", 1)})).number;
    const std::int64_t after = history().add(scanOf({folder("/r/a"), file("/r/a/f", 30), file("/r/g", 2)})).number;
    EXPECT_EQ(history().growth(before, after, "/r/a")->changes, (Changes{fileChange("/r/a/f", grew, 10, 30)}));
    EXPECT_EQ(history().growth(before, after, "/r/a")->path, Text{"/r/a"});
    EXPECT_EQ(history().growth(before, after, "/r/a/f")->changes, (Changes{fileChange("/r/a/f", grew, 10, 30)}));
    EXPECT_EQ(history().growth(before, after, "/r/a/none"), std::nullopt);
    EXPECT_EQ(history().growth(before, after, "/s"), std::nullopt);
    EXPECT_EQ(history().growth(before, after, "/")->path, Text{"/r"});
    EXPECT_TRUE(history().growth(after, after)->changes.empty());
    EXPECT_THROW((void)history().growth(before, 99), KestrelError);
    // Where one has a folder, the other nothing, or a file.
    const std::int64_t last = history().add(scanOf({file("/r/a", 8), folder("/r/h"), file("/r/h/i", 3)})).number;
    EXPECT_EQ(history().growth(after, last, "/r/h")->changes, (Changes{folderChange("/r/h", appeared, 0, 4099, 1)}));
    EXPECT_EQ(history().growth(after, last, "/r/a")->changes,
              (Changes{folderChange("/r/a", gone, 4126, 0, 1), fileChange("/r/a", appeared, 0, 8)}));
    EXPECT_EQ(history().growth(after, last, "/r/g")->changes, (Changes{fileChange("/r/g", gone, 2, 0)}));
}

TEST_F(GenerationGrowthTest, comparesRootsOfWhichOneHoldsTheOther) {
    const std::int64_t before = history().add(scanOf({folder("/r/a"), file("/r/a/f", 10), file("/r/g", 1)})).number;
    const ScanSnapshot below = asScanned(aSnapshot(
        "/r/a",
        {aRecord(
             {.path = "/r/a", .isTop = true, .kind = FileKind::directory, .allocated = 4096, .aggregate = 4096 + 25}),
         aRecord({.path = "/r/a/f", .allocated = 25, .aggregate = 25})}));
    const std::int64_t after = history().add(below).number;
    for (const std::optional<Text>& path : {std::optional<Text>{}, std::optional<Text>{"/r"}}) {
        const Growth found = history().growth(before, after, path).value();
        EXPECT_EQ(found.path, Text{"/r/a"});
        EXPECT_EQ(found.changes, (Changes{fileChange("/r/a/f", grew, 10, 25)}));
        EXPECT_EQ(found.totalChange(), 15);
    }
    EXPECT_EQ(history().growth(before, after, "/r/g"), std::nullopt);
    const std::int64_t foreign =
        history().add(aSnapshot("/s", {aRecord({.path = "/s", .isTop = true, .kind = FileKind::directory})})).number;
    EXPECT_EQ(history().growth(before, foreign), std::nullopt);
}

TEST_F(GenerationGrowthTest, knowsNamesInEverySpelling) {
    const Growth found = growth({folder("/r/e\u0301", 20), file("/r/e\u0301/u\u0308", 10)},
                                {folder("/r/\u00E9", 20), file("/r/\u00E9/\u00FC", 30)});
    EXPECT_EQ(found.changes, (Changes{fileChange("/r/\u00E9/\u00FC", grew, 10, 30)}));
}

TEST_F(GenerationGrowthTest, countsItemsOfShapesThatNoScanGives) {
    const std::string longName(5000, 'n');
    const auto snapshot = [&](std::int64_t bytes, bool hasOther) {
        std::vector<FileRecord> records{
            aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory, .aggregate = 4096 + bytes}),
            aRecord({.path = "/r/" + longName, .allocated = bytes}),
            aRecord({.path = "/r/nowhere", .parent = "not above it", .allocated = bytes})};
        if (hasOther) records.push_back(aRecord({.path = "/r/" + longName + "2", .allocated = 0}));
        return aSnapshot("/r", records);
    };
    const std::string path = "/r/" + longName;
    const std::int64_t before = history().add(snapshot(100, false)).number;
    const std::int64_t after = history().add(snapshot(300, true)).number;
    const Growth found = history().growth(before, after).value();
    // Without a regular item the root is no folder of the tree.
    EXPECT_EQ(found.changes, (Changes{folderChange("/r", grew, 4196, 4396, 0)}));
    const auto withFile = [](const ScanSnapshot& other) {
        std::vector<FileRecord> records{other.records().begin(), other.records().end()};
        records.push_back(aRecord({.path = "/r/file", .allocated = 0}));
        return aSnapshot("/r", records);
    };
    const std::int64_t third = history().add(withFile(snapshot(100, false))).number;
    const std::int64_t fourth = history().add(withFile(snapshot(300, true))).number;
    EXPECT_EQ(history().growth(third, fourth)->changes,
              (Changes{fileChange(path.c_str(), grew, 100, 300), fileChange((path + "2").c_str(), appeared, 0, 0)}));
    EXPECT_EQ(history().growth(fourth, third)->changes,
              (Changes{fileChange(path.c_str(), shrank, 300, 100), fileChange((path + "2").c_str(), gone, 0, 0)}));
}

}  // namespace KestrelCore
