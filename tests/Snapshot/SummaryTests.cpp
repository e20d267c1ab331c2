#include "KestrelCore/Snapshot/Summary.hpp"

#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "support/Records.hpp"
#include "support/SampleSnapshots.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace KestrelCore {

namespace {

using testing::aRecord;
using testing::aSnapshot;

constexpr Date now{700'000'000.5};
constexpr std::int64_t day = 86'400;

/// The time that lies so many seconds before `now`, without what `now` has behind its second.
Date before(std::int64_t seconds) { return Date{700'000'000 - static_cast<double>(seconds)}; }

FileRecord folder(const Text& path) { return aRecord({.path = path, .kind = FileKind::directory}); }

/// The folder /r with these records below it.
ScanSnapshot aTree(std::vector<FileRecord> records) {
    records.insert(records.begin(), aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory}));
    return aSnapshot("/r", records);
}

Summary summaryOf(const ScanSnapshot& snapshot, SummaryGrouping grouping, const Text& path = "/r") {
    const auto summary = Summary::of(snapshot, path, grouping, {.cancellation = {}, .now = now});
    EXPECT_TRUE(summary) << path.view();
    return summary.value_or(Summary{});
}

std::vector<SummaryRow> rowsOf(const ScanSnapshot& snapshot, SummaryGrouping grouping, const Text& path = "/r") {
    return summaryOf(snapshot, grouping, path).rows;
}

using Rows = std::vector<SummaryRow>;

}  // namespace

TEST(Summary, putsFilesTogetherByWhatPeopleCallThem) {
    const ScanSnapshot snapshot = aTree({
        aRecord({.path = "/r/a.mp4", .allocated = 9000}),
        aRecord({.path = "/r/b.JPG", .allocated = 100}),
        aRecord({.path = "/r/c.sqlite", .allocated = 200}),
        aRecord({.path = "/r/d.png", .allocated = 400}),
        aRecord({.path = "/r/e", .allocated = 100}),
        aRecord({.path = "/r/f.unheard", .allocated = 200}),
    });
    const Summary summary = summaryOf(snapshot, SummaryGrouping::type);
    EXPECT_EQ(summary.rows, (Rows{{"videos", 1, 9000}, {"photos", 2, 500}, {"other", 2, 300}, {"databases", 1, 200}}));
    EXPECT_EQ(summary.all, (SummaryRow{"", 6, 10'000}));
    EXPECT_EQ(summary.folder, Text{"/r"});
    EXPECT_EQ(summary.grouping, SummaryGrouping::type);
    EXPECT_EQ(summary.now, Date{700'000'000});
}

TEST(Summary, countsFilesAndNothingElse) {
    const ScanSnapshot snapshot =
        aTree({folder("/r/a.txt"), aRecord({.path = "/r/a.txt/b.txt", .kind = FileKind::symbolicLink}),
               aRecord({.path = "/r/c.txt", .kind = FileKind::other}), aRecord({.path = "/r/d.txt", .allocated = 5})});
    for (const SummaryGrouping grouping : allSummaryGroupings)
        EXPECT_EQ(summaryOf(snapshot, grouping).all, (SummaryRow{"", 1, 5})) << rawValue(grouping);
}

TEST(Summary, countsAFurtherHardLinkForNoBytes) {
    const ScanSnapshot snapshot = aTree({aRecord({.path = "/r/a", .allocated = 5000}),
                                         aRecord({.path = "/r/b", .allocated = 5000, .isDuplicate = true})});
    EXPECT_EQ(rowsOf(snapshot, SummaryGrouping::size), (Rows{{"1 to 10 kB", 2, 5000}}));
}

TEST(Summary, takesAllInAPackageForAnApplication) {
    const ScanSnapshot snapshot = aTree({
        aRecord({.path = "/r/Photos.app", .kind = FileKind::package}),
        folder("/r/Photos.app/lib"),
        aRecord({.path = "/r/Photos.app/lib/icon.png", .allocated = 10}),
        aRecord({.path = "/r/Photos.app/run", .allocated = 20}),
        aRecord({.path = "/r/icon.png", .allocated = 40}),
    });
    EXPECT_EQ(rowsOf(snapshot, SummaryGrouping::type), (Rows{{"photos", 1, 40}, {"applications", 2, 30}}));
    // Who looks into the application wants to know what is in it.
    EXPECT_EQ(rowsOf(snapshot, SummaryGrouping::type, "/r/Photos.app"), (Rows{{"other", 1, 20}, {"photos", 1, 10}}));
    EXPECT_EQ(rowsOf(snapshot, SummaryGrouping::extension), (Rows{{"png", 2, 50}, {"", 1, 20}}));
}

TEST(Summary, ordersExtensionsByBytesItemsAndNames) {
    const ScanSnapshot snapshot = aTree({
        aRecord({.path = "/r/1.b", .allocated = 100}),
        aRecord({.path = "/r/2.a", .allocated = 100}),
        aRecord({.path = "/r/3.c", .allocated = 50}),
        aRecord({.path = "/r/4.c", .allocated = 50}),
        aRecord({.path = "/r/5.small", .allocated = 1}),
        aRecord({.path = "/r/6.large", .allocated = 1000}),
        aRecord({.path = "/r/7", .allocated = 100}),
    });
    EXPECT_EQ(rowsOf(snapshot, SummaryGrouping::extension),
              (Rows{{"large", 1, 1000}, {"c", 2, 100}, {"", 1, 100}, {"a", 1, 100}, {"b", 1, 100}, {"small", 1, 1}}));
}

TEST(Summary, tellsAgesToTheSecond) {
    const auto rowsFor = [](std::vector<std::optional<Date>> dates) {
        std::vector<FileRecord> records;
        for (const auto& date : dates)
            records.push_back(
                aRecord({.path = "/r/" + std::to_string(records.size()), .allocated = 1, .modified = date}));
        return rowsOf(aTree(records), SummaryGrouping::age);
    };
    EXPECT_EQ(rowsFor({Date{800'000'000}, before(0), before(30 * day)}), (Rows{{"within 30 days", 3, 3}}));
    EXPECT_EQ(rowsFor({before(30 * day + 1), before(90 * day)}), (Rows{{"30 to 90 days", 2, 2}}));
    EXPECT_EQ(rowsFor({before(90 * day + 1), before(365 * day)}), (Rows{{"90 days to a year", 2, 2}}));
    EXPECT_EQ(rowsFor({before(365 * day + 1), before(1095 * day)}), (Rows{{"one to three years", 2, 2}}));
    EXPECT_EQ(rowsFor({before(1095 * day + 1), Date{-1e300}}), (Rows{{"over three years", 2, 2}}));
    EXPECT_EQ(rowsFor({std::nullopt, before(400 * day), before(0)}),
              (Rows{{"within 30 days", 1, 1}, {"one to three years", 1, 1}, {"unknown", 1, 1}}));
}

TEST(Summary, tellsSizesByDecades) {
    std::vector<FileRecord> records;
    for (const std::int64_t bytes : {0LL, 1LL, 1000LL, 1001LL, 10'000LL, 100'000LL, 100'001LL, 1'000'000LL,
                                     10'000'000LL, 1'000'000'000LL, 1'000'000'001LL, 100'000'000'001LL}) {
        records.push_back(aRecord({.path = "/r/" + std::to_string(bytes), .allocated = bytes}));
    }
    EXPECT_EQ(rowsOf(aTree(records), SummaryGrouping::size), (Rows{{"nothing", 1, 0},
                                                                   {"up to 1 kB", 2, 1001},
                                                                   {"1 to 10 kB", 2, 11'001},
                                                                   {"10 to 100 kB", 1, 100'000},
                                                                   {"100 kB to 1 MB", 2, 1'100'001},
                                                                   {"1 to 10 MB", 1, 10'000'000},
                                                                   {"100 MB to 1 GB", 1, 1'000'000'000},
                                                                   {"1 to 10 GB", 1, 1'000'000'001},
                                                                   {"over 100 GB", 1, 100'000'000'001}}));
}

TEST(Summary, countsDepthFromTheFolder) {
    const ScanSnapshot snapshot = aTree({
        aRecord({.path = "/r/a", .allocated = 1}),
        folder("/r/s"),
        aRecord({.path = "/r/s/a", .allocated = 2}),
        folder("/r/s/t"),
        aRecord({.path = "/r/s/t/a", .allocated = 4}),
        aRecord({.path = "/r/s/t/b", .allocated = 8}),
    });
    EXPECT_EQ(rowsOf(snapshot, SummaryGrouping::depth), (Rows{{"1", 1, 1}, {"2", 1, 2}, {"3", 2, 12}}));
    EXPECT_EQ(rowsOf(snapshot, SummaryGrouping::depth, "/r/s"), (Rows{{"1", 1, 2}, {"2", 2, 12}}));
    // Above the scan, too: what is known of that folder is all in it.
    EXPECT_EQ(rowsOf(snapshot, SummaryGrouping::depth, "/"), (Rows{{"2", 1, 1}, {"3", 1, 2}, {"4", 2, 12}}));
}

TEST(Summary, isThereOfAnEmptyFolderAndOfNothingElse) {
    const ScanSnapshot snapshot = aTree({folder("/r/empty"), aRecord({.path = "/r/a"})});
    EXPECT_EQ(summaryOf(snapshot, SummaryGrouping::type, "/r/empty").rows, Rows{});
    EXPECT_EQ(summaryOf(aTree({}), SummaryGrouping::type).rows, Rows{});
    for (const Text path : {"/r/a", "/r/e", "/r/empty/", "r", "", "/other"})
        EXPECT_FALSE(Summary::of(snapshot, path, SummaryGrouping::type)) << path.view();
}

TEST(Summary, isGivenUpWhenItIsCancelled) {
    const SummarySettings settings{.cancellation = CancellationToken{}, .now = now};
    settings.cancellation->cancel();
    EXPECT_FALSE(Summary::of(aTree({aRecord({})}), "/r", SummaryGrouping::type, settings));
}

TEST(Summary, saysWhatASearchFindsARowBy) {
    const ScanSnapshot snapshot = sampleSnapshot(2000, 5);
    const Text root = snapshot.scope().root.path();
    std::size_t searched = 0;
    for (const SummaryGrouping grouping : {SummaryGrouping::extension, SummaryGrouping::age, SummaryGrouping::size}) {
        const Summary summary = summaryOf(snapshot, grouping, root);
        for (const SummaryRow& row : summary.rows) {
            const auto filter = summary.filterFor(row);
            EXPECT_EQ(filter.has_value(), row.name != Text{"unknown"});
            if (!filter) continue;
            const auto answer = snapshot.search(
                SearchQuery{}, 1,
                {.cancellation = {}, .now = now, .threads = 1, .filter = *filter, .measuresMatches = true});
            EXPECT_EQ(answer.value().matches, row.items) << row.name.view();
            EXPECT_EQ(answer.value().matchedBytes, row.bytes) << row.name.view();
            ++searched;
        }
    }
    EXPECT_GE(searched, 20U);
    const Summary depths = summaryOf(snapshot, SummaryGrouping::depth, root);
    EXPECT_FALSE(depths.filterFor(depths.rows.front()));
}

TEST(Summary, saysWhichCategoryASearchFindsATypeBy) {
    const ScanSnapshot snapshot = aTree({
        aRecord({.path = "/r/Mail.app", .kind = FileKind::package, .allocated = 0, .aggregate = 70}),
        aRecord({.path = "/r/Mail.app/run", .allocated = 70}),
        aRecord({.path = "/r/get.deb", .allocated = 30}),
        aRecord({.path = "/r/a.iso", .allocated = 90}),
    });
    const Summary summary = summaryOf(snapshot, SummaryGrouping::type);
    EXPECT_EQ(summary.rows, (Rows{{"applications", 2, 100}, {"disk images", 1, 90}}));
    for (const SummaryRow& row : summary.rows) {
        const auto answer = snapshot.search(SearchQuery{}, 1,
                                            {.cancellation = {},
                                             .now = now,
                                             .threads = 1,
                                             .filter = summary.filterFor(row).value(),
                                             .measuresMatches = true});
        EXPECT_EQ(answer.value().matchedBytes, row.bytes) << row.name.view();
    }
}

TEST(SummaryGrouping, hasANameForEachCase) {
    for (const SummaryGrouping grouping : allSummaryGroupings)
        EXPECT_EQ(fromRawValue<SummaryGrouping>(rawValue(grouping)), grouping);
    EXPECT_EQ(rawValue(SummaryGrouping::extension), "extension");
    EXPECT_FALSE(fromRawValue<SummaryGrouping>("Type"));
}

}  // namespace KestrelCore
