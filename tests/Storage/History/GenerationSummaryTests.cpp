#include "KestrelCore/Storage/GenerationReader.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Model/ItemCategory.hpp"
#include "support/Records.hpp"
#include "support/SampleSnapshots.hpp"
#include "support/ScannedSnapshots.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace KestrelCore {

namespace {

using testing::aRecord;
using testing::aSnapshot;

constexpr Date now{700'000'000};

/// Which group a file belongs to, as it is said in words.
std::string nameOfGroup(const FileRecord& file, const Text& folder, SummaryGrouping grouping,
                        const std::set<std::string>& packages) {
    const std::string path = file.path().string();
    const auto slashes = [](std::string_view text) { return text == "/" ? 0 : std::ranges::count(text, '/'); };
    const auto depth = slashes(path) - slashes(folder.view());
    switch (grouping) {
    case SummaryGrouping::type: {
        std::string above = path;
        for (auto level = depth; level > 1; --level) {
            above.resize(above.rfind('/'));
            if (packages.contains(above)) return "applications";
        }
        return std::string{ItemCategories::nameOf(ItemCategories::of(file.fileExtension()))};
    }
    case SummaryGrouping::extension: return file.fileExtension().string();
    case SummaryGrouping::depth: return std::to_string(depth);
    case SummaryGrouping::age: {
        if (!file.modifiedAt()) return "unknown";
        const double days =
            (now.secondsSinceReferenceDate - std::floor(file.modifiedAt()->secondsSinceReferenceDate)) / 86'400;
        if (days <= 30) return "within 30 days";
        if (days <= 90) return "30 to 90 days";
        if (days <= 365) return "90 days to a year";
        return days <= 1095 ? "one to three years" : "over three years";
    }
    case SummaryGrouping::size: break;
    }
    static constexpr std::array names{"up to 1 kB",   "1 to 10 kB",     "10 to 100 kB", "100 kB to 1 MB", "1 to 10 MB",
                                      "10 to 100 MB", "100 MB to 1 GB", "1 to 10 GB",   "10 to 100 GB"};
    if (file.allocatedBytes() <= 0) return "nothing";
    std::int64_t most = 1000;
    for (const char* const name : names) {
        if (file.allocatedBytes() <= most) return name;
        most *= 10;
    }
    return "over 100 GB";
}

using Counts = std::map<std::string, std::pair<std::int64_t, std::int64_t>>;

/// Record by record.
Counts counted(const ScanSnapshot& snapshot, const Text& folder, SummaryGrouping grouping) {
    std::set<std::string> packages;
    for (const FileRecord& record : snapshot.records()) {
        if (record.kind() == FileKind::package) packages.insert(record.path().string());
    }
    Counts counts;
    for (const FileRecord& record : snapshot.records()) {
        if (record.kind() != FileKind::file || !Path::isBeneath(record.path(), folder)) continue;
        auto& [items, bytes] = counts[nameOfGroup(record, folder, grouping, packages)];
        ++items;
        bytes += record.isHardLinkDuplicate() ? 0 : record.allocatedBytes();
    }
    return counts;
}

Counts countsOf(const Summary& summary) {
    Counts counts;
    for (const SummaryRow& row : summary.rows) counts[row.name.string()] = {row.items, row.bytes};
    return counts;
}

/// That both count alike below each of the folders, by whatever.
void expectEqualSummaries(const GenerationReader& reader, const ScanSnapshot& snapshot,
                          const std::vector<Text>& folders) {
    const SummarySettings settings{.cancellation = {}, .now = now};
    for (const Text& folder : folders) {
        for (const SummaryGrouping grouping : allSummaryGroupings) {
            EXPECT_EQ(reader.summary(folder, grouping, settings), Summary::of(snapshot, folder, grouping, settings))
                << folder.view() << ", " << rawValue(grouping);
        }
    }
}

/// And that both count as it is done record by record.
void expectRightSummaries(const GenerationReader& reader, const std::vector<Text>& folders) {
    const ScanSnapshot snapshot = reader.load();
    expectEqualSummaries(reader, snapshot, folders);
    for (const Text& folder : folders) {
        for (const SummaryGrouping grouping : allSummaryGroupings) {
            const auto summary = Summary::of(snapshot, folder, grouping, {.cancellation = {}, .now = now});
            const auto record = snapshot.record(folder);
            if (!summary) {
                EXPECT_FALSE(record && record->isContainer()) << folder.view();
                continue;
            }
            EXPECT_EQ(countsOf(*summary), counted(snapshot, folder, grouping))
                << folder.view() << ", " << rawValue(grouping);
        }
    }
}

/// Some folders and files of the snapshot, its root, what is above that and what is nowhere.
std::vector<Text> someFolders(const ScanSnapshot& snapshot, std::mt19937_64& random) {
    std::vector<Text> folders{"/", "/home", "/home/someone", "/home/else", "", "relative"};
    const auto records = snapshot.records();
    for (int i = 0; i < 30; ++i) {
        const FileRecord record = records[random() % records.size()];
        if (folders.size() < 12 && record.parentPath()) folders.push_back(*record.parentPath());
        if (folders.size() < 12 && record.isContainer()) folders.push_back(record.path());
    }
    folders.push_back(records[records.size() - 1].path());
    return folders;
}

class GenerationSummaryTest : public ::testing::Test {
protected:
    GenerationReader added(const ScanSnapshot& snapshot) { return history_.open(history_.add(snapshot).number); }

    TemporaryFolder folder_;
    SnapshotHistory history_{URL::fromPath(folder_.path() + "/history.sqlite")};
};

}  // namespace

TEST_F(GenerationSummaryTest, countsWhatTheSnapshotHas) {
    for (std::uint64_t seed = 1; seed <= 3; ++seed) {
        std::mt19937_64 random{seed};
        // Once as it was made, with an order and identifiers of its own, then as scans: a full one and differences.
        ScanSnapshot snapshot = sampleSnapshot(250, seed);
        for (std::uint64_t step = 0; step < 4; ++step) {
            if (step > 0) snapshot = asScanned(step == 1 ? snapshot : changed(snapshot, seed * 10 + step));
            expectRightSummaries(added(snapshot), someFolders(snapshot, random));
        }
    }
}

TEST_F(GenerationSummaryTest, countsWhatIsLeftAfterARemoval) {
    const ScanSnapshot snapshot = sampleSnapshot(300, 3);
    const std::int64_t number = history_.add(snapshot).number;
    const std::vector<Text> paths{snapshot.records()[100].path(), snapshot.records()[200].path()};
    std::mt19937_64 random{3};
    expectRightSummaries(history_.open(history_.removing(number, paths).value().number), someFolders(snapshot, random));
}

TEST_F(GenerationSummaryTest, countsAcrossManyChunks) {
    // Folders that begin and end anywhere among the chunks, and a difference that leaves gaps in these.
    std::vector<FileRecord> records{aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory})};
    for (int i = 0; i < 9; ++i) {
        const std::string folder = "/r/" + std::to_string(i);
        records.push_back(aRecord({.path = folder, .kind = FileKind::directory}));
        for (int k = 0; k < 3900; ++k)
            records.push_back(aRecord({.path = folder + "/" + std::to_string(k) + ".e" + std::to_string(k % 7),
                                       .allocated = 512 * (k % 41),
                                       .modified = Date{600'000'000.25 + k * 20'000}}));
    }
    const ScanSnapshot whole = asScanned(aSnapshot("/r", records));
    expectEqualSummaries(added(whole), whole, {"/r", "/r/0", "/r/4", "/r/8", "/r/9"});
    std::erase_if(records, [](const FileRecord& record) { return record.path().view().ends_with("7.e3"); });
    const GenerationReader reader = added(asScanned(aSnapshot("/r", records)));
    EXPECT_TRUE(reader.generation().isDifference);
    expectEqualSummaries(reader, reader.load(), {"/r", "/r/0", "/r/4", "/r/8", "/r/9"});
}

TEST_F(GenerationSummaryTest, countsRecordsWhoseTextsFollowNoPattern) {
    const std::string longName(5000, 'n');
    const std::vector<FileRecord> records{
        aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory}),
        aRecord({.path = "/r/a.txt"}),
        aRecord({.path = "/r/s/strange.txt", .parent = "/elsewhere"}),
        aRecord({.path = "/r/s/deep/" + longName + "/file.jpg"}),
        aRecord({.path = "/r/My.app", .parent = "/elsewhere", .kind = FileKind::package}),
        aRecord({.path = "/r/My.app/in.txt"}),
        aRecord({.path = "/r/My.app/odd.txt", .parent = "/elsewhere"}),
        aRecord({.path = "/r/Its.app", .kind = FileKind::package}),
        aRecord({.path = "/r/Its.app/odd.txt", .parent = "/elsewhere"}),
        aRecord({.path = "/r/void", .parent = "/elsewhere", .kind = FileKind::directory}),
        aRecord({.path = "/r/odd folder.txt/x", .parent = "/elsewhere", .modified = Date{1e300}}),
        // One name in two spellings makes two folders with one path.
        aRecord({.path = "/r/\u00e9", .kind = FileKind::directory}),
        aRecord({.path = "/r/\u00e9/1.pdf"}),
        aRecord({.path = "/r/e\u0301", .kind = FileKind::directory}),
        aRecord({.path = "/r/e\u0301/2.pdf"}),
        aRecord({.path = "/r/e\u0301/sub/3.pdf"}),
    };
    const std::vector<Text> folders{"/",          "/r",         "/r/s",       "/r/s/deep",
                                    "/r/My.app",  "/r/void",    "/elsewhere", "/r/\u00e9",
                                    "/r/e\u0301", "/r/Its.app", "/r/a.txt",   Text{"/r/s/deep/" + longName}};
    const GenerationReader reader = added(aSnapshot("/r", records));
    expectRightSummaries(reader, folders);
    EXPECT_EQ(reader.summary("/r/\u00e9", SummaryGrouping::type).value().all.items, 3);
    EXPECT_EQ(reader.summary("/r/void", SummaryGrouping::type).value().all.items, 0);
    EXPECT_FALSE(reader.summary("/r/a.txt", SummaryGrouping::type));
}

TEST_F(GenerationSummaryTest, isThereOfAScanThatFoundNothing) {
    const ScanSnapshot snapshot =
        aSnapshot("/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory})});
    EXPECT_EQ(added(snapshot).summary("/r", SummaryGrouping::size).value().rows, std::vector<SummaryRow>{});
}

TEST_F(GenerationSummaryTest, isGivenUpWhenItIsCancelled) {
    const GenerationReader reader = added(sampleSnapshot(100, 1));
    const SummarySettings settings{.cancellation = CancellationToken{}, .now = now};
    settings.cancellation->cancel();
    EXPECT_FALSE(reader.summary("/home/someone", SummaryGrouping::type, settings));
}

}  // namespace KestrelCore
