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

}  // namespace KestrelCLI
