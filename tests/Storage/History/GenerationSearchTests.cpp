#include "KestrelCore/Storage/GenerationReader.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"

#include "support/Records.hpp"
#include "support/SampleSnapshots.hpp"
#include "support/ScannedSnapshots.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace KestrelCore {

namespace {

using testing::aRecord;
using testing::aSnapshot;

constexpr Date now{700'000'000};

/// Queries of all kinds: words of a record's name and path, parts of them, slips, and filters by every value.
std::vector<std::string> queries(const ScanSnapshot& snapshot, std::mt19937_64& random) {
    const auto records = snapshot.records();
    const auto someText = [&](bool isPath) {
        const FileRecord& record = records[random() % records.size()];
        const Text text = isPath ? record.path() : record.name();
        const auto length = static_cast<std::size_t>(1 + random() % 9);
        const std::size_t first = text.view().empty() ? 0 : random() % text.view().size();
        return std::string{text.view().substr(first, length)};
    };
    std::vector<std::string> result{"",          "kind:folder", ">1mb",      "<10kb old", "recent",
                                    "is:hidden", "type:file",   "developer", "in:/home",  "ext:pdf"};
    for (int i = 0; i < 8; ++i) {
        result.push_back(someText(false));
        result.push_back(someText(false) + " " + someText(true));
        result.push_back("in:" + someText(true) + " >5kb");
        result.push_back("\"" + someText(true) + "\" older");
    }
    return result;
}

/// That a reader finds what the snapshot does, in the same order and with the same scores.
void expectEqualAnswers(const GenerationReader& reader, const ScanSnapshot& snapshot, const std::string& query,
                        std::int64_t limit) {
    const SearchSettings settings{.cancellation = {}, .now = now, .threads = 0};
    const auto found = reader.search(SearchQuery{Text{query}}, limit, settings);
    const auto expected = snapshot.search(SearchQuery{Text{query}}, limit, settings);
    ASSERT_TRUE(found && expected) << query;
    EXPECT_EQ(found->explanation, expected->explanation) << query;
    EXPECT_EQ(found->results, expected->results) << query << ", limit " << limit;
}

class GenerationSearchTest : public ::testing::Test {
protected:
    TemporaryFolder folder_;
    SnapshotHistory history_{URL::fromPath(folder_.path() + "/history.sqlite")};
};

}  // namespace

TEST_F(GenerationSearchTest, findsWhatTheSnapshotFinds) {
    for (std::uint64_t seed = 1; seed <= 3; ++seed) {
        std::mt19937_64 random{seed};
        // Once as it was made, with an order and identifiers of its own, then as scans: a full one and differences.
        ScanSnapshot snapshot = sampleSnapshot(400, seed);
        for (std::uint64_t step = 0; step < 4; ++step) {
            if (step > 0) snapshot = asScanned(step == 1 ? snapshot : changed(snapshot, seed * 10 + step));
            const GenerationReader reader = history_.open(history_.add(snapshot).number);
            for (const std::string& query : queries(snapshot, random)) {
                for (const std::int64_t limit : {1, 20, 1000}) expectEqualAnswers(reader, snapshot, query, limit);
            }
        }
    }
}

TEST_F(GenerationSearchTest, findsInWhatIsLeftAfterARemoval) {
    const ScanSnapshot snapshot = sampleSnapshot(300, 3);
    const std::int64_t number = history_.add(snapshot).number;
    const std::vector<Text> paths{snapshot.records()[100].path(), snapshot.records()[200].path()};
    const GenerationReader reader = history_.open(history_.removing(number, paths).value().number);
    const ScanSnapshot left = reader.load();
    std::mt19937_64 random{3};
    for (const std::string& query : queries(snapshot, random)) expectEqualAnswers(reader, left, query, 50);
}

TEST_F(GenerationSearchTest, keepsIdentitiesOfMoreDevicesThanRowsTellApart) {
    std::vector<FileRecord> records{aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory})};
    for (std::uint64_t i = 0; i < 600; ++i) {
        records.push_back(aRecord({.path = "/r/" + std::to_string(i), .identity = FileIdentity{i, i}}));
    }
    const ScanSnapshot snapshot = asScanned(aSnapshot("/r", records));
    const GenerationReader reader = history_.open(history_.add(snapshot).number);
    for (const std::string query : {"5", "59", "file", "r"}) expectEqualAnswers(reader, snapshot, query, 1000);
}

TEST_F(GenerationSearchTest, ordersWhatIsEqualAsTheSnapshotDoes) {
    // Equal in score, size and name: what comes first in the snapshot comes first here, across folders and chunks.
    std::vector<FileRecord> records{aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory})};
    for (int i = 0; i < 300; ++i) {
        const std::string folder = "/r/" + std::to_string(i * 7919 % 300);
        records.push_back(aRecord({.path = folder, .kind = FileKind::directory}));
        records.push_back(aRecord({.path = folder + "/same"}));
        for (int other = 0; other < 70; ++other) {
            records.push_back(aRecord({.path = folder + "/file " + std::to_string(other)}));
        }
    }
    const ScanSnapshot snapshot = asScanned(aSnapshot("/r", records));
    const GenerationReader reader = history_.open(history_.add(snapshot).number);
    for (const std::int64_t limit : {1, 7, 299, 1000}) expectEqualAnswers(reader, snapshot, "same", limit);
}

TEST_F(GenerationSearchTest, findsTheLargestByTheirValuesAlone) {
    for (std::uint64_t seed = 1; seed <= 2; ++seed) {
        std::mt19937_64 random{seed};
        ScanSnapshot snapshot = sampleSnapshot(400, seed);
        for (std::uint64_t step = 0; step < 3; ++step) {
            if (step > 0) snapshot = asScanned(step == 1 ? snapshot : changed(snapshot, seed * 10 + step));
            const GenerationReader reader = history_.open(history_.add(snapshot).number);
            for (int i = 0; i < 25; ++i) {
                SearchSettings settings{.cancellation = {}, .now = now};
                SearchFilter& filter = settings.filter;
                const auto isOn = [&] { return random() % 3 == 0; };
                const FileRecord some = snapshot.records()[random() % snapshot.records().size()];
                if (isOn()) filter.inFolders.push_back(some.parentPath().value_or(some.path()));
                if (isOn()) filter.kinds = {FileKind::file};
                if (isOn()) filter.kinds.insert(FileKind::symbolicLink);
                if (isOn()) filter.categories = {ItemCategory::photos, ItemCategory::applications};
                if (isOn()) filter.extensions = {"pdf", "gr\u00f6\u00dfe", ""};
                if (isOn()) filter.minimumBytes = some.allocatedBytes();
                if (isOn()) filter.maximumBytes = some.displayBytes();
                if (isOn()) filter.modifiedAfter = some.modifiedAt();
                if (isOn()) filter.modifiedBefore = some.modifiedAt();
                if (isOn()) filter.notInFolders.push_back(some.path());
                settings.order = isOn() ? SearchOrder::score : SearchOrder::size;
                settings.measuresMatches = isOn();
                const SearchQuery query{isOn() ? "hidden" : isOn() ? "old" : ""};
                for (const std::int64_t limit : {1, 5, 60, 1000}) {
                    const auto found = reader.search(query, limit, settings);
                    const auto expected = snapshot.search(query, limit, settings);
                    ASSERT_TRUE(found && expected);
                    EXPECT_EQ(found->results, expected->results) << seed << ", " << step << ", " << i;
                    EXPECT_EQ(found->matches, expected->matches) << seed << ", " << step << ", " << i;
                    EXPECT_EQ(found->matchedBytes, expected->matchedBytes) << seed << ", " << step << ", " << i;
                }
            }
        }
    }
}

TEST_F(GenerationSearchTest, findsTheLargestOfManyThatAreEqual) {
    std::vector<FileRecord> records{aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory})};
    for (int i = 0; i < 50'000; ++i) {
        // Large ones stand far apart, most others are alike.
        const std::int64_t bytes = i % 5000 == 7 ? 4096 * (i + 2) : 4096;
        records.push_back(aRecord({.path = "/r/" + std::to_string(i * 7919 % 50'000), .allocated = bytes}));
    }
    const ScanSnapshot snapshot = asScanned(aSnapshot("/r", records));
    const GenerationReader reader = history_.open(history_.add(snapshot).number);
    const SearchSettings settings{.cancellation = {},
                                  .now = now,
                                  .filter = {.kinds = {FileKind::file}, .inFolders = {"/r"}},
                                  .order = SearchOrder::size,
                                  .measuresMatches = true};
    for (const std::int64_t limit : {1, 10, 12}) {
        const auto found = reader.search(SearchQuery{}, limit, settings).value();
        const auto expected = snapshot.search(SearchQuery{}, limit, settings).value();
        EXPECT_EQ(found.results, expected.results);
        EXPECT_EQ(found.matches, 50'000);
        EXPECT_EQ(found.matchedBytes, expected.matchedBytes);
    }
}

TEST_F(GenerationSearchTest, isGivenUpWhenItIsCancelled) {
    const GenerationReader reader = history_.open(history_.add(sampleSnapshot(100, 1)).number);
    const CancellationToken token;
    token.cancel();
    EXPECT_FALSE(reader.search(SearchQuery{"a"}, 10, {.cancellation = token, .now = now, .threads = 0}));
    EXPECT_FALSE(reader.search(SearchQuery{}, 10, {.cancellation = token, .now = now, .order = SearchOrder::size}));
}

TEST_F(GenerationSearchTest, withoutRoomForAnAnswerReadsNone) {
    const GenerationReader reader = history_.open(history_.add(sampleSnapshot(100, 1)).number);
    const auto answer = reader.search(SearchQuery{"a"}, 0, {.cancellation = {}, .now = now, .threads = 0});
    ASSERT_TRUE(answer);
    EXPECT_TRUE(answer->results.empty());
    EXPECT_EQ(answer->explanation.terms, std::vector<Text>{"a"});
}

}  // namespace KestrelCore
