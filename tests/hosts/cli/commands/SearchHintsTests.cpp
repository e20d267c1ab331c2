#include "commands/SearchHints.hpp"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace KestrelCLI {

namespace {

using Weight = SearchHint::Weight;

/// The one hint that there is about a query.
SearchHint hintOf(const std::string& query) {
    const std::vector<SearchHint> hints = searchHints(query);
    EXPECT_EQ(hints.size(), 1U) << query;
    return hints.empty() ? SearchHint{} : hints.front();
}

}  // namespace

TEST(SearchHints, areSilentAboutWhatIsUnderstood) {
    for (const char* query : {"",
                              "report 2019",
                              "type:folder >2gb old",
                              "TYPE:Apps",
                              "ext:.PDF in:x",
                              "<10kb",
                              "a>b",
                              "https://example.org",
                              "c:x",
                              "video imagery",
                              "note",
                              "2:3",
                              "more than",
                              "over there",
                              "after dark",
                              "x=y",
                              "date",
                              "size",
                              ">1gb 2023",
                              "less is more",
                              "since"}) {
        EXPECT_TRUE(searchHints(query).empty()) << query;
    }
}

TEST(SearchHints, sayWhatWasProbablyMeant) {
    struct Case {
        const char* query;
        Weight weight;
        const char* said;
    };
    for (const Case& each : std::initializer_list<Case>{
             {"type:foldr", Weight::trap, "names no kind and filters nothing; did you mean type:folder?"},
             {"type:film", Weight::trap, "did you mean --type videos?"},
             {"type:movies", Weight::trap, "did you mean --type videos?"},
             {"type:spreadsheet", Weight::trap, "kinds are file, folder, app, link and other."},
             {"type:", Weight::trap, "kinds are"},
             {"cat >10qb", Weight::doubt, "\">10qb\" is no size, so it is looked for as a word; sizes look like >10mb"},
             {">=1gb", Weight::doubt, "did you mean >1gb?"},
             {"<=10mb", Weight::doubt, "did you mean <10mb?"},
             {"type:pdf", Weight::trap, "did you mean ext:pdf?"},
             {"type:vidoe", Weight::trap, "did you mean --type videos?"},
             {"type:file,folder", Weight::trap, "did you mean type:file type:folder?"},
             {"kind:pdf", Weight::doubt, "did you mean ext:pdf?"},
             {"kind:movie", Weight::doubt, "did you mean --type videos?"},
             {"type=video", Weight::doubt, "did you mean video?"},
             {"ext:pdf,jpg", Weight::doubt, "did you mean ext:pdf ext:jpg?"},
             {"modified:2023", Weight::doubt,
              "\"modified:2023\" is no filter, so it is looked for as a word; did you mean "
              "--newer-than 2022 --older-than 2024?"},
             {"date:2023-12", Weight::doubt, "did you mean --newer-than 2023-11 --older-than 2024-01?"},
             {"date:2024-02-29", Weight::doubt, "did you mean --newer-than 2024-02-28 --older-than 2024-03-01?"},
             {"modified:7d", Weight::doubt, "did you mean --newer-than 7d?"},
             {"modified>2023", Weight::doubt, "did you mean --newer-than 2023?"},
             {"modified>=2023", Weight::doubt, "did you mean --newer-than 2022?"},
             {"date <= 2023", Weight::doubt,
              "\"date <= 2023\" is no filter, so its words are looked for; did you mean "
              "--older-than 2024?"},
             {"age>1y", Weight::doubt, "did you mean --older-than 1y?"},
             {"size>1gb", Weight::doubt, "did you mean >1gb?"},
             {"size >= 1.5 gb", Weight::doubt, "did you mean >1.5gb?"},
             {"> 1 gb", Weight::doubt, "did you mean >1gb?"},
             {"report >1 gb", Weight::doubt, "\">1 gb\" is no filter, so its words are looked for; did you mean >1gb?"},
             {">1gib", Weight::doubt, "did you mean --min 1gib?"},
             {"older than 1y", Weight::doubt,
              "\"older than 1y\" is no filter, so its words are looked for; did you mean "
              "--older-than 1y?"},
             {"older than 2 years", Weight::doubt, "did you mean --older-than 2years?"},
             {"newer than a week", Weight::doubt, "did you mean --newer-than 1week?"},
             {"since 2023", Weight::doubt, "did you mean --newer-than 2022?"},
             {"before 2023-05", Weight::doubt, "did you mean --older-than 2023-05?"},
             {"larger than 1gb", Weight::doubt, "did you mean >1gb?"},
             {"under 10 mb", Weight::doubt, "did you mean <10mb?"},
             {"older", Weight::advice, "did you mean --older-than 1y?"},
             {"sise:big", Weight::doubt, "did you mean big?"},
             {"size:1gb", Weight::doubt, "did you mean >1gb?"},
             {"size:>1gb", Weight::doubt, "did you mean >1gb?"},
             {"name:report", Weight::doubt, "did you mean report?"},
             {"kind:folder", Weight::doubt, "did you mean folder?"},
             {"path:work", Weight::doubt, "did you mean in:work?"},
             {"colour:red", Weight::doubt, "filters are type:, ext: and in:"},
             {"not", Weight::doubt, "--not WORD"},
             {"NOT", Weight::doubt, "--not WORD"},
             {"!work", Weight::doubt, "did you mean --not work?"},
             {"or", Weight::doubt, "widen each other"},
             {"vidoes", Weight::doubt, "did you mean videos?"},
             {"documants", Weight::doubt, "did you mean documents?"},
             {"*.pdf", Weight::advice, "ext:pdf"},
             {"IMG*", Weight::advice, "stands for nothing else"},
             {"ext:", Weight::advice, "without an extension"},
             {"in:", Weight::advice, "finds nothing"},
             {">1gb <1mb", Weight::advice, "as large and as small"}}) {
        const SearchHint hint = hintOf(each.query);
        EXPECT_EQ(hint.weight, each.weight) << each.query;
        EXPECT_NE(hint.told().find(each.said), std::string::npos) << each.query << ": " << hint.told();
    }
}

TEST(SearchHints, ofARefusedSearchDoNotSayThatItIsDone) {
    EXPECT_EQ(hintOf("modified:7d").refusal(), "\"modified:7d\" is no filter; did you mean --newer-than 7d?");
    EXPECT_EQ(hintOf("vidoes").refusal(), "\"vidoes\" is no filter; did you mean videos?");
    EXPECT_EQ(hintOf("older than 1y").refusal(), "\"older than 1y\" is no filter; did you mean --older-than 1y?");
}

TEST(SearchHints, comeForEachWord) { EXPECT_EQ(searchHints("<abc ext: in: not").size(), 4U); }

}  // namespace KestrelCLI
