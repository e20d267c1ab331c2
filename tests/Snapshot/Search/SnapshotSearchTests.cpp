#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "Snapshot/Search/NaiveSearch.hpp"
#include "Snapshot/Search/SearchRecords.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

namespace KestrelCore {

namespace {

using testing::Found;
using testing::found;
using testing::naiveSearch;
using testing::SearchedRecord;
using testing::snapshotOf;
using testing::snapshotOfFiles;

/// Enough records that several threads take several blocks each; many of them match alike.
std::vector<SearchedRecord> manyRecords() {
    static const std::vector<std::string> names = {"report",         "Reports", "reprot", "photo",
                                                   "My-Report_2019", "été",     "x"};
    std::vector<SearchedRecord> records;
    for (std::size_t i = 0; i < 9'000; ++i) {
        const std::string folder = "/Users/anna/" + std::to_string(i % 13) + (i % 13 == 5 ? " report" : "");
        records.push_back({.path = folder + "/" + names[i % names.size()] + std::to_string(i % 11) + ".pdf",
                           .allocatedBytes = static_cast<std::int64_t>(i % 3 * 4096)});
    }
    return records;
}

}  // namespace

TEST(SnapshotSearch, findsNothingForALimitOfZeroOrBelow) {
    const ScanSnapshot snapshot = snapshotOfFiles({"/report.pdf"});
    EXPECT_TRUE(snapshot.search(SearchQuery{"report"}, 0).empty());
    EXPECT_TRUE(snapshot.search(SearchQuery{"report"}, -1).empty());
    EXPECT_TRUE(snapshot.search(SearchQuery{"report"}, INT64_MIN).empty());
    EXPECT_EQ(snapshot.search(SearchQuery{"report"}, INT64_MAX).size(), 1U);
}

TEST(SnapshotSearch, ranksTheLargerThenTheNaturallyFirstAmongEqualScores) {
    const ScanSnapshot snapshot = snapshotOf({{.path = "/1/report.pdf", .allocatedBytes = 1},
                                              {.path = "/2/report.pdf", .allocatedBytes = 2},
                                              {.path = "/3/a10.txt", .allocatedBytes = 3},
                                              {.path = "/3/a9.txt", .allocatedBytes = 3}});
    EXPECT_EQ(found(snapshot, SearchQuery{"report"}, 1), (Found{{"/2/report.pdf", 410}}));
    EXPECT_EQ(found(snapshot, SearchQuery{"in:/3"}, 1), (Found{{"/3/a9.txt", 0}}));
}

TEST(SnapshotSearch, ranksAFolderByItsAggregateAndAFileByItsOwnSize) {
    const ScanSnapshot snapshot =
        snapshotOf({{.path = "/x/b", .kind = FileKind::file, .allocatedBytes = 50, .aggregateBytes = 900},
                    {.path = "/x/a", .kind = FileKind::directory, .allocatedBytes = 1, .aggregateBytes = 100}});
    EXPECT_EQ(found(snapshot, "in:x"), (Found{{"/x/a", 0}, {"/x/b", 0}}));
}

TEST(SnapshotSearch, scoresATermByTheFirstRuleThatHolds) {
    struct Case {
        const char* name;
        const char* query;
        std::int64_t score;  ///< 0: not found
    };
    const Case cases[] = {
        {"report.pdf", "report", 190 + 220},         // the stem
        {"report.pdf", "report.pdf", 190 + 80},      // the name, which is not the stem
        {"reports.txt", "report", 125 + 80},         // begins
        {"my-report_2019.pdf", "report", 105 + 80},  // a word
        {"my-reports.pdf", "report", 86 + 80},       // begins a word
        {"myreport.pdf", "report", 70 + 80},         // inside
        {"2019.pdf", "users", 30 + 30},              // in the path only
        {"phato.jpg", "photo", 38},                  // one edit, in the stem
        {"fotos.jpg", "photo", 0},                   // two edits
        {"presantaton.key", "presentation", 38},     // two edits in a long word
        {"pht", "pho", 0},                           // too short for an edit
        {"report.pdf", "report 2019", 0},            // no partial credit
        {"report 2019.pdf", "report 2019", 125 + 86 + 220},
        {"2019 report.pdf", "report 2019", 86 + 125},
        {"naïve Été.txt", "e\u0301te\u0301", 86 + 80},  // the other spelling
        {"Straße", "straße", 0},                        // folding and lowercasing disagree
        {"a\u0301x", "a", 0},                           // á is no a
    };
    for (const Case& one : cases) {
        const std::string path = std::string{"/Users/"} + one.name;
        const Found expected = one.score == 0 ? Found{} : Found{{path, one.score}};
        EXPECT_EQ(found(snapshotOfFiles({path}), one.query), expected) << one.name << " for " << one.query;
    }
}

TEST(SnapshotSearch, keepsTheWholeNameAsStemWhenTheExtensionIsNotItsEnd) {
    const ScanSnapshot snapshot = snapshotOf({{.path = "/x/report", .fileExtension = Text{"ort"}}});
    EXPECT_EQ(found(snapshot, "rep"), (Found{{"/x/report", 125 + 80}}));
    EXPECT_EQ(found(snapshot, "report"), (Found{{"/x/report", 190 + 220}}));
}

TEST(SnapshotSearch, findsATermThatSpansComponentsOfThePath) {
    const ScanSnapshot snapshot =
        snapshotOfFiles({"/Users/anna/report.pdf", "/Users/anna/x/y.pdf", "/Users/bannann/a.pdf", "/Users/été/rien"});
    EXPECT_EQ(found(snapshot, "anna/rep"), (Found{{"/Users/anna/report.pdf", 60}}));
    EXPECT_EQ(found(snapshot, "anna/x/y"), (Found{{"/Users/anna/x/y.pdf", 60}}));
    EXPECT_EQ(found(snapshot, "anna/x"), (Found{{"/Users/anna/x/y.pdf", 60}}));
    EXPECT_EQ(found(snapshot, "/users/anna/").size(), 2U);
    EXPECT_EQ(found(snapshot, "te\u0301/ri"), (Found{{"/Users/été/rien", 60}}));
    EXPECT_EQ(found(snapshot, "/").size(), 4U);
}

TEST(SnapshotSearch, findsNoPathForAnEmptyPathWord) { EXPECT_EQ(found(snapshotOfFiles({"/a/b"}), "in:"), Found{}); }

TEST(SnapshotSearch, findsRecordsWithoutAnExtensionForAnEmptyOne) {
    EXPECT_EQ(found(snapshotOfFiles({"/x/a.pdf", "/x/b"}), "ext:"), (Found{{"/x/b", 0}}));
}

TEST(SnapshotSearch, readsDeveloperAsAnyOfTheToolsFolders) {
    const ScanSnapshot snapshot = snapshotOfFiles({"/a/node_modules/x", "/a/.Cargo/y", "/a/z", "/a/DerivedData"});
    EXPECT_EQ(found(snapshot, "dev").size(), 3U);
}

TEST(SnapshotSearch, takesTheFirstMomentOfRecentAndNotTheLastOfOld) {
    const Date now{800'000'000};
    const Date monthAgo = now.addingSeconds(-2'592'000);
    const Date yearAgo = now.addingSeconds(-31'536'000);
    const ScanSnapshot snapshot = snapshotOf({{.path = "/a month", .modifiedAt = monthAgo},
                                              {.path = "/over a month", .modifiedAt = monthAgo.addingSeconds(-1)},
                                              {.path = "/a year", .modifiedAt = yearAgo},
                                              {.path = "/over a year", .modifiedAt = yearAgo.addingSeconds(-1)}});
    const SearchSettings settings{.cancellation = {}, .now = now, .threads = 0};
    EXPECT_EQ(found(snapshot, SearchQuery{"recent"}, 9, settings), (Found{{"/a month", 0}}));
    EXPECT_EQ(found(snapshot, SearchQuery{"old"}, 9, settings), (Found{{"/over a year", 0}}));
}

TEST(SnapshotSearch, filtersByDates) {
    const Date now{800'000'000};
    const ScanSnapshot snapshot = snapshotOf({{.path = "/new", .modifiedAt = now},
                                              {.path = "/old", .modifiedAt = now.addingSeconds(-40'000'000)},
                                              {.path = "/undated"}});
    const SearchSettings settings{.cancellation = {}, .now = now, .threads = 0};
    EXPECT_EQ(found(snapshot, SearchQuery{"recent"}, 9, settings), (Found{{"/new", 0}}));
    EXPECT_EQ(found(snapshot, SearchQuery{"old"}, 9, settings), (Found{{"/old", 0}}));
    // A record without a date counts as the distant past for a lower bound.
    EXPECT_EQ(found(snapshot, SearchQuery{"", 0, {}, Date::distantPast()}, 9, settings).size(), 3U);
}

TEST(SnapshotSearch, filtersBySizeKindAndVisibility) {
    const ScanSnapshot snapshot = snapshotOf({{.path = "/a.mov", .allocatedBytes = 2'000'000'000},
                                              {.path = "/b.mov", .allocatedBytes = 5'000},
                                              {.path = "/c", .kind = FileKind::directory, .aggregateBytes = 5'000},
                                              {.path = "/.d", .allocatedBytes = 1, .isHidden = true}});
    EXPECT_EQ(found(snapshot, "huge videos"), (Found{{"/a.mov", 0}}));
    EXPECT_EQ(found(snapshot, "<5kb >2"), (Found{{"/b.mov", 0}, {"/c", 0}}));
    EXPECT_EQ(found(snapshot, "folders"), (Found{{"/c", 0}}));
    EXPECT_EQ(found(snapshot, "hidden"), (Found{{"/.d", 0}}));
}

TEST(SnapshotSearch, givesTheSameAnswerOnAnyNumberOfThreads) {
    const ScanSnapshot snapshot = snapshotOf(manyRecords());
    const std::vector<FileRecord> records{snapshot.records().begin(), snapshot.records().end()};
    const Date now{800'000'000};
    for (const char* text : {"report", "report 2019", "e", "reprot", ">1kb ext:pdf", "in:report x", "anna/1"}) {
        Found all;
        for (const auto& [record, score] : naiveSearch(records, SearchQuery{text}, INT64_MAX, now)) {
            all.emplace_back(record.path().string(), score);
        }
        for (const std::size_t limit : {1U, 100U, 3'000U}) {
            const Found expected{all.begin(), all.begin() + static_cast<std::ptrdiff_t>(std::min(limit, all.size()))};
            for (const unsigned threads : {1U, 2U, 5U}) {
                const SearchSettings settings{.cancellation = {}, .now = now, .threads = threads};
                EXPECT_EQ(found(snapshot, SearchQuery{text}, static_cast<std::int64_t>(limit), settings), expected)
                    << text << ", " << limit;
            }
        }
    }
}

TEST(SnapshotSearch, mayBeAskedFromManyThreadsAtOnce) {
    const ScanSnapshot snapshot = snapshotOf(manyRecords());
    const ScanSnapshot copy = snapshot;
    std::vector<std::thread> threads;
    std::vector<Found> answers(6);
    for (std::size_t i = 0; i < answers.size(); ++i) {
        // All of them meet a snapshot that no search has prepared yet.
        threads.emplace_back([&, i] {
            const SearchSettings settings{.cancellation = {}, .now = {}, .threads = 2};
            answers[i] = found(i % 2 == 0 ? snapshot : copy, SearchQuery{"reprot été"}, 50, settings);
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (const Found& answer : answers) EXPECT_EQ(answer, answers.front());
}

TEST(SnapshotSearch, isAbandonedWhenItIsCancelled) {
    const ScanSnapshot snapshot = snapshotOf(manyRecords());
    const CancellationToken token;
    EXPECT_TRUE(snapshot.search(SearchQuery{"report"}, 10, token).has_value());
    token.cancel();
    EXPECT_FALSE(snapshot.search(SearchQuery{"report"}, 10, token).has_value());
}

TEST(SnapshotSearch, tellsHowItReadTheQuery) {
    const auto answer =
        snapshotOfFiles({"/a"}).search(SearchQuery{"huge videos in:downloads cat"}, 0, SearchSettings{});
    EXPECT_EQ(answer->explanation.minimumBytes, 1'000'000'000);
    EXPECT_EQ(answer->explanation.terms, std::vector<Text>{"cat"});
    EXPECT_EQ(answer->explanation.pathTerms, std::vector<Text>{"downloads"});
    EXPECT_EQ(answer->explanation.extensions.size(), 8U);
}

TEST(SnapshotSearch, standsTextsOfAnySize) {
    const ScanSnapshot snapshot = snapshotOfFiles({"/x/report.pdf", "/x/e\u0301.pdf", "/x/" + std::string(4096, 'a')});
    const std::string marks = "e" + [] {
        std::string result;
        for (int i = 0; i < 100'000; ++i) result += "\u0301";
        return result;
    }();
    std::string manyWords;
    for (int i = 0; i < 10'000; ++i) manyWords += "report ";
    EXPECT_EQ(found(snapshot, SearchQuery{manyWords}), (Found{{"/x/report.pdf", 190 * 10'000}}));
    for (int i = 0; i < 10'000; ++i) manyWords += std::to_string(i) + " in:" + std::to_string(i) + " ";
    EXPECT_EQ(found(snapshot, SearchQuery{manyWords}), Found{});
    EXPECT_EQ(found(snapshot, SearchQuery{marks}), Found{});
    std::string unorderedMarks = "in:e";
    for (int i = 0; i < 100'000; ++i) unorderedMarks += i % 2 == 0 ? "\u0301" : "\u0323";
    EXPECT_EQ(found(snapshot, SearchQuery{unorderedMarks}), Found{});
    EXPECT_EQ(found(snapshot, SearchQuery{std::string(1'000'000, 'a')}), Found{});
    EXPECT_EQ(found(snapshot, SearchQuery{std::string(4096, 'a')}).size(), 1U);
    EXPECT_EQ(found(snapshot, SearchQuery{std::string(4095, 'a') + "b"}).size(), 1U);
    EXPECT_EQ(found(snapshot, SearchQuery{std::string(1'000'000, ' ')}).size(), 3U);
    EXPECT_EQ(found(snapshot, SearchQuery{std::string(1'000'000, '/')}), Found{});
    EXPECT_EQ(found(snapshot, SearchQuery{Text{"\xFF\xFE\xC0"}}), Found{});
}

/// Every query text that ever troubled the search, asked of names that are as odd.
TEST(SnapshotSearch, standsTheCorpus) {
    std::vector<Text> texts;
    for (const auto& entry : std::filesystem::directory_iterator{std::string{KESTREL_FUZZ_CORPUS} + "/searchquery"}) {
        std::ifstream file{entry.path(), std::ios::binary};
        texts.emplace_back(std::string{std::istreambuf_iterator<char>{file}, {}});
    }
    ASSERT_GE(texts.size(), 16U);
    std::vector<SearchedRecord> searched;
    for (const Text& text : texts) searched.push_back({.path = Text::concatenating({"/x/", text.view()})});
    const ScanSnapshot snapshot = snapshotOf(searched);
    const std::vector<FileRecord> records{snapshot.records().begin(), snapshot.records().end()};
    const Date now{800'000'000};
    for (const Text& text : texts) {
        Found expected;
        for (const auto& [record, score] : naiveSearch(records, SearchQuery{text}, 100, now)) {
            expected.emplace_back(record.path().string(), score);
        }
        EXPECT_EQ(found(snapshot, SearchQuery{text}, 100, {.cancellation = {}, .now = now, .threads = 0}), expected);
    }
}

TEST(SnapshotSearch, answersMoreDifferentWordsThanFoldersAreAskedFor) {
    // Every prefix of the path is a term of its own.
    const std::string path =
        "/abcdefghijklmnopqrstuvwxyz/ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/abcdefghijklmnopqrst.txt";
    std::string typed;
    for (std::size_t length = 1; length <= path.size(); ++length) typed += path.substr(0, length) + " ";
    const ScanSnapshot snapshot = snapshotOfFiles({path, "/abcdefghijklmnopqrstuvwxyz/other"});
    EXPECT_EQ(found(snapshot, SearchQuery{typed}), (Found{{path, 30 * static_cast<std::int64_t>(path.size())}}));
}

}  // namespace KestrelCore
