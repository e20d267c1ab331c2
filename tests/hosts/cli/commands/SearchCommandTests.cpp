#include "output/SearchHints.hpp"
#include "output/SearchMarks.hpp"

#include "KestrelCore/Base/Text.hpp"

#include <gtest/gtest.h>

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

TEST(SearchHints, areSilentAboutWhatIsUnderstood) {
    for (const char* query :
         {"", "report 2019", "type:folder >2gb old", "TYPE:Apps", "ext:.PDF in:x", "<10kb", "a>b"}) {
        EXPECT_TRUE(searchHints(query).empty()) << query;
    }
}

TEST(SearchHints, tellTheKindThatAMisspelledOneProbablyMeans) {
    ASSERT_EQ(searchHints("type:foldr").size(), 1U);
    EXPECT_NE(searchHints("type:foldr")[0].find("did you mean type:folder?"), std::string::npos);
    EXPECT_EQ(searchHints("type:spreadsheet")[0].find("did you mean"), std::string::npos);
}

TEST(SearchHints, tellThatASizeIsNone) {
    ASSERT_EQ(searchHints("cat >10qb").size(), 1U);
    EXPECT_NE(searchHints("cat >10qb")[0].find("\">10qb\" is no size"), std::string::npos);
    EXPECT_EQ(searchHints("<abc >").size(), 2U);
}

TEST(SearchHints, tellOfPatternsAndEmptyFilters) {
    EXPECT_NE(searchHints("*.pdf")[0].find("ext:pdf"), std::string::npos);
    EXPECT_EQ(searchHints("IMG*").size(), 1U);
    EXPECT_EQ(searchHints("ext: in:").size(), 2U);
}

TEST(SearchHints, tellOfBoundsThatNothingMeets) { EXPECT_EQ(searchHints(">1gb <1mb").size(), 1U); }

}  // namespace KestrelCLI
