#include "Snapshot/Search/StorageSearchPlan.hpp"

#include <gtest/gtest.h>

#include <string>

namespace KestrelCore {

namespace {

constexpr Date now{800'000'000};

StorageSearchPlan plan(const char* text) { return StorageSearchPlan{SearchQuery{text}, now}; }

}  // namespace

TEST(StorageSearchPlan, readsWordsInAnyCase) { EXPECT_EQ(plan("HUGE"), plan("huge")); }

TEST(StorageSearchPlan, carriesOnlyTheQuerysOwnFiltersForAnEmptyText) {
    const SearchQuery query{"", 700, {FileKind::package}, Date{5}};
    const StorageSearchPlan empty{query, now};
    EXPECT_EQ(empty.minimumBytes, 700);
    EXPECT_EQ(empty.kinds, (std::set{FileKind::package}));
    EXPECT_EQ(empty.modifiedAfter, Date{5});
    EXPECT_TRUE(empty.terms.empty() && empty.extensions.empty() && empty.pathTerms.empty());
    EXPECT_FALSE(empty.maximumBytes || empty.modifiedBefore || empty.hiddenOnly);
}

TEST(StorageSearchPlan, keepsTheLargestLowerBound) {
    EXPECT_EQ(plan(">100mb big").minimumBytes, 500'000'000);
    EXPECT_EQ(plan("huge >2gb").minimumBytes, 2'000'000'000);
    EXPECT_EQ(plan(">2gb huge").minimumBytes, 2'000'000'000);
    EXPECT_EQ((StorageSearchPlan{SearchQuery{">1kb", 5000}, now}.minimumBytes), 5000);
}

TEST(StorageSearchPlan, keepsTheSmallestUpperBound) {
    EXPECT_EQ(plan("<10kb").maximumBytes, 10'000);
    EXPECT_EQ(plan("<10kb <2mb").maximumBytes, 10'000);
    EXPECT_EQ(plan("<2mb <10kb").maximumBytes, 10'000);
}

TEST(StorageSearchPlan, keepsABoundThatIsNoSizeAsATerm) {
    for (const char* text : {"<abc", ">", "<", ">10qb", ">-1", ">0x10", ">inf", ">nan", ">1e400", ">9223373tb"}) {
        EXPECT_EQ(plan(text).terms, std::vector<Text>{text});
        EXPECT_EQ(plan(text).minimumBytes, 0) << text;
        EXPECT_FALSE(plan(text).maximumBytes) << text;
    }
}

TEST(StorageSearchPlan, readsSizesInDecimalUnits) {
    struct Case {
        const char* text;
        std::optional<std::int64_t> bytes;
    };
    const Case cases[] = {
        {"1.5gb", 1'500'000'000},
        {"10", 10},
        {"10b", 10},
        {".5kb", 500},
        {"5.kb", 5'000},
        {"1e3", 1'000},
        {"+5", 5},
        {"-0", 0},
        {"1.9999b", 1},
        {"2tb", 2'000'000'000'000},
        {"9223372tb", 9'223'372'000'000'000'000},
        {"1e-400", 0},
        {"0.00000000000000000000000000000000000001e-390", 0},
        {"0e99999999999999999999", 0},
        {"1e99999999999999999999", std::nullopt},
        {"9223372036854775807", std::nullopt},
        {"9223373tb", std::nullopt},
        {"99999999999999999999gb", std::nullopt},
        {"", std::nullopt},
        {"tb", std::nullopt},
        {".", std::nullopt},
        {"1e", std::nullopt},
        {"1 kb", std::nullopt},
        {"1,5kb", std::nullopt},
    };
    for (const Case& one : cases) EXPECT_EQ(StorageSearchPlan::size(one.text), one.bytes) << one.text;
}

TEST(StorageSearchPlan, takesKindsByName) {
    EXPECT_EQ(plan("type:folders").kinds, (std::set{FileKind::directory}));
    EXPECT_EQ(plan("TYPE:Apps").kinds, (std::set{FileKind::package}));
    EXPECT_EQ(plan("type:file type:link").kinds, (std::set{FileKind::file, FileKind::symbolicLink}));
}

TEST(StorageSearchPlan, dropsAnUnknownKind) { EXPECT_EQ(plan("type:foldr"), plan("")); }

TEST(StorageSearchPlan, takesExtensionsWithoutTheirDots) {
    EXPECT_EQ(plan("ext:.PDF").extensions, (std::set<Text>{"pdf"}));
    EXPECT_EQ(plan("ext:..md.").extensions, (std::set<Text>{"md"}));
    EXPECT_EQ(plan("ext:").extensions, (std::set<Text>{""}));
    EXPECT_EQ(plan("ext:...").extensions, (std::set<Text>{""}));
}

TEST(StorageSearchPlan, takesPathWordsAsTheyAre) {
    EXPECT_EQ(plan("in:a:b").pathTerms, std::vector<Text>{"a:b"});
    EXPECT_EQ(plan("in:").pathTerms, std::vector<Text>{""});
    EXPECT_EQ(plan("downloads").pathTerms, std::vector<Text>{"downloads"});
    EXPECT_EQ(plan("dev").pathTerms, std::vector<Text>{StorageSearchPlan::developerMarker()});
}

TEST(StorageSearchPlan, takesBigAndLargeHugeAndMassiveAlike) {
    EXPECT_EQ(plan("large"), plan("big"));
    EXPECT_EQ(plan("massive"), plan("huge"));
}

TEST(StorageSearchPlan, countsAgesFromNow) {
    EXPECT_EQ(plan("recent").modifiedAfter, Date{800'000'000 - 2'592'000});
    EXPECT_EQ(plan("new"), plan("recent"));
    EXPECT_EQ(plan("old").modifiedBefore, Date{800'000'000 - 31'536'000});
}

TEST(StorageSearchPlan, replacesTheBoundOfTheQueryByThatOfAWord) {
    const StorageSearchPlan later{SearchQuery{"recent", 0, {}, now.addingSeconds(-60)}, now};
    EXPECT_EQ(later.modifiedAfter, now.addingSeconds(-2'592'000));
    const StorageSearchPlan earlier{SearchQuery{"new", 0, {}, Date{0}}, now};
    EXPECT_EQ(earlier.modifiedAfter, now.addingSeconds(-2'592'000));
}

TEST(StorageSearchPlan, keepsOtherWordsInTheirOrder) {
    EXPECT_EQ(plan("b\ta  Straße").terms, (std::vector<Text>{"b", "a", "strasse"}));
}

TEST(SearchQuery, hashesEqualQueriesAlike) {
    const SearchQuery query{"é", 1, {FileKind::file}, Date{2}};
    const SearchQuery same{"e\u0301", 1, {FileKind::file}, Date{2}};
    EXPECT_EQ(query, same);
    EXPECT_EQ(std::hash<SearchQuery>{}(query), std::hash<SearchQuery>{}(same));
    EXPECT_NE(query, (SearchQuery{"é", 1, {FileKind::file}, Date{3}}));
}

}  // namespace KestrelCore
