#include "output/SearchHints.hpp"
#include "output/SearchMarks.hpp"

#include "KestrelCore/Base/Text.hpp"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace KestrelCLI {

namespace {

std::string markedUp(std::string_view path, const std::vector<KestrelCore::Text>& words) {
    std::string result;
    std::size_t end = 0;
    for (const Mark& mark : searchMarks(path, words)) {
        result.append(path.substr(end, mark.begin - end)).append("[");
        result.append(path.substr(mark.begin, mark.end - mark.begin)).append("]");
        end = mark.end;
    }
    return result.append(path.substr(end));
}

}  // namespace

TEST(SearchMarks, marksEveryPlaceInTheNameWhateverItsCase) {
    EXPECT_EQ(markedUp("/report/My Report-REPORT.pdf", {"report"}), "/report/My [Report]-[REPORT].pdf");
}

TEST(SearchMarks, marksTheLastPlaceInThePathForAWordThatIsNotInTheName) {
    EXPECT_EQ(markedUp("/a/downloads/x/downloads/b.pdf", {"downloads"}), "/a/downloads/x/[downloads]/b.pdf");
    EXPECT_EQ(markedUp("/anna/report.pdf", {"anna/rep"}), "/[anna/rep]ort.pdf");
}

TEST(SearchMarks, joinsMarksThatMeet) {
    EXPECT_EQ(markedUp("/x/report2019.pdf", {"2019", "port", "repo"}), "/x/[report2019].pdf");
}

TEST(SearchMarks, marksNothingForASlip) { EXPECT_EQ(markedUp("/x/phato.jpg", {"photo", ""}), "/x/phato.jpg"); }

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
    for (const char* query : {"", "report 2019", "type:folder >2gb old", "TYPE:Apps", "ext:.PDF in:x", "<10kb", "a>b",
                              "https://example.org", "c:x", "video imagery", "note", "2:3"}) {
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
             {"modified:2023", Weight::doubt, "did you mean --newer-than 2023 or --older-than 2023?"},
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
        EXPECT_NE(hint.text.find(each.said), std::string::npos) << each.query << ": " << hint.text;
    }
}

TEST(SearchHints, comeForEachWord) { EXPECT_EQ(searchHints("<abc ext: in: not").size(), 4U); }

}  // namespace KestrelCLI
