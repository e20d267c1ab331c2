#include "KestrelCore/Storage/SnapshotHistory.hpp"

#include "KestrelCore/Model/KestrelError.hpp"
#include "Storage/History/HistoryDatabase.hpp"
#include "support/Records.hpp"
#include "support/SampleSnapshots.hpp"
#include "support/ScannedSnapshots.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <unordered_set>
#include <vector>

namespace KestrelCore {

namespace {

using testing::aRecord;
using testing::aSnapshot;

/// The snapshot under another identifier, since what is left of one has a new one.
std::string contentsAs(const UUID& id, const ScanSnapshot& snapshot) {
    return contents(ScanSnapshot{id,
                                 snapshot.scope(),
                                 snapshot.startedAt(),
                                 snapshot.completedAt(),
                                 {snapshot.records().begin(), snapshot.records().end()},
                                 snapshot.issues()});
}

/// Some paths of records, of issues, above them, and of nothing.
std::vector<Text> somePaths(const ScanSnapshot& snapshot, std::mt19937_64& random) {
    static const std::vector<Text> others{"/r/e\u0301", "/r/\u00E9",    "/r/no record",         "/",
                                          "/home",      "elsewhere",    "/home/someone/locked", "/nowhere",
                                          "",           "/home/someone"};
    std::vector<Text> paths;
    for (std::size_t i = 0, count = 1 + random() % 4; i < count; ++i) {
        if (snapshot.records().empty() || random() % 6 == 0) {
            paths.push_back(others[random() % others.size()]);
        } else {
            paths.push_back(snapshot.records()[random() % snapshot.records().size()].path());
        }
    }
    return paths;
}

class GenerationRemovalTest : public ::testing::Test {
protected:
    [[nodiscard]] URL url(const char* name = "history.sqlite") const {
        return URL::fromPath(folder_.path() + "/" + name);
    }

    /// Takes paths out of generation `number`, which holds `before`, and looks at what is left: the snapshot's own
    /// `removing` is the judge. Gives the number that what is left has.
    std::int64_t removeAndCompare(SnapshotHistory& history, std::int64_t number, ScanSnapshot& before,
                                  const std::vector<Text>& paths) {
        const ScanSnapshot expected = before.removing({paths.begin(), paths.end()});
        const std::optional<Generation> left = history.removing(number, paths);
        EXPECT_EQ(left.has_value(), expected.id() != before.id());
        if (!left) return number;
        const ScanSnapshot loaded = history.load(left->number);
        EXPECT_EQ(loaded.id(), left->snapshot);
        EXPECT_NE(loaded.id(), before.id());
        EXPECT_EQ(contents(loaded), contentsAs(loaded.id(), expected));
        EXPECT_EQ(left->origin, GenerationOrigin::removal);
        EXPECT_EQ(left->records, static_cast<std::int64_t>(expected.records().size()));
        EXPECT_EQ(left->issues, static_cast<std::int64_t>(expected.issues().size()));
        EXPECT_EQ(left->totalAllocatedBytes, expected.totalAllocatedBytes());
        before = loaded;
        return left->number;
    }

    TemporaryFolder folder_;
};

}  // namespace

TEST_F(GenerationRemovalTest, leavesWhatTheSnapshotWouldLeave) {
    std::mt19937_64 random{1};
    for (std::uint64_t seed = 1; seed <= 36; ++seed) {
        SCOPED_TRACE(seed);
        SnapshotHistory history{url()};
        // Identifiers of its own or derived ones, in the order of a scan or not, full or a difference.
        ScanSnapshot snapshot = seed % 3 == 0 ? oddSnapshot(seed) : sampleSnapshot(300, seed);
        if (seed % 2 == 0) snapshot = asScanned(snapshot);
        std::int64_t number = history.add(snapshot).number;
        if (seed % 4 == 0) {
            snapshot = asScanned(changed(snapshot, seed));
            number = history.add(snapshot).number;
        }
        for (int step = 0; step < 4; ++step) {
            number = removeAndCompare(history, number, snapshot, somePaths(snapshot, random));
        }
        EXPECT_TRUE(history.check().empty());
        (void)history.clear();
    }
}

TEST_F(GenerationRemovalTest, answersForFoldersAsIfItHadBeenScannedSo) {
    std::mt19937_64 random{2};
    for (std::uint64_t seed = 1; seed <= 2; ++seed) {
        SnapshotHistory history{url()};
        SnapshotHistory other{url("other.sqlite")};
        const ScanSnapshot snapshot = asScanned(sampleSnapshot(150, seed));
        const auto left = history.removing(history.add(snapshot).number, somePaths(snapshot, random));
        if (!left) continue;
        const ScanSnapshot loaded = history.load(left->number);
        const std::int64_t plain = other.add(loaded).number;
        for (const FileRecord& record : snapshot.records()) {
            EXPECT_EQ(history.record(left->number, record.path()), other.record(plain, record.path()));
            if (!loaded.record(record.path())) continue;
            EXPECT_EQ(history.totals(left->number, record.path()), other.totals(plain, record.path()));
            EXPECT_EQ(history.children(left->number, record.path()), other.children(plain, record.path()));
        }
        (void)history.clear();
        (void)other.clear();
    }
}

TEST_F(GenerationRemovalTest, takesThePlaceOfTheRemovalBefore) {
    SnapshotHistory history{url()};
    const ScanSnapshot first = asScanned(sampleSnapshot(2000, 1));
    ScanSnapshot snapshot = first;
    std::int64_t number = history.add(snapshot).number;
    for (std::size_t i = 0; i < 40; ++i) {
        number = removeAndCompare(history, number, snapshot, {snapshot.records()[100 + i * 7].path()});
        EXPECT_EQ(history.generations().size(), 2U);
    }
    EXPECT_TRUE(history.generation(number)->isDifference);
    EXPECT_LT(history.generation(number)->storedBytes, history.generation(1)->storedBytes / 10);
    // A scan after it is the difference to the scan before it.
    const ScanSnapshot next = asScanned(changed(snapshot, 3));
    const Generation added = history.add(next);
    EXPECT_TRUE(added.isDifference);
    history.forget({number});
    EXPECT_EQ(contents(history.load(added.number)), contents(next));
    EXPECT_EQ(contents(history.load(1)), contents(first));
    EXPECT_TRUE(history.check().empty());
}

TEST_F(GenerationRemovalTest, doesNotBringAFullGenerationNearer) {
    SnapshotHistory history{url()};
    ScanSnapshot snapshot = asScanned(sampleSnapshot(2000, 1));
    std::int64_t number = history.add(snapshot).number;
    for (int i = 0; i < 30; ++i) {
        const auto left = history.removing(number, {snapshot.records()[50 + static_cast<std::size_t>(i)].path()});
        number = history.add(snapshot).number;
        EXPECT_TRUE(left && left->isDifference);
    }
    EXPECT_EQ(std::ranges::count(history.generations(), false, &Generation::isDifference), 1);
    EXPECT_FALSE(history.add(snapshot).isDifference);
}

TEST_F(GenerationRemovalTest, leavesAPinnedRemovalWhereItIs) {
    SnapshotHistory history{url()};
    ScanSnapshot snapshot = asScanned(sampleSnapshot(500, 1));
    std::int64_t number = history.add(snapshot).number;
    number = removeAndCompare(history, number, snapshot, {snapshot.records()[10].path()});
    const ScanSnapshot pinned = snapshot;
    const std::int64_t pinnedNumber = number;
    history.setPinned(number, true);
    number = removeAndCompare(history, number, snapshot, {snapshot.records()[10].path()});
    EXPECT_FALSE(history.generation(number)->isPinned);
    EXPECT_EQ(contents(history.load(pinnedNumber)), contents(pinned));
    // The scan that both are differences to may go: it stays in the file for them.
    history.forget({1});
    number = removeAndCompare(history, number, snapshot, {snapshot.records()[10].path()});
    EXPECT_EQ(contents(history.load(pinnedNumber)), contents(pinned));
    EXPECT_EQ(history.generations().size(), 2U);
}

TEST_F(GenerationRemovalTest, changesNothingOfWhatIsNotTheNewest) {
    SnapshotHistory history{url()};
    EXPECT_EQ(history.removing(1, {"/home/someone"}), std::nullopt);
    const ScanSnapshot snapshot = asScanned(sampleSnapshot(100, 1));
    (void)history.add(snapshot);
    (void)history.add(asScanned(changed(snapshot, 1)));
    (void)history.add(aSnapshot("/other", {aRecord({.path = "/other", .isTop = true, .kind = FileKind::directory})}));
    const auto before = history.generations().size();
    EXPECT_EQ(history.removing(1, {"/home/someone"}), std::nullopt);
    EXPECT_EQ(history.removing(9, {"/home/someone"}), std::nullopt);
    EXPECT_EQ(history.removing(2, {"/home/someone/none", "/home", ""}), std::nullopt);
    EXPECT_EQ(history.removing(2, {}), std::nullopt);
    EXPECT_EQ(history.generations().size(), before);
    EXPECT_TRUE(history.removing(2, {"/home/someone"}).has_value());
    EXPECT_EQ(history.removing(2, {"/home/someone"}), std::nullopt);
}

TEST_F(GenerationRemovalTest, takesFilesOutOfFoldersOfManyChunks) {
    std::vector<FileRecord> records{aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory})};
    for (int i = 0; i < 70'000; ++i) {
        records.push_back(aRecord({.path = "/r/" + std::to_string(i), .allocated = 512, .modified = Date{1e6 + i}}));
    }
    SnapshotHistory history{url()};
    ScanSnapshot snapshot = asScanned(aSnapshot("/r", records));
    const std::int64_t number = history.add(snapshot).number;
    std::vector<Text> paths;
    for (int i = 0; i < 70'000; i += 1000) paths.emplace_back("/r/" + std::to_string(i));
    (void)removeAndCompare(history, number, snapshot, paths);
    EXPECT_EQ(snapshot.records().size(), 69'931U);
}

TEST_F(GenerationRemovalTest, refusesSizesThatCanNotBeSummed) {
    SnapshotHistory history{url()};
    const std::int64_t most = std::numeric_limits<std::int64_t>::max();
    const std::int64_t number =
        history
            .add(aSnapshot("/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory}),
                                  aRecord({.path = "/r/a", .allocated = most}),
                                  aRecord({.path = "/r/b", .allocated = most})}))
            .number;
    EXPECT_THROW((void)history.removing(number, {"/r/a", "/r/b"}), KestrelError);
    EXPECT_EQ(history.generations().size(), 1U);
}

TEST_F(GenerationRemovalTest, isWhatIsLeftWithoutTheRestWhenSomeIsTakenBack) {
    std::mt19937_64 random{3};
    int compared = 0;
    for (std::uint64_t seed = 1; seed <= 30; ++seed) {
        SCOPED_TRACE(seed);
        SnapshotHistory history{url()};
        ScanSnapshot snapshot = seed % 3 == 0 ? oddSnapshot(seed) : sampleSnapshot(300, seed);
        if (seed % 2 == 0) snapshot = asScanned(snapshot);
        std::int64_t number = history.add(snapshot).number;
        if (seed % 4 == 0) {
            snapshot = asScanned(changed(snapshot, seed));
            number = history.add(snapshot).number;
        }
        const std::int64_t scan = number;
        std::unordered_set<Text> gone;
        for (int step = 0; step < 3; ++step) {
            const Text path = snapshot.records()[random() % snapshot.records().size()].path();
            // What holds another path that goes, or lies in one, goes with it; that is another test's.
            const bool isApart = std::ranges::none_of(gone, [&](const Text& other) {
                return snapshot.removing({path}).record(other) == std::nullopt ||
                       snapshot.removing({other}).record(path) == std::nullopt;
            });
            if (path == snapshot.scope().root.path() || path == Text{"/"} || !isApart) continue;
            if (const auto left = history.removing(number, {path})) number = left->number;
            gone.insert(path);
        }
        while (!gone.empty()) {
            const Text back = *gone.begin();
            gone.erase(gone.begin());
            const std::optional<Generation> left = history.restoring(number, {back, "/nowhere"});
            ASSERT_TRUE(left.has_value());
            const ScanSnapshot expected = snapshot.removing(gone);
            const ScanSnapshot loaded = history.load(left->number);
            EXPECT_EQ(contents(loaded), contentsAs(loaded.id(), expected));
            EXPECT_EQ(left->records, static_cast<std::int64_t>(expected.records().size()));
            EXPECT_EQ(left->totalAllocatedBytes, expected.totalAllocatedBytes());
            EXPECT_EQ(left->number == scan, gone.empty());
            number = left->number;
            ++compared;
        }
        EXPECT_TRUE(history.check().empty());
        (void)history.clear();
    }
    EXPECT_GT(compared, 30);
}

TEST_F(GenerationRemovalTest, comesBackAsAFolderWithAllThatTheScanHadInIt) {
    SnapshotHistory history{url()};
    const ScanSnapshot snapshot = asScanned(
        aSnapshot("/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory, .aggregate = 3000}),
                         aRecord({.path = "/r/a", .kind = FileKind::directory, .aggregate = 2000}),
                         aRecord({.path = "/r/a/b", .allocated = 1000}), aRecord({.path = "/r/a/c", .allocated = 1000}),
                         aRecord({.path = "/r/d", .allocated = 1000})}));
    (void)history.add(snapshot);
    std::int64_t number = history.removing(1, {"/r/a/b", "/r/d"}).value().number;
    number = history.removing(number, {"/r/a"}).value().number;
    // It went with its folder, so it does not come back without it.
    EXPECT_EQ(history.restoring(number, {"/r/a/b"}), std::nullopt);
    const auto left = history.restoring(number, {"/r/a"});
    EXPECT_EQ(contents(history.load(left->number)), contentsAs(left->snapshot, snapshot.removing({Text{"/r/d"}})));
    EXPECT_EQ(history.generations().size(), 2U);
}

TEST_F(GenerationRemovalTest, isTakenBackAlsoWhenItIsPinnedOrItsScanIsForgotten) {
    SnapshotHistory history{url()};
    const ScanSnapshot snapshot = asScanned(sampleSnapshot(300, 1));
    const Text path = snapshot.records()[10].path();
    (void)history.add(snapshot);
    const std::int64_t pinned = history.removing(1, {path}).value().number;
    history.setPinned(pinned, true);
    const Generation back = history.restoring(pinned, {path}).value();
    EXPECT_EQ(contents(history.load(back.number)), contentsAs(back.snapshot, snapshot));
    EXPECT_TRUE(history.generation(pinned).has_value());
    EXPECT_FALSE(back.isPinned);

    history.forget({1});
    const std::int64_t again = history.removing(back.number, {path}).value().number;
    const Generation last = history.restoring(again, {path}).value();
    EXPECT_EQ(contents(history.load(last.number)), contentsAs(last.snapshot, snapshot));
    EXPECT_EQ(history.generations().size(), 2U);
    EXPECT_TRUE(history.check().empty());
}

TEST_F(GenerationRemovalTest, takesNothingBackWhereNothingWasTakenOut) {
    SnapshotHistory history{url()};
    EXPECT_EQ(history.restoring(1, {"/home/someone"}), std::nullopt);
    const ScanSnapshot snapshot = asScanned(sampleSnapshot(100, 1));
    (void)history.add(snapshot);
    const Text path = snapshot.records()[10].path();
    EXPECT_EQ(history.restoring(1, {path}), std::nullopt);
    const std::int64_t number = history.removing(1, {path}).value().number;
    EXPECT_EQ(history.restoring(number, {"/nowhere", snapshot.records()[11].path()}), std::nullopt);
    EXPECT_EQ(history.restoring(number, {}), std::nullopt);
    (void)history.add(snapshot);
    EXPECT_EQ(history.restoring(number, {path}), std::nullopt);
    EXPECT_EQ(history.generations().size(), 3U);
}

TEST_F(GenerationRemovalTest, isNotTakenBackFromWhatItWasNotMadeFrom) {
    const ScanSnapshot snapshot = asScanned(sampleSnapshot(100, 1));
    const Text first = snapshot.records()[10].path();
    const Text second = snapshot.records()[60].path();
    SnapshotHistory history{url()};
    (void)history.add(snapshot);
    (void)history.removing(1, {first});
    history.setPinned(2, true);
    const std::int64_t made = history.removing(2, {second}).value().number;
    // The second removal is one from the scan. Stored once more as one from the first, whose places are fewer:
    HistoryDatabase database{url().path().string(), std::chrono::milliseconds{1000}};
    StoredGeneration crafted;
    {
        HistoryDatabase::Writing writing{database};
        const HistoryDatabase::Reading reading{database};
        crafted = reading.generations().back();
        ASSERT_EQ(crafted.number, made);
        ASSERT_EQ(crafted.base, 1);
        crafted.base = 2;
        crafted.number = crafted.layout.generation = writing.nextNumber();
        for (const HistoryStream stream : everyHistoryStream) {
            for (int field = 0; field < 256; ++field) {
                ColumnKey key{.generation = made, .stream = stream, .field = static_cast<std::uint8_t>(field)};
                std::string packed;
                if (!reading.read(key, packed)) continue;
                key.generation = crafted.number;
                writing.addColumn(key, packed);
            }
        }
        writing.add(crafted);
        writing.commit(false);
    }
    try {
        (void)history.restoring(crafted.number, {second});
        ADD_FAILURE() << "taken for a removal from the generation before";
    } catch (const KestrelError& error) {
        EXPECT_STREQ(error.what(), "Generation 2 of the history is damaged and can't be read.");
    }
    EXPECT_EQ(contents(history.load(1)), contents(snapshot));
}

}  // namespace KestrelCore
