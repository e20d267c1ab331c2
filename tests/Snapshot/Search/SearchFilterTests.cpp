#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"
#include "support/Records.hpp"
#include "support/SampleSnapshots.hpp"
#include "support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace KestrelCore {

using testing::aRecord;
using testing::aSnapshot;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

namespace {

ScanSnapshot someItems() {
    std::vector<FileRecord> records{
        aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory, .aggregate = 700}),
        aRecord({.path = "/r/film", .kind = FileKind::directory, .aggregate = 300}),
        aRecord({.path = "/r/film/a.mp4", .allocated = 200, .modified = Date{2000}}),
        aRecord({.path = "/r/film/b.txt", .allocated = 100, .modified = Date{3000}}),
        aRecord({.path = "/r/filming", .kind = FileKind::directory, .aggregate = 400}),
        aRecord({.path = "/r/filming/c.MP4", .allocated = 300, .modified = Date{1000}}),
        aRecord({.path = "/r/filming/d.jpg", .allocated = 100, .modified = std::nullopt})};
    return aSnapshot("/r", records);
}

SearchAnswer answerTo(const Text& words, const SearchFilter& filter, SearchOrder order = SearchOrder::score,
                      std::int64_t limit = 100) {
    return someItems()
        .search(SearchQuery{words}, limit,
                {.cancellation = {},
                 .now = Date{5000},
                 .threads = 1,
                 .filter = filter,
                 .order = order,
                 .measuresMatches = true})
        .value();
}

std::vector<std::string> namesOf(const SearchAnswer& answer) {
    std::vector<std::string> names;
    for (const ScoredRecord& each : answer.results) names.push_back(each.record.name().string());
    return names;
}

bool holds(const Text& path, const Text& word) { return path.lowercased().contains(word.folded()); }

/// What the filter says, record by record.
bool passes(const FileRecord& record, const SearchFilter& filter) {
    const std::int64_t bytes = record.displayBytes();
    const Date past = record.modifiedAt().value_or(Date::distantPast());
    const Date future = record.modifiedAt().value_or(Date::distantFuture());
    const bool hasTypes = !filter.kinds.empty() || !filter.categories.empty();
    const auto category = ItemCategories::of(record);
    const auto isBelow = [&](const Text& folder) { return Path::isBeneath(record.path(), folder); };
    const auto isIn = [&](const Text& word) { return holds(record.path(), word); };
    return bytes >= filter.minimumBytes && (!filter.maximumBytes || bytes <= *filter.maximumBytes) &&
           (!filter.modifiedAfter || past >= *filter.modifiedAfter) &&
           (!filter.modifiedBefore || future < *filter.modifiedBefore) &&
           (!hasTypes || filter.kinds.contains(record.kind()) || (category && filter.categories.contains(*category))) &&
           (filter.extensions.empty() || filter.extensions.contains(record.fileExtension().lowercased())) &&
           ((filter.inFolders.empty() && filter.wordsInPath.empty()) ||
            std::ranges::any_of(filter.inFolders, isBelow) || std::ranges::any_of(filter.wordsInPath, isIn)) &&
           std::ranges::none_of(filter.notInFolders,
                                [&](const Text& folder) { return folder == record.path() || isBelow(folder); }) &&
           std::ranges::none_of(filter.wordsNotInPath, isIn);
}

/// What the records take together, found by looking at all pairs.
std::int64_t bytesOf(const std::vector<FileRecord>& records) {
    std::int64_t sum = 0;
    for (const FileRecord& record : records) {
        const bool isCovered = std::ranges::any_of(records, [&](const FileRecord& other) {
            return other.isContainer() && Path::isBeneath(record.path(), other.path());
        });
        if (!isCovered && !record.isHardLinkDuplicate()) sum += record.displayBytes();
    }
    return sum;
}

}  // namespace

TEST(SearchFilter, keepsWhatItAsksFor) {
    EXPECT_THAT(namesOf(answerTo("", {.minimumBytes = 300, .maximumBytes = 400})),
                ElementsAre("filming", "c.MP4", "film"));
    EXPECT_THAT(namesOf(answerTo("", {.modifiedAfter = Date{2000}})), ElementsAre("a.mp4", "b.txt"));
    EXPECT_THAT(namesOf(answerTo("mp4", {.modifiedBefore = Date{2000}})), ElementsAre("c.MP4"));
    EXPECT_THAT(namesOf(answerTo("", {.categories = {ItemCategory::videos}})), ElementsAre("c.MP4", "a.mp4"));
    EXPECT_THAT(namesOf(answerTo("", {.kinds = {FileKind::directory}, .categories = {ItemCategory::photos}})),
                ElementsAre("r", "filming", "film", "d.jpg"));
    EXPECT_THAT(namesOf(answerTo("", {.extensions = {"mp4", "jpg"}})), ElementsAre("c.MP4", "a.mp4", "d.jpg"));
}

TEST(SearchFilter, narrowsTheQuerysOwnFilters) {
    EXPECT_THAT(namesOf(answerTo(">150b", {.maximumBytes = 250})), ElementsAre("a.mp4"));
    EXPECT_THAT(namesOf(answerTo("<250b", {.minimumBytes = 150, .maximumBytes = 350})), ElementsAre("a.mp4"));
    EXPECT_THAT(namesOf(answerTo("ext:mp4", {.extensions = {"jpg"}})), ElementsAre());
}

TEST(SearchFilter, knowsPlacesByWholeNames) {
    EXPECT_THAT(namesOf(answerTo("", {.inFolders = {"/r/film"}})), ElementsAre("a.mp4", "b.txt"));
    EXPECT_THAT(namesOf(answerTo("", {.inFolders = {"/r/film", "/r/filming"}})),
                UnorderedElementsAre("a.mp4", "b.txt", "c.MP4", "d.jpg"));
    EXPECT_THAT(namesOf(answerTo("", {.notInFolders = {"/r/filming"}})),
                UnorderedElementsAre("r", "film", "a.mp4", "b.txt"));
    EXPECT_THAT(namesOf(answerTo("", {.notInFolders = {"/r/film/a.mp4", "/r/filming"}})),
                UnorderedElementsAre("r", "film", "b.txt"));
    EXPECT_THAT(namesOf(answerTo("", {.inFolders = {"/r/missing"}})), ElementsAre());
    EXPECT_THAT(namesOf(answerTo("", {.inFolders = {"/"}})).size(), ::testing::Eq(7U));
}

TEST(SearchFilter, looksForWordsInThePath) {
    EXPECT_THAT(namesOf(answerTo("", {.wordsInPath = {"MING"}})), ElementsAre("filming", "c.MP4", "d.jpg"));
    EXPECT_THAT(namesOf(answerTo("", {.wordsInPath = {"MING", "b.txt"}})),
                UnorderedElementsAre("filming", "c.MP4", "d.jpg", "b.txt"));
    EXPECT_THAT(namesOf(answerTo("", {.inFolders = {"/r/filming"}, .wordsInPath = {"b.txt"}})),
                UnorderedElementsAre("c.MP4", "d.jpg", "b.txt"));
    EXPECT_THAT(namesOf(answerTo("", {.wordsNotInPath = {"ming", "mp4"}})), UnorderedElementsAre("r", "film", "b.txt"));
}

TEST(SearchOrder, decidesWhatALimitLeaves) {
    const SearchFilter files{.kinds = {FileKind::file}};
    EXPECT_THAT(namesOf(answerTo("", files, SearchOrder::size, 2)), ElementsAre("c.MP4", "a.mp4"));
    EXPECT_THAT(namesOf(answerTo("", files, SearchOrder::date)), ElementsAre("b.txt", "a.mp4", "c.MP4", "d.jpg"));
    EXPECT_THAT(namesOf(answerTo("", files, SearchOrder::name, 3)), ElementsAre("a.mp4", "b.txt", "c.MP4"));
    EXPECT_THAT(namesOf(answerTo("film", {}, SearchOrder::score, 1)), ElementsAre("film"));
    EXPECT_THAT(namesOf(answerTo("film", {}, SearchOrder::size, 1)), ElementsAre("filming"));
}

TEST(SearchAnswer, countsAndMeasuresAllThatAnswers) {
    const SearchAnswer videos = answerTo("", {.categories = {ItemCategory::videos}}, SearchOrder::score, 1);
    EXPECT_EQ(videos.results.size(), 1U);
    EXPECT_EQ(videos.matches, 2);
    EXPECT_EQ(videos.matchedBytes, 500);
    // The folder, and what lies in it: its size once.
    EXPECT_EQ(answerTo("filming", {}).matchedBytes, 400);
    EXPECT_EQ(answerTo("", {}).matchedBytes, 700);
    EXPECT_EQ(answerTo("nowhere", {}).matchedBytes, 0);
    EXPECT_EQ(someItems().search(SearchQuery{"film"}, 5, SearchSettings{})->matchedBytes, std::nullopt);
}

TEST(SearchFilter, findsWhatANaiveLookFindsHereAndInTheHistory) {
    const TemporaryFolder folder;
    SnapshotHistory history{URL::fromPath(folder.path() + "/history.sqlite")};
    for (std::uint64_t seed = 1; seed <= 3; ++seed) {
        std::mt19937_64 random{seed};
        const ScanSnapshot snapshot = sampleSnapshot(500, seed);
        const GenerationReader reader = history.open(history.add(snapshot).number);
        const auto records = snapshot.records();
        const auto some = [&]() -> FileRecord { return records[random() % records.size()]; };
        for (int round = 0; round < 40; ++round) {
            SearchFilter filter;
            const auto may = [&] { return random() % 3 == 0; };
            if (may()) filter.minimumBytes = some().displayBytes();
            if (may()) filter.maximumBytes = some().displayBytes();
            if (may()) filter.modifiedAfter = some().modifiedAt();
            if (may()) filter.modifiedBefore = some().modifiedAt();
            if (may()) filter.kinds = {some().kind()};
            if (may()) filter.categories = {allItemCategories[random() % allItemCategories.size()]};
            if (may()) filter.extensions = {some().fileExtension().lowercased(), "pdf"};
            if (may()) filter.inFolders = {Path::deletingLastComponent(some().path()), some().path()};
            if (may()) filter.notInFolders = {some().path()};
            if (may()) filter.wordsInPath = {some().path().slice(0, 5), some().name()};
            if (may()) filter.wordsNotInPath = {some().name()};
            const SearchSettings all{.cancellation = {}, .now = Date{700'000'000}, .threads = 2};
            SearchSettings filtered = all;
            filtered.filter = filter;
            filtered.measuresMatches = true;
            const SearchQuery query{round % 2 == 0 ? Text{} : Text{"a"}};
            std::vector<ScoredRecord> expected = snapshot.search(query, 1000, all)->results;
            std::erase_if(expected, [&](const ScoredRecord& each) { return !passes(each.record, filter); });
            std::vector<FileRecord> matched;
            for (const ScoredRecord& each : expected) matched.push_back(each.record);
            for (const auto& answer : {snapshot.search(query, 1000, filtered), reader.search(query, 1000, filtered)}) {
                EXPECT_EQ(answer->results, expected) << seed << ", " << round;
                EXPECT_EQ(answer->matches, std::ssize(expected));
                EXPECT_EQ(answer->matchedBytes, bytesOf(matched)) << seed << ", " << round;
            }
        }
    }
}

}  // namespace KestrelCore
