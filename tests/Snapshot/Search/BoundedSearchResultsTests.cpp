#include "Snapshot/Search/BoundedSearchResults.hpp"

#include "KestrelCore/Base/NaturalOrder.hpp"
#include "Snapshot/Search/SearchRecords.hpp"
#include "Snapshot/SnapshotAccess.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

namespace KestrelCore {

namespace {

using testing::SearchedRecord;
using testing::snapshotOf;

std::vector<std::uint32_t> order(const BoundedSearchResults& results) {
    std::vector<std::uint32_t> records;
    for (const BoundedSearchResults::Match& match : results.bestFirst()) records.push_back(match.record);
    return records;
}

std::vector<std::uint32_t> inserted(const std::vector<SearchedRecord>& records, std::int64_t limit) {
    const ScanSnapshot snapshot = snapshotOf(records);
    BoundedSearchResults results{SnapshotAccess::storage(snapshot), limit};
    for (std::uint32_t i = 0; i < records.size(); ++i) results.insert(i, 1);
    return order(results);
}

using Order = std::vector<std::uint32_t>;

}  // namespace

TEST(BoundedSearchResults, keepsNothingWithoutALimit) {
    EXPECT_EQ(inserted({{.path = "/a"}}, 0), Order{});
    EXPECT_EQ(inserted({{.path = "/a"}}, INT64_MIN), Order{});
}

TEST(BoundedSearchResults, ranksAHigherScoreFirst) {
    const ScanSnapshot snapshot = snapshotOf({{.path = "/a", .allocatedBytes = 9}, {.path = "/b"}, {.path = "/c"}});
    BoundedSearchResults results{SnapshotAccess::storage(snapshot), 2};
    results.insert(0, 10);
    results.insert(1, 30);
    results.insert(2, 20);
    EXPECT_EQ(order(results), (Order{1, 2}));
}

TEST(BoundedSearchResults, ranksALargerRecordFirstAmongEqualScores) {
    EXPECT_EQ(inserted({{.path = "/a", .allocatedBytes = 1}, {.path = "/b", .allocatedBytes = 2}}, 1), Order{1});
}

TEST(BoundedSearchResults, ranksAFolderByItsAggregateAndAFileByItsOwnSize) {
    const SearchedRecord folder{
        .path = "/folder", .kind = FileKind::directory, .allocatedBytes = 1, .aggregateBytes = 100};
    const SearchedRecord file{.path = "/file", .allocatedBytes = 50, .aggregateBytes = 1000};
    EXPECT_EQ(inserted({file, folder}, 2), (Order{1, 0}));
}

TEST(BoundedSearchResults, ranksTheNaturallyFirstNameFirstAmongEqualSizes) {
    EXPECT_EQ(inserted({{.path = "/a 10"}, {.path = "/B 1"}, {.path = "/a 2"}}, 3), (Order{2, 0, 1}));
    EXPECT_EQ(inserted({{.path = "/a 10"}, {.path = "/B 1"}, {.path = "/a 2"}}, 1), Order{2});
}

TEST(BoundedSearchResults, ranksTheEarlierRecordFirstAmongEqualMatches) {
    const std::vector<SearchedRecord> equal = {{.path = "/1/a"}, {.path = "/2/a"}, {.path = "/3/a"}, {.path = "/4/a"}};
    EXPECT_EQ(inserted(equal, 10), (Order{0, 1, 2, 3}));
    EXPECT_EQ(inserted(equal, 2), (Order{0, 1}));
}

TEST(BoundedSearchResults, takesNoMemoryForALimitThatIsNotReached) {
    EXPECT_EQ(inserted({{.path = "/a"}, {.path = "/b"}}, INT64_MAX), (Order{0, 1}));
}

TEST(BoundedSearchResults, mergesIntoWhatOneListWouldHaveKept) {
    std::vector<SearchedRecord> records;
    for (int i = 0; i < 60; ++i) {
        records.push_back({.path = "/" + std::to_string(i) + "/" + std::to_string(i % 7), .allocatedBytes = i % 5});
    }
    const ScanSnapshot snapshot = snapshotOf(records);
    for (const std::int64_t limit : {1, 2, 7, 30, 100}) {
        BoundedSearchResults all{SnapshotAccess::storage(snapshot), limit};
        BoundedSearchResults odd{SnapshotAccess::storage(snapshot), limit};
        BoundedSearchResults even{SnapshotAccess::storage(snapshot), limit};
        for (std::uint32_t i = 0; i < records.size(); ++i) {
            all.insert(i, i % 3);
            (i % 2 == 0 ? even : odd).insert(i, i % 3);
        }
        odd.merge(even);
        EXPECT_EQ(order(odd), order(all)) << limit;
    }
}

// The natural order of these contradicts itself: each comes before the next one, and the last before the first.
TEST(BoundedSearchResults, keepsTheSameMatchesInEveryOrderOfInsertion) {
    const std::vector<SearchedRecord> records = {{.path = "/1a\u00C9"},
                                                 {.path = "/1A\u00E9"},
                                                 {.path = "/01A\u00E9"},
                                                 {.path = "/a"},
                                                 {.path = "/99999999999999999999"},
                                                 {.path = "/2"}};
    const ScanSnapshot snapshot = snapshotOf(records);
    for (const std::int64_t limit : {1, 2, 3, 4, 5, 6, 7}) {
        std::vector<std::uint32_t> insertion = {0, 1, 2, 3, 4, 5};
        std::set<Order> results;
        do {
            BoundedSearchResults whole{SnapshotAccess::storage(snapshot), limit};
            BoundedSearchResults parts[2]{{SnapshotAccess::storage(snapshot), limit},
                                          {SnapshotAccess::storage(snapshot), limit}};
            for (std::size_t i = 0; i < insertion.size(); ++i) {
                whole.insert(insertion[i], 1);
                parts[i % 2].insert(insertion[i], 1);
            }
            parts[0].merge(parts[1]);
            results.insert(order(whole));
            results.insert(order(parts[0]));
        } while (std::next_permutation(insertion.begin(), insertion.end()));
        EXPECT_EQ(results.size(), 1U) << limit;
        EXPECT_EQ(results.begin()->size(), std::min<std::size_t>(static_cast<std::size_t>(limit), records.size()));
    }
}

TEST(BoundedSearchResults, putsOddNamesWhereTheNaturalOrderHasThem) {
    EXPECT_EQ(inserted({{.path = "/f"}, {.path = "/\u00E9"}, {.path = "/e"}, {.path = "/\u00FC"}, {.path = "/z"}}, 4),
              (Order{2, 1, 0, 3}));
    EXPECT_EQ(inserted({{.path = "/\u00E9", .allocatedBytes = 1}, {.path = "/z", .allocatedBytes = 2}}, 2),
              (Order{1, 0}));
}

TEST(BoundedSearchResults, keepsTheBestOfManyOddNames) {
    std::vector<SearchedRecord> records;
    for (int i = 0; i < 5000; ++i) {
        records.push_back({.path = "/\u00E9" + std::to_string(i), .allocatedBytes = i % 1000});
    }
    EXPECT_EQ(inserted(records, 6), (Order{999, 1999, 2999, 3999, 4999, 998}));
}

}  // namespace KestrelCore
