#include "KestrelCore/Storage/SnapshotHistory.hpp"

#include "KestrelCore/Model/KestrelError.hpp"
#include "Snapshot/SnapshotAccess.hpp"
#include "support/ChildProcess.hpp"
#include "support/Records.hpp"
#include "support/SampleSnapshots.hpp"
#include "support/ScannedSnapshots.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace KestrelCore {

namespace {

using testing::aRecord;
using testing::aSnapshot;
using testing::pathsOf;

class SnapshotHistoryTest : public ::testing::Test {
protected:
    [[nodiscard]] std::string file() const { return folder_.path() + "/data/history.sqlite"; }
    [[nodiscard]] URL url() const { return URL::fromPath(file()); }

    TemporaryFolder folder_;
};

/// A snapshot of `root` completed at that time, with one file.
ScanSnapshot smallScan(const std::string& root, double completedAt) {
    const ScanSnapshot made = aSnapshot(
        root, {aRecord({.path = root, .isTop = true, .kind = FileKind::directory}), aRecord({.path = root + "/file"})});
    return asScanned(made, Date{completedAt});
}

std::vector<std::int64_t> numbers(const std::vector<Generation>& generations) {
    std::vector<std::int64_t> result;
    for (const Generation& generation : generations) result.push_back(generation.number);
    return result;
}

constexpr double day = 86'400;

}  // namespace

TEST_F(SnapshotHistoryTest, givesEveryGenerationBackWhicheverWayItIsKept) {
    SnapshotHistory history{url()};
    std::vector<ScanSnapshot> added;
    for (std::uint64_t i = 0; i < 8; ++i) {
        added.push_back(i % 4 == 3 ? sampleSnapshot(200, i)
                                   : asScanned(added.empty() ? sampleSnapshot(400, 1) : changed(added.back(), i)));
        const Generation generation = history.add(added.back());
        EXPECT_EQ(generation.number, static_cast<std::int64_t>(i) + 1);
        EXPECT_EQ(generation.snapshot, added.back().id());
    }
    EXPECT_TRUE(std::ranges::any_of(history.generations(), &Generation::isDifference));
    SnapshotHistory again{url()};
    for (std::size_t i = 0; i < added.size(); ++i) {
        EXPECT_EQ(contents(again.load(static_cast<std::int64_t>(i) + 1)), contents(added[i])) << i;
    }
    EXPECT_TRUE(again.check().empty());
}

TEST_F(SnapshotHistoryTest, knowsNothingWhereThereIsNoFileAndMakesNone) {
    SnapshotHistory history{url()};
    EXPECT_TRUE(history.generations().empty());
    EXPECT_EQ(history.newest("/r"), std::nullopt);
    EXPECT_EQ(history.generation(1), std::nullopt);
    EXPECT_TRUE(history.check().empty());
    EXPECT_THROW((void)history.load(1), KestrelError);
    EXPECT_TRUE(history.thin({}, Date{0}).empty());
    history.forget({1});
    EXPECT_EQ(history.clear(), 0);
    EXPECT_FALSE(std::ifstream{file()}.good());
}

TEST_F(SnapshotHistoryTest, findsTheNewestGenerationThatCoversAPath) {
    SnapshotHistory history{url()};
    (void)history.add(smallScan("/home/a", 1));
    (void)history.add(smallScan("/home", 2));
    (void)history.add(smallScan("/home/ab", 3));
    EXPECT_EQ(history.newest("/home/a/b")->number, 2);
    EXPECT_EQ(history.newest("/home/ab")->number, 3);
    EXPECT_EQ(history.newest("/home")->number, 2);
    EXPECT_EQ(history.newest("/"), std::nullopt);
    EXPECT_EQ(numbers(history.generations()), (std::vector<std::int64_t>{3, 2, 1}));
    EXPECT_EQ(numbers(history.generations(Text{"/home"})), (std::vector<std::int64_t>{2}));
    (void)history.add(smallScan("/", 4));
    EXPECT_EQ(history.newest("/elsewhere")->number, 4);
}

TEST_F(SnapshotHistoryTest, answersForAFolderAsTheSnapshotDoes) {
    SnapshotHistory history{url()};
    ScanSnapshot snapshot = asScanned(sampleSnapshot(600, 4));
    for (std::uint64_t step = 0; step < 3; ++step) {
        if (step > 0) snapshot = asScanned(changed(snapshot, step));
        const std::int64_t number = history.add(snapshot).number;
        for (const FileRecord& record : snapshot.records()) {
            EXPECT_EQ(history.record(number, record.path()), record);
            if (!record.isContainer()) continue;
            auto children = history.children(number, record.path());
            auto expected = snapshot.children(record.path());
            // The same records by size; equal sizes may come in another order.
            ASSERT_EQ(children.size(), expected.size()) << record.path().view();
            const auto bySizeAndPath = [](const FileRecord& a, const FileRecord& b) {
                return a.displayBytes() != b.displayBytes() ? a.displayBytes() > b.displayBytes() : a.path() < b.path();
            };
            EXPECT_TRUE(std::ranges::is_sorted(children, std::greater{}, &FileRecord::displayBytes));
            std::ranges::sort(children, bySizeAndPath);
            std::ranges::sort(expected, bySizeAndPath);
            EXPECT_EQ(children, expected);
        }
        EXPECT_EQ(history.record(number, "/home/someone/none"), std::nullopt);
        EXPECT_TRUE(history.children(number, "/home/someone/none").empty());
    }
}

TEST_F(SnapshotHistoryTest, readersAnswerManyQuestionsAsTheSnapshotDoes) {
    SnapshotHistory history{url()};
    ScanSnapshot snapshot = asScanned(sampleSnapshot(600, 5));
    std::vector<GenerationReader> readers;
    std::vector<ScanSnapshot> added;
    for (std::uint64_t step = 0; step < 3; ++step) {
        if (step > 0) snapshot = asScanned(changed(snapshot, step));
        readers.push_back(history.open(history.add(snapshot).number));
        added.push_back(snapshot);
    }
    // Who has one open goes on seeing what it sees.
    history.forget({1, 2, 3});
    for (std::size_t i = 0; i < readers.size(); ++i) {
        const GenerationReader& reader = readers[i];
        EXPECT_EQ(reader.generation().number, static_cast<std::int64_t>(i) + 1);
        std::vector<Text> paths{"/home/someone/none", "", "relative", "/"};
        std::vector<std::optional<FileRecord>> expected;
        for (const FileRecord& record : added.back().records()) paths.push_back(record.path());
        for (const FileRecord& record : added.front().records()) paths.push_back(record.path());
        std::ranges::reverse(paths);
        for (const Text& path : paths) expected.push_back(added[i].record(path));
        EXPECT_EQ(reader.records(paths), expected) << i;
        EXPECT_EQ(contents(reader.load()), contents(added[i]));
        EXPECT_EQ(reader.record(added[i].scope().root.path()), added[i].record(added[i].scope().root.path()));
    }
    EXPECT_THROW((void)history.open(1), KestrelError);
}

TEST_F(SnapshotHistoryTest, loadsOnSeveralThreadsWhatIsLarge) {
    SnapshotHistory history{url()};
    for (const int step : {0, 1, 2}) {
        std::vector<FileRecord> records{aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory})};
        for (int i = 0; i < 40'000; ++i) {
            const std::string folder = "/r/folder " + std::to_string(i / 100);
            if (i % 100 == 0) records.push_back(aRecord({.path = folder, .kind = FileKind::directory}));
            // Another tenth is missing each time; now and then a name is not ASCII, or a size another.
            if (i % 10 == step) continue;
            const std::string name = folder + (i % 1000 == 7 ? "/\u00E9" : "/") + std::to_string(i);
            records.push_back(aRecord({.path = name, .logical = i % 97 == 0 ? step : i}));
        }
        const ScanSnapshot snapshot = asScanned(aSnapshot("/r", records));
        const ScanSnapshot loaded = history.load(history.add(snapshot).number);
        ASSERT_EQ(loaded.records().size(), snapshot.records().size());
        for (std::size_t i = 0; i < loaded.records().size(); ++i) {
            ASSERT_EQ(loaded.records()[i], snapshot.records()[i]) << step << ", " << i;
        }
    }
}

TEST_F(SnapshotHistoryTest, answersSeveralThreadsAtOnce) {
    SnapshotHistory history{url()};
    const ScanSnapshot snapshot = asScanned(sampleSnapshot(2000, 6));
    const std::int64_t number = history.add(snapshot).number;
    const FileRecord& wanted = snapshot.records()[1000];
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            EXPECT_EQ(history.record(number, wanted.path()), wanted);
            EXPECT_EQ(history.load(number).records().size(), snapshot.records().size());
            EXPECT_EQ(history.newest(wanted.path())->number, number);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

TEST_F(SnapshotHistoryTest, totalsCountWhatLiesBelow) {
    SnapshotHistory history{url()};
    const double now = 800'000'000;
    const ScanSnapshot snapshot = asScanned(
        aSnapshot("/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory, .allocated = 4096}),
                         aRecord({.path = "/r/f", .kind = FileKind::directory, .allocated = 512}),
                         aRecord({.path = "/r/f/new", .allocated = 1000, .modified = Date{now - 1}}),
                         aRecord({.path = "/r/f/link", .allocated = 1000, .modified = Date{now}, .isDuplicate = true}),
                         aRecord({.path = "/r/f/old", .allocated = 2000, .modified = Date{now - 400 * day}}),
                         aRecord({.path = "/r/g", .allocated = 4000, .modified = std::nullopt})}),
        Date{now});
    const std::int64_t number = history.add(snapshot).number;
    const FolderTotals below = history.totals(number, "/r/f").value();
    EXPECT_EQ(below.items, 3);
    EXPECT_EQ(below.allocatedBytes, 3000);
    EXPECT_EQ(below.bytesByAge, (std::array<std::int64_t, 5>{1000, 0, 0, 2000, 0}));
    EXPECT_EQ(below.oldestChange, Date{now - 400 * day});
    EXPECT_EQ(below.newestChange, Date{now});
    const FolderTotals all = history.totals(number, "/r").value();
    EXPECT_EQ(all.items, 5);
    EXPECT_EQ(all.allocatedBytes, 7512);
    EXPECT_EQ(all.bytesByAge, (std::array<std::int64_t, 5>{1000, 0, 0, 2000, 4000}));
    EXPECT_EQ(history.totals(number, "/r/g"), std::nullopt);
}

TEST_F(SnapshotHistoryTest, keepsAFullGenerationAfterThirtyDifferences) {
    SnapshotHistory history{url()};
    // Large enough for the differences to stay small beside it.
    const ScanSnapshot first = asScanned(sampleSnapshot(2000, 1));
    (void)history.add(first);
    for (int i = 0; i < 31; ++i) (void)history.add(asScanned(first));
    const auto generations = history.generations();
    EXPECT_EQ(std::ranges::count(generations, false, &Generation::isDifference), 2);
    EXPECT_FALSE(generations.front().isDifference);
    EXPECT_TRUE(generations[1].isDifference);
}

TEST_F(SnapshotHistoryTest, forgetsWithoutHarmToWhatStays) {
    SnapshotHistory history{url()};
    std::vector<ScanSnapshot> added;
    for (std::uint64_t i = 0; i < 4; ++i) {
        added.push_back(asScanned(added.empty() ? sampleSnapshot(3000, 1) : changed(added.back(), i)));
        (void)history.add(added.back());
    }
    history.forget({1, 3});
    EXPECT_EQ(numbers(history.generations()), (std::vector<std::int64_t>{4, 2}));
    EXPECT_EQ(history.generation(3), std::nullopt);
    EXPECT_THROW((void)history.load(3), KestrelError);
    EXPECT_EQ(contents(history.load(4)), contents(added[3]));
    EXPECT_EQ(contents(history.load(2)), contents(added[1]));
    EXPECT_EQ(history.add(added[0]).number, 5);
    history.forget({5, 4});
    EXPECT_EQ(contents(history.load(2)), contents(added[1]));
    // Numbers are not used again.
    history.forget({2});
    EXPECT_EQ(history.add(added[0]).number, 6);
    EXPECT_FALSE(history.generation(6)->isDifference);
}

TEST_F(SnapshotHistoryTest, givesItsSpaceBackWhenItIsCleared) {
    SnapshotHistory history{url()};
    (void)history.add(asScanned(sampleSnapshot(20'000, 1)));
    EXPECT_GT(history.clear(), 100'000);
    EXPECT_TRUE(history.generations().empty());
    EXPECT_EQ(history.clear(), 0);
    EXPECT_EQ(history.add(smallScan("/r", 1)).number, 2);
}

TEST_F(SnapshotHistoryTest, thinsByThePolicy) {
    SnapshotHistory history{url()};
    const double now = 900'000'000;
    // Two a day for 100 days, the last one now.
    for (int i = 199; i >= 0; --i) (void)history.add(smallScan("/r", now - i * day / 2));
    history.setPinned(3, true);
    const auto gone = history.thin({}, Date{now});
    const auto left = history.generations();
    EXPECT_EQ(gone.size() + left.size(), 200U);
    std::size_t lastWeek = 0;
    std::size_t lastMonth = 0;
    for (const Generation& generation : left) {
        const double age = (now - generation.completedAt.secondsSinceReferenceDate) / day;
        lastWeek += age <= 7 ? 1 : 0;
        lastMonth += age > 7 && age <= 31 ? 1 : 0;
    }
    EXPECT_EQ(lastWeek, 15U);   // every one, both ends counted
    EXPECT_EQ(lastMonth, 24U);  // one a day
    EXPECT_TRUE(std::ranges::any_of(left, [](const Generation& each) { return each.number == 3 && each.isPinned; }));
    // Of the 69 days before that one a week, and the pinned one.
    EXPECT_EQ(left.size() - lastWeek - lastMonth, 11U);
    EXPECT_TRUE(history.check().empty());
    EXPECT_TRUE(history.thin({}, Date{now}).empty());
}

TEST_F(SnapshotHistoryTest, thinningKeepsTheNewestWholeScanAndLetsIncompleteOnesGo) {
    SnapshotHistory history{url()};
    const double now = 900'000'000;
    const auto addIncomplete = [&](double at) {
        (void)history.add(smallScan("/r", at), GenerationOrigin::scan, false);
    };
    (void)history.add(smallScan("/r", now - 41 * day));
    addIncomplete(now - 40 * day);
    (void)history.add(smallScan("/r", now - 400 * day));
    addIncomplete(now - 399 * day);
    EXPECT_EQ(history.thin({}, Date{now}), (std::vector<std::int64_t>{2}));
    EXPECT_EQ(numbers(history.generations()), (std::vector<std::int64_t>{4, 3, 1}));
}

TEST_F(SnapshotHistoryTest, thinsToASizeAndKeepsTheNewestOfEachRoot) {
    SnapshotHistory history{url()};
    for (std::uint64_t i = 0; i < 5; ++i) (void)history.add(sampleSnapshot(300, i));
    (void)history.add(smallScan("/r", 1));
    const std::int64_t each = history.generation(5)->storedBytes;
    (void)history.thin({.mostBytes = each * 5 / 2}, Date{700'000'000});
    EXPECT_EQ(numbers(history.generations()), (std::vector<std::int64_t>{6, 5, 4}));
    (void)history.thin({.mostBytes = 0}, Date{700'000'000});
    EXPECT_EQ(numbers(history.generations()), (std::vector<std::int64_t>{6, 5}));
}

TEST_F(SnapshotHistoryTest, namesADamagedGenerationAndReadsTheOthers) {
    const ScanSnapshot first = asScanned(sampleSnapshot(300, 1));
    const ScanSnapshot other = sampleSnapshot(300, 2);
    {
        SnapshotHistory history{url()};
        (void)history.add(first);
        (void)history.add(other);
    }
    std::string whole;
    {
        std::ifstream in{file(), std::ios::binary};
        whole.assign(std::istreambuf_iterator<char>{in}, {});
    }
    ASSERT_GT(whole.size(), 10'000U);
    std::size_t refused = 0;
    for (std::size_t at = 0; at < whole.size(); at += 997) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x20);
        std::ofstream{file(), std::ios::binary} << damaged;
        const SnapshotHistory history{url()};
        for (const std::int64_t number : {1, 2}) {
            try {
                EXPECT_EQ(contents(history.load(number)), contents(number == 1 ? first : other)) << at;
            } catch (const KestrelError&) {
                ++refused;
            }
        }
    }
    EXPECT_GT(refused, 10U);
}

TEST_F(SnapshotHistoryTest, refusesWhatIsNoHistoryOrANewerOne) {
    (void)SnapshotHistory{url()}.add(smallScan("/r", 1));
    const auto what = [&](const std::string& path) -> std::string {
        try {
            (void)SnapshotHistory{URL::fromPath(path)}.generations();
        } catch (const KestrelError& error) {
            return error.what();
        }
        return "";
    };
    const std::string newer = folder_.path() + "/newer.sqlite";
    std::string bytes;
    {
        std::ifstream in{file(), std::ios::binary};
        bytes.assign(std::istreambuf_iterator<char>{in}, {});
    }
    bytes[63] = 9;  // the last byte of the number that SQLite keeps for the format
    std::ofstream{newer, std::ios::binary} << bytes;
    EXPECT_EQ(what(newer),
              "The history " + newer + " has the format 9, and this version of Kestrel knows formats up to 2 only.");
    const std::string foreign = folder_.path() + "/foreign.sqlite";
    bytes[71] = 1;  // and of the one for the application
    std::ofstream{foreign, std::ios::binary} << bytes;
    EXPECT_EQ(what(foreign), foreign + " is not a history of Kestrel.");
    const std::string text = folder_.path() + "/text";
    std::ofstream{text} << std::string(5000, 'x');
    EXPECT_EQ(what(text), "file is not a database");
    const std::string link = folder_.path() + "/link";
    std::filesystem::create_symlink(file(), link);
    EXPECT_EQ(what(link), "The history " + link + " is not used: it is a link");
    std::filesystem::permissions(folder_.path() + "/data", std::filesystem::perms::others_write,
                                 std::filesystem::perm_options::add);
    EXPECT_EQ(what(file()), "The history " + file() + " is not used: other users can write to its folder");
}

TEST_F(SnapshotHistoryTest, startsInAFileWhoseTablesWereNeverMade) {
    std::filesystem::create_directory(folder_.path() + "/data");
    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open(file().c_str(), &handle), SQLITE_OK);
    EXPECT_EQ(
        sqlite3_exec(handle, "PRAGMA auto_vacuum=INCREMENTAL; PRAGMA journal_mode=WAL;", nullptr, nullptr, nullptr),
        SQLITE_OK);
    sqlite3_close(handle);
    ASSERT_GT(std::filesystem::file_size(file()), 0U);
    SnapshotHistory history{url()};
    EXPECT_TRUE(history.generations().empty());
    EXPECT_TRUE(history.check().empty());
    EXPECT_EQ(history.add(smallScan("/r", 1)).number, 1);
    EXPECT_EQ(history.generations().size(), 1U);
}

TEST_F(SnapshotHistoryTest, isReadWhereNothingCanBeWritten) {
    inChild(ChildSetting::unprivileged, [] {
        const TemporaryFolder folder;
        const std::string data = folder.path() + "/data % #1?";
        const URL url = URL::fromPath(data + "/history.sqlite");
        const ScanSnapshot snapshot = asScanned(sampleSnapshot(50, 1));
        (void)SnapshotHistory{url}.add(snapshot);
        namespace fs = std::filesystem;
        const auto expectReadable = [&] {
            std::set<std::string> before;
            for (const auto& entry : fs::directory_iterator{data}) before.insert(entry.path());
            SnapshotHistory history{url};
            EXPECT_EQ(numbers(history.generations()), std::vector<std::int64_t>{1});
            EXPECT_EQ(contents(history.load(1)), contents(snapshot));
            EXPECT_TRUE(history.check().empty());
            EXPECT_THROW((void)history.add(snapshot), KestrelError);
            EXPECT_THROW(history.setPinned(1, true), KestrelError);
            std::set<std::string> after;
            for (const auto& entry : fs::directory_iterator{data}) after.insert(entry.path());
            EXPECT_EQ(after, before);
        };
        // The file alone, the folder with all that is in it, and the folder with nothing but the file.
        fs::permissions(data + "/history.sqlite", fs::perms::owner_read);
        expectReadable();
        for (const auto& entry : fs::directory_iterator{data}) fs::permissions(entry.path(), fs::perms::owner_read);
        fs::permissions(data, fs::perms::owner_read | fs::perms::owner_exec);
        expectReadable();
        fs::permissions(data, fs::perms::owner_all);
        for (const char* suffix : {"-wal", "-shm", "-lock"}) fs::remove(data + "/history.sqlite" + suffix);
        fs::permissions(data, fs::perms::owner_read | fs::perms::owner_exec);
        expectReadable();
        fs::permissions(data, fs::perms::owner_all);
    });
}

TEST_F(SnapshotHistoryTest, isForThisUserOnly) {
    (void)SnapshotHistory{url()}.add(smallScan("/r", 1));
    namespace fs = std::filesystem;
    for (const auto& entry : fs::directory_iterator{folder_.path() + "/data"}) {
        EXPECT_EQ(entry.status().permissions() & (fs::perms::group_all | fs::perms::others_all), fs::perms::none)
            << entry.path();
    }
}

}  // namespace KestrelCore
