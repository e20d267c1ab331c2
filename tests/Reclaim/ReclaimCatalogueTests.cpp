#include "KestrelCore/Reclaim/ReclaimCatalogue.hpp"

#include "Reclaim/NamePattern.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace KestrelCore {

namespace {

/// The text of a rule with these lines in place of its match; the first of them is line 9.
std::string ruleWith(const std::string& match) {
    return "id = \"mine\"\ntitle = \"Mine\"\nsystems = [\"linux\", \"macos\"]\ncertainty = \"regenerates\"\nrank = 7\n"
           "smallest-age = \"2w\"\nwhy = \"It is large.\"\ncomes-back = \"It is made again.\"\n" +
           match;
}

ReclaimCatalogue catalogueOf(const std::string& text) {
    ReclaimCatalogue catalogue{ReclaimCatalogue::Systems::all};
    catalogue.add(text, "mine.toml");
    return catalogue;
}

}  // namespace

TEST(ReclaimCatalogue, readsAllThatARuleSays) {
    const ReclaimCatalogue catalogue =
        catalogueOf(ruleWith("owners-command = \"mine clean\"\n[[match]]\nplaces = [\"$CACHE/mine\"]\nnames = "
                             "[\"*.o\"]\nkinds = [\"file\"]\n"
                             "[[match]]\nfolders = [\"out\"]\nbeside = [\"a\"]\nholds = [\"b\"]\n"
                             "[[match]]\nfiles = [\"*.iso\"]\nin = [\"~/Downloads\"]\nsmallest-size = \"100MB\"\n"
                             "[[match]]\nfinder = \"empty-folders\"\n"));
    ASSERT_TRUE(catalogue.problems().empty()) << catalogue.problems().front().message.view();
    ASSERT_EQ(catalogue.rules().size(), 1U);
    const ReclaimRule& rule = catalogue.rules().front();
    EXPECT_EQ(rule.rank, 7);
    EXPECT_EQ(rule.smallestAge, std::chrono::days{14});
    EXPECT_EQ(rule.ownersCommand, Text{"mine clean"});
    const std::vector<ReclaimMatch> expected{
        {.places = {"$CACHE/mine"}, .names = {"*.o"}, .takesFiles = true, .takesFolders = false},
        {.folders = {"out"}, .beside = {"a"}, .holds = {"b"}},
        {.files = {"*.iso"}, .inPlaces = {"~/Downloads"}, .smallestBytes = 100'000'000},
        {.finder = ReclaimFinder::emptyFolders}};
    EXPECT_EQ(rule.matches, expected);
    EXPECT_FALSE(rule.asksDisk());
}

TEST(ReclaimCatalogue, refusesWhatCouldMatchMoreThanWasMeantWithItsLine) {
    struct Case {
        std::string match;
        std::int64_t line;
    };
    const std::vector<Case> cases{
        {"[[match]]\nplaces = [\"/\"]\n", 10},
        {"[[match]]\nplaces = [\"~\"]\n", 10},
        {"[[match]]\nplaces = [\"~/a/../..\"]\n", 10},
        {"[[match]]\nplaces = [\"~/*\"]\n", 10},
        {"[[match]]\nplaces = [\"~/*/cache\"]\n", 10},
        {"[[match]]\nplaces = [\"~/.cache/*\"]\n", 10},
        {"[[match]]\nplaces = [\"~//a\"]\n", 10},
        {"[[match]]\nplaces = [\"~anna/a\"]\n", 10},
        {"[[match]]\nplaces = [\"cache\"]\n", 10},
        {"[[match]]\nplaces = [\"$HOME/a\"]\n", 10},
        {"[[match]]\nplaces = []\n", 10},
        {"[[match]]\nplaces = [\n  \"~/a\",\n  \"/\"]\n", 12},
        {"[[match]]\nplaces = [\"~/a\"]\ntake = \"all\"\n", 11},
        {"[[match]]\nplaces = [\"~/a\"]\nholds = [\"b\"]\n", 11},
        {"[[match]]\nfolders = [\"*\"]\nholds = [\"b\"]\n", 10},
        {"[[match]]\nfolders = [\"build\"]\n", 9},
        {"[[match]]\nfolders = [\"a/b\"]\nholds = [\"c\"]\n", 10},
        {"[[match]]\nfolders = [\"..\"]\nholds = [\"c\"]\n", 10},
        {"[[match]]\nfolders = [\"a\"]\nholds = [\"*\"]\n", 11},
        {"[[match]]\nfiles = [\"**\"]\n", 10},
        {"[[match]]\nfiles = [\"*.iso\"]\nin = [\"/\"]\n", 11},
        {"[[match]]\nfinder = \"everything\"\n", 10},
        {"[[match]]\nfinder = \"large-old-files\"\n", 9},
        {"[[match]]\nplaces = [\"~/a\"]\nfiles = [\"b\"]\n", 9},
        {"[[match]]\n", 9},
        {"unknown = 1\n[[match]]\nplaces = [\"~/a\"]\n", 9},
        {"", 1},
        {"[[match]\n", 9},
    };
    for (const Case& each : cases) {
        const ReclaimCatalogue catalogue = catalogueOf(ruleWith(each.match));
        EXPECT_TRUE(catalogue.rules().empty()) << each.match;
        ASSERT_EQ(catalogue.problems().size(), 1U) << each.match;
        EXPECT_EQ(catalogue.problems().front().line, each.line)
            << each.match << catalogue.problems().front().message.view();
        EXPECT_EQ(catalogue.problems().front().file, Text{"mine.toml"});
    }
}

TEST(ReclaimCatalogue, refusesWordsThatItDoesNotKnow) {
    const std::string match = "[[match]]\nplaces = [\"~/a\"]\n";
    const std::string good = ruleWith(match);
    ASSERT_EQ(catalogueOf(good).rules().size(), 1U);
    const std::vector<std::pair<std::string, std::string>> changes{{"id = \"mine\"", "id = \"yours\""},
                                                                   {"\"macos\"", "\"windows\""},
                                                                   {"regenerates", "surely"},
                                                                   {"rank = 7", "rank = 101"},
                                                                   {"rank = 7", "shown-only = true"},
                                                                   {"rank = 7", "shown-only = 1"},
                                                                   {"2w", "2 weeks"},
                                                                   {"2w", "-2w"},
                                                                   {"\"It is large.\"", "\"\""},
                                                                   {"\"It is large.\"", "3"},
                                                                   {"title = \"Mine\"\n", ""},
                                                                   {"title = \"Mine\"\n", "[=]\n"},
                                                                   {"\"It is large.\"", "\"a\\u001bb\""}};
    for (const auto& [from, to] : changes) {
        std::string text = good;
        text.replace(text.find(from), from.size(), to);
        EXPECT_TRUE(catalogueOf(text).rules().empty()) << to;
        EXPECT_EQ(catalogueOf(text).problems().size(), 1U) << to;
    }
}

TEST(ReclaimCatalogue, aPersonsOwnRuleTakesThePlaceOfOurs) {
    const TemporaryFolder folder;
    std::string text = ruleWith("[[match]]\nplaces = [\"~/a\"]\n");
    ReclaimCatalogue catalogue = catalogueOf(text);
    text.replace(text.find("\"Mine\""), 6, "\"My own\"");
    folder.makeFile("mine.toml", text);
    folder.makeFile("broken.toml", "id = ");
    folder.makeFile("notes.txt", "nothing");
    catalogue.addFolder(Text{folder.path()});
    ASSERT_EQ(catalogue.rules().size(), 1U);
    EXPECT_EQ(catalogue.rules().front().title, Text{"My own"});
    ASSERT_EQ(catalogue.problems().size(), 1U);
    EXPECT_EQ(catalogue.problems().front().file, Text{folder / "broken.toml"});
}

TEST(ReclaimCatalogue, patternsStayWithinAName) {
    EXPECT_TRUE(fitsPattern("core.1234", "core.*"));
    EXPECT_TRUE(fitsPattern("a.tar.gz", "*.tar.*"));
    EXPECT_TRUE(fitsPattern("é.o", "?.o"));
    EXPECT_TRUE(fitsPattern("aab", "*a?"));
    EXPECT_TRUE(fitsPattern("", "*"));
    EXPECT_FALSE(fitsPattern("score.1", "core.*"));
    EXPECT_FALSE(fitsPattern("ab.o", "?.o"));
    EXPECT_FALSE(fitsPattern("a.iso.part", "*.iso"));
    EXPECT_FALSE(fitsPattern("A.ISO", "*.iso"));
}

}  // namespace KestrelCore
