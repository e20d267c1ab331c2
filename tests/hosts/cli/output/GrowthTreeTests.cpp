#include "output/GrowthTree.hpp"
#include "output/TerminalText.hpp"

#include "support/GrowthChanges.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using namespace KestrelCore;
using KestrelCore::testing::fileChange;
using KestrelCore::testing::folderChange;
using ::testing::AllOf;
using ::testing::HasSubstr;

namespace KestrelCLI {

namespace {

/// Of /r, which held 10,000 bytes.
Growth growthOf(std::vector<GrowthChange> changes, const char* path = "/r") {
    const Generation scan{.snapshot = UUID::random(),
                          .scope = ScanScope{URL::fromPath("/r", true)},
                          .startedAt = Date{1},
                          .completedAt = Date{2}};
    Growth growth{.since = scan, .until = scan, .path = path, .before = 10'000, .after = 10'000, .changes = {}};
    for (const GrowthChange& change : changes) growth.after += change.change();
    growth.changes = std::move(changes);
    return growth;
}

std::string shown(const Growth& growth) {
    std::string text;
    for (const GrowthLine& line : growthTree(growth)) {
        text += line.branch + line.name + (line.isFolder ? "/" : "") +
                (line.note.empty() ? "" : " (" + line.note + ")") + " " + std::to_string(line.change) + "\n";
    }
    return text;
}

struct Shown {
    explicit Shown(std::size_t columns = 0) {
        if (columns > 0) session.terminal = {.isOutput = true, .columns = columns};
        session.options.color = ColorChoice::never;
    }
    std::ostringstream out;
    std::ostringstream messages;
    Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
};

using enum GrowthChangeKind;

}  // namespace

TEST(GrowthTree, putsChangesIntoTheFoldersThatHoldSeveral) {
    EXPECT_EQ(shown(growthOf({fileChange("/r/a/b/one", grew, 0, 500), fileChange("/r/c/d/e", shrank, 400, 100),
                              fileChange("/r/a/b/two", gone, 200, 0), folderChange("/r/a/new", appeared, 0, 90, 12)})),
              "/r/ 90\n"
              "├─ a/ 390\n"
              "│  ├─ b/ 300\n"
              "│  │  ├─ one 500\n"
              "│  │  └─ two (gone) -200\n"
              "│  └─ new/ (new, 12 items) 90\n"
              "└─ c/d/e -300\n");
}

TEST(GrowthTree, tellsTheRestOfAFolderBelowIt) {
    EXPECT_EQ(shown(growthOf({fileChange("/r/a/big", appeared, 0, 1000), folderChange("/r/a", grew, 0, 50, 2000),
                              folderChange("/r/b", shrank, 70, 40, 1), folderChange("/r", grew, 0, 7, 1)})),
              "/r/ 1027\n"
              "├─ a/ 1050\n"
              "│  ├─ big (new) 1000\n"
              "│  └─  (2,000 more items) 50\n"
              "├─ b/ (1 item) -30\n"
              "└─  (1 more item) 7\n");
}

TEST(GrowthTree, tellsWhatHasMovedAndWhatHasChangedItsKind) {
    EXPECT_EQ(shown(growthOf({folderChange("/r/new", appeared, 0, 4096, 0),
                              folderChange("/r/new/in", moved, 9, 9, 3, "/r/old"),
                              folderChange("/r/x", gone, 300, 0, 2), fileChange("/r/x", appeared, 0, 20)})),
              "/r/ 3816\n"
              "├─ new/ (new, 0 items) 4096\n"
              "│  └─ in/ (moved from /r/old) 0\n"
              "├─ x/ (gone, 2 items) -300\n"
              "└─ x (new) 20\n");
}

TEST(GrowthTree, knowsOneItemAndNothing) {
    EXPECT_EQ(shown(growthOf({})), "/r/ 0\n");
    EXPECT_EQ(shown(growthOf({fileChange("/r/f", grew, 1, 3)}, "/r/f")), "/r/f 2\n");
    EXPECT_EQ(shown(growthOf({folderChange("/r", grew, 1, 3, 4)})), "/r/ (4 items) 2\n");
    EXPECT_EQ(shown(growthOf({fileChange("/f", grew, 1, 3)}, "/")), "// 2\n└─ f 2\n");
}

TEST(GrowthTree, isAsDeepAsPathsAre) {
    std::string deep = "/r";
    for (int i = 0; i < 100'000; ++i) deep += "/d";
    const std::string other = deep + "/x";
    EXPECT_EQ(
        growthTree(growthOf({fileChange((deep + "/y").c_str(), grew, 1, 2), fileChange(other.c_str(), grew, 1, 3)}))
            .size(),
        4U);
}

TEST(GrowthTree, staysWithinTheTerminalAndShowsNamesSafely) {
    const Growth growth = growthOf(
        {folderChange("/r/a folder with a long name of its own", appeared, 0, 5'000'000, 1234),
         folderChange("/r/here", moved, 7000, 7000, 1, "/r/from a place with a very long name"),
         fileChange("/r/\x1b[31mred\u202e", gone, 1'000'000, 0), folderChange("/r", shrank, 2'000'000, 0, 1'234'567)});
    for (const std::size_t columns : {40U, 60U, 100U}) {
        Shown shown{columns};
        writeGrowth(shown.session, growth);
        std::istringstream lines{shown.out.str()};
        for (std::string line; std::getline(lines, line);) EXPECT_LE(TerminalText::width(line), columns) << line;
        EXPECT_EQ(shown.out.str().find('\x1b'), std::string::npos);
        // Letters alone: what branches and blanks stand before the further lines does not matter.
        std::string letters;
        for (const char c : shown.out.str()) {
            if (c >= 'a' && c <= 'z') letters += c;
        }
        EXPECT_THAT(letters, HasSubstr("afolderwithalongnameofitsownnewitems"));
        EXPECT_THAT(letters, HasSubstr("heremovedfromrfromaplacewithaverylongname"));
        EXPECT_THAT(shown.out.str(), HasSubstr("new"));
        EXPECT_THAT(shown.out.str(), HasSubstr("moved"));
    }
    Shown piped;
    writeGrowth(piped.session, growth);
    EXPECT_THAT(piped.out.str(), HasSubstr("  /r/a folder with a long name of its own/  new, 1,234 items\n"));
    EXPECT_THAT(piped.out.str(), HasSubstr("  /r/here/  moved from /r/from a place with a very long name\n"));
    EXPECT_THAT(piped.out.str(), HasSubstr("  /r/  1,234,567 more items\n"));
    EXPECT_EQ(piped.out.str().find("─"), std::string::npos);
    EXPECT_THAT(piped.out.str(), HasSubstr("\n+5.00 MB  █"));
    EXPECT_THAT(piped.out.str(), HasSubstr("\n-1.00 MB  █"));
}

TEST(GrowthTree, namesTheLargestChangesOnePerLine) {
    const Growth growth = growthOf({folderChange("/r", grew, 0, 9000, 80), fileChange("/r/a/b", grew, 0, 700),
                                    folderChange("/r/c", gone, 600, 0, 3), fileChange("/r/d", appeared, 0, 5),
                                    fileChange("/r/e", appeared, 0, 4)});
    Shown shown{60};
    writeLargestChanges(shown.session, growth, 3, "Title");
    EXPECT_THAT(shown.out.str(),
                ::testing::MatchesRegex("\nTitle\n *\\+700 B  [^ ]+  a/b\n *-600 B  [^ ]+ *  c/  gone, 3 "
                                        "items\n *\\+5 B  [^ ]* *  d  new\n"));
    Shown piped;
    writeLargestChanges(piped.session, growth, 3, "Title");
    EXPECT_THAT(piped.out.str(), AllOf(HasSubstr("  /r/a/b\n"), HasSubstr("  /r/c/  gone, 3 items\n")));
    Shown none;
    writeLargestChanges(none.session,
                        growthOf({folderChange("/r", grew, 0, 9, 80), fileChange("/r/x", appeared, 0, 0)}), 3, "T");
    EXPECT_EQ(none.out.str(), "");
}

TEST(GrowthTree, writesSizesWithTheirSign) {
    Shown shown;
    EXPECT_EQ(signedSize(shown.session, 1'200'000'000), "+1.20 GB");
    EXPECT_EQ(signedSize(shown.session, -300'000'000), "-300 MB");
    EXPECT_EQ(signedSize(shown.session, 0), "0 B");
    EXPECT_THAT(signedSize(shown.session, INT64_MIN), HasSubstr("-9.22"));
}

}  // namespace KestrelCLI
