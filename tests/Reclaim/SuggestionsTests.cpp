#include "KestrelCore/Reclaim/Suggestions.hpp"

#include "KestrelCore/Storage/SnapshotHistory.hpp"
#include "support/DescribedTree.hpp"
#include "support/GitRepository.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace KestrelCore {

namespace {

using testing::DescribedItem;
using testing::describedTree;

const Date now{800'000'000};
const Date old{600'000'000};

std::string ruleText(const std::string& id, const std::string& match, int rank = 50, const std::string& age = "0d",
                     const std::string& certainty = "regenerates") {
    return "id = \"" + id + "\"\ntitle = \"T\"\nsystems = [\"linux\", \"macos\"]\ncertainty = \"" + certainty +
           "\"\nrank = " + std::to_string(rank) + "\nsmallest-age = \"" + age +
           "\"\nwhy = \"W.\"\ncomes-back = \"C.\"\n[[match]]\n" + match;
}

class SuggestionsTest : public ::testing::Test {
protected:
    void add(const std::string& id, const std::string& match, int rank = 50, const std::string& age = "0d",
             const std::string& certainty = "regenerates") {
        catalogue_.add(ruleText(id, match, rank, age, certainty), Text{id + ".toml"});
        ASSERT_TRUE(catalogue_.problems().empty()) << catalogue_.problems().front().message.view();
    }

    Suggestions of(const std::vector<DescribedItem>& items, const std::vector<ScanIssue>& issues = {}) {
        const Generation generation = history_.add(describedTree(items, issues));
        settings_.now = now;
        return Suggestions::of(history_.open(generation.number), catalogue_, settings_).value();
    }
    /// "rule: path freed", in the order of the groups.
    std::vector<std::string> found(const std::vector<DescribedItem>& items, const std::vector<ScanIssue>& issues = {}) {
        std::vector<std::string> lines;
        for (const SuggestionGroup& group : of(items, issues).groups) {
            for (const SuggestedItem& item : group.items) {
                lines.push_back(group.rule.identifier.string() + ": " + item.record.path().string() + " " +
                                std::to_string(item.freedBytes));
            }
        }
        return lines;
    }

    using Lines = std::vector<std::string>;
    const std::string cache = "places = [\"~/.cache/a\"]\n";

    TemporaryFolder folder_{roomyTemporaryFolder()};
    SnapshotHistory history_{URL::fromPath(Text{folder_ / "history.sqlite"})};
    ReclaimCatalogue catalogue_{ReclaimCatalogue::Systems::all};
    SuggestionSettings settings_{.places = ReclaimPlaces::below("/home/anna")};
};

const std::string modules = "folders = [\"node_modules\"]\nbeside = [\"package.json\"]\n";

}  // namespace

TEST_F(SuggestionsTest, takesTheContentsOfAPlaceEachAsOneItem) {
    add("a", cache);
    const Suggestions all = of({{.path = "/home/anna/.cache/a/x/1", .bytes = 5000, .modified = old},
                                {.path = "/home/anna/.cache/a/x/2", .bytes = 3000},
                                {.path = "/home/anna/.cache/a/f", .bytes = 100},
                                {.path = "/home/anna/.cache/a/l", .isLink = true},
                                {.path = "/home/anna/.cache/b", .bytes = 100}});
    ASSERT_EQ(all.groups.size(), 1U);
    const SuggestionGroup& group = all.groups.front();
    EXPECT_EQ(group.itemCount, 2);
    EXPECT_EQ(group.itemsBelow, 2);
    EXPECT_EQ(group.freedBytes, 8100);
    EXPECT_EQ(all.freedBytes, 8100);
    ASSERT_EQ(group.items.size(), 2U);
    EXPECT_EQ(group.items[0].record.path(), Text{"/home/anna/.cache/a/x"});
    EXPECT_EQ(group.items[0].record.displayBytes(), 8000);
    EXPECT_EQ(group.items[0].itemsBelow, 2);
    EXPECT_EQ(group.items[0].newestChange, old);
    EXPECT_EQ(group.items[1].record.path(), Text{"/home/anna/.cache/a/f"});
}

TEST_F(SuggestionsTest, onlyTheLargestOfAGroupBecomeRecords) {
    add("a", cache);
    settings_.mostItems = 1;
    const Suggestions all = of({{.path = "/home/anna/.cache/a/1", .bytes = 10},
                                {.path = "/home/anna/.cache/a/2", .bytes = 30},
                                {.path = "/home/anna/.cache/a/3", .bytes = 20}});
    ASSERT_EQ(all.groups.front().items.size(), 1U);
    EXPECT_EQ(all.groups.front().items.front().freedBytes, 30);
    EXPECT_EQ(all.groups.front().itemCount, 3);
    EXPECT_EQ(all.groups.front().freedBytes, 60);
}

TEST_F(SuggestionsTest, aFolderNeedsItsWitness) {
    add("m", modules + "holds = [\".lock\"]\n");
    const std::vector<DescribedItem> items{{.path = "/home/anna/p/node_modules/x", .bytes = 10},
                                           {.path = "/home/anna/p/node_modules/.lock", .bytes = 0},
                                           {.path = "/home/anna/p/package.json"},
                                           {.path = "/home/anna/q/node_modules/.lock", .bytes = 0},
                                           {.path = "/home/anna/r/node_modules/x", .bytes = 10},
                                           {.path = "/home/anna/r/package.json"},
                                           {.path = "/srv/s/node_modules/.lock"},
                                           {.path = "/srv/s/package.json"}};
    EXPECT_EQ(found(items), (Lines{"m: /home/anna/p/node_modules 10"}));
    const std::vector<Text> witnesses{"/home/anna/p/node_modules/.lock", "/home/anna/p/package.json"};
    std::vector<Text> told = of(items).groups.front().items.front().witnesses;
    std::ranges::sort(told, {}, [](const Text& text) { return text.view(); });
    EXPECT_EQ(told, witnesses);
    // A folder that the person names is their own.
    settings_.folder = "/srv/s";
    EXPECT_EQ(found(items), (Lines{"m: /srv/s/node_modules 4096"}));
}

TEST_F(SuggestionsTest, neverTakesWhatHoldsSomethingYoung) {
    add("a", cache, 50, "30d");
    EXPECT_EQ(found({{.path = "/home/anna/.cache/a/old/1", .bytes = 1, .modified = old},
                     {.path = "/home/anna/.cache/a/new/1", .bytes = 1, .modified = old},
                     {.path = "/home/anna/.cache/a/new/deep/2", .bytes = 1, .modified = now.addingSeconds(-86'400)},
                     // Unpacked today, of files that are older than the program that made them.
                     {.path = "/home/anna/.cache/a/unpacked/", .bytes = 0, .modified = now.addingSeconds(-3600)},
                     {.path = "/home/anna/.cache/a/unpacked/3", .bytes = 1, .modified = old},
                     {.path = "/home/anna/.cache/a/young", .bytes = 1, .modified = now.addingSeconds(3600)},
                     {.path = "/home/anna/.cache/a/ageless", .bytes = 1}}),
              (Lines{"a: /home/anna/.cache/a/old 1"}));
}

TEST_F(SuggestionsTest, aPartOfWhatHasToStayStays) {
    add("m", modules, 50, "30d");
    EXPECT_EQ(found({{.path = "/home/anna/p/package.json"},
                     {.path = "/home/anna/p/node_modules/new/x", .modified = now},
                     {.path = "/home/anna/p/node_modules/old/package.json", .modified = old},
                     {.path = "/home/anna/p/node_modules/old/node_modules/x", .modified = old}}),
              Lines{});
}

TEST_F(SuggestionsTest, neverTakesWhatIsUnderVersionControlAMountOrUnknown) {
    add("a", cache);
    const std::string place = "/home/anna/.cache/a/";
    EXPECT_EQ(found({{.path = place + "clone/.git/config"},
                     {.path = place + "tree/deep/.git", .bytes = 10},
                     {.path = place + "svn/x/.svn/y"},
                     {.path = place + "locked/x", .bytes = 10},
                     {.path = place + "disk/mounted/", .bytes = 0, .identity = FileIdentity{.device = 9, .inode = 2}},
                     {.path = place + "mount/", .bytes = 0, .identity = FileIdentity{.device = 9, .inode = 2}},
                     {.path = place + "fine/.gitignore", .bytes = 10}},
                    {{.path = Text{place + "locked/deep"}, .message = "No."}}),
              (Lines{"a: /home/anna/.cache/a/fine 10"}));
}

TEST_F(SuggestionsTest, takesNoPartOfARepositoryUnderWhateverName) {
    add("place", "places = [\"~/.cargo/git/db\"]\ntake = \"item\"\n");
    add("empty", "finder = \"empty-folders\"\n", 90);
    add("large", "finder = \"large-old-files\"\nsmallest-size = \"1kB\"\n", 95, "1d", "yours");
    add("m", modules);
    std::vector<DescribedItem> items{{.path = "/home/anna/m/package.json", .modified = now},
                                     {.path = "/home/anna/n/package.json", .modified = now},
                                     {.path = "/home/anna/n/node_modules/x", .modified = now},
                                     // Called as in a repository, and none.
                                     {.path = "/home/anna/thesis/objects/", .bytes = 0, .modified = old},
                                     {.path = "/home/anna/thesis/refs/list.bib", .bytes = 5000, .modified = old}};
    for (const std::string store : {"/home/anna/sync/proj.git", "/home/anna/backup/odd", "/home/anna/p/.git",
                                    "/home/anna/m/node_modules/bare", "/home/anna/.cargo/git/db/crate-1"}) {
        items.push_back({.path = store + "/HEAD", .bytes = 23, .modified = old});
        items.push_back({.path = store + "/objects/info/", .bytes = 0, .modified = old});
        items.push_back({.path = store + "/objects/pack/pack-1.pack", .bytes = 5000, .modified = old});
        items.push_back({.path = store + "/refs/tags/", .bytes = 0, .modified = old});
    }
    EXPECT_EQ(found(items),
              (Lines{"place: /home/anna/.cargo/git/db 5023", "m: /home/anna/n/node_modules 4096",
                     "empty: /home/anna/thesis/objects 0", "large: /home/anna/thesis/refs/list.bib 5000"}));
}

TEST_F(SuggestionsTest, neverTakesWhatARepositoryAboveTracks) {
    add("o", "folders = [\"build\", \"inner\"]\nholds = [\"w\"]\n");
    add("l", "files = [\"*.log\"]\n", 60);
    const TemporaryFolder home;
    settings_.places = ReclaimPlaces::below(Text{home.path()});
    std::vector<DescribedItem> items;
    for (const char* name : {"p/build/w", "p/build/inner/w", "p/a/build/w", "p/a.log", "p/b.log", "q/build/w"}) {
        home.makeFile(name, "content");
        items.push_back({.path = home / name, .bytes = 10});
    }
    testing::git(home.path(), "init p");
    testing::git(home / "p", "add build/w a.log");
    items.push_back({.path = home / "p/.git/index", .bytes = 10});
    // The folder in the tracked one is a part of it.
    EXPECT_EQ(found(items), (Lines{"o: " + home / "p/a/build" + " 10", "o: " + home / "q/build" + " 10",
                                   "l: " + home / "p/b.log" + " 10"}));
    const Suggestions before = of(items);
    settings_.readsRepositories = false;
    EXPECT_EQ(of(items).groups.at(0).itemCount, 3);
    // What is added after the question is kept by the look before it goes.
    testing::git(home / "p", "add a/build");
    const auto objections = Suggestions::objections(before.groups.at(0).items, settings_);
    ASSERT_EQ(objections.size(), 2U);
    EXPECT_EQ(objections[0],
              Text{home / "p/a/build" + " is tracked by the repository " + home / "p" + ", or holds what is."});
    EXPECT_EQ(objections[1], std::nullopt);
    // Left out of a list, it counts for nothing.
    Suggestions after = before;
    after.leaveOutObjections(settings_);
    ASSERT_EQ(after.groups.size(), 2U);
    ASSERT_EQ(after.groups.at(0).items.size(), 1U);
    EXPECT_EQ(after.groups.at(0).items.front().record.path(), Text{home / "q/build"});
    EXPECT_EQ(after.groups.at(0).itemCount, 1);
    EXPECT_EQ(after.groups.at(0).itemsBelow, 1);
    EXPECT_EQ(after.groups.at(0).freedBytes, 10);
    EXPECT_EQ(after.freedBytes, before.freedBytes - 10);
    testing::git(home / "p", "add b.log");
    after.leaveOutObjections(settings_);
    ASSERT_EQ(after.groups.size(), 1U);
    EXPECT_EQ(after.freedBytes, 10);
}

TEST_F(SuggestionsTest, whatWasThrownAwayIsKeptByNoRepositoryAround) {
    add("t", "places = [\"$TRASH\"]\n");
    const TemporaryFolder home;
    settings_.places = ReclaimPlaces::below(Text{home.path()});
    const std::string thrown = settings_.places.trash.string() + "/files/thrown";
    std::filesystem::create_directories(thrown);
    std::ofstream{thrown + "/w"} << "content";
    testing::git(home.path(), "init -q && git add .");
    const Suggestions all = of({{.path = thrown + "/w", .bytes = 10}});
    ASSERT_EQ(all.groups.size(), 1U);
    EXPECT_EQ(Suggestions::objection(all.groups.front().items.front(), settings_), std::nullopt);
}

TEST_F(SuggestionsTest, neverLooksIntoOtherPeoplesHomes) {
    add("m", modules);
    add("s", "places = [\"/home/bob/.cache\", \"/root/.cache\", \"/var/cache/x\"]\n");
    const std::vector<DescribedItem> items{{.path = "/home/bob/p/package.json"},
                                           {.path = "/home/bob/p/node_modules/x"},
                                           {.path = "/home/bob/.cache/x"},
                                           {.path = "/root/.cache/x"},
                                           {.path = "/var/cache/x/y", .bytes = 5}};
    EXPECT_EQ(found(items), (Lines{"s: /var/cache/x/y 5"}));
    settings_.folder = "/home/bob";
    EXPECT_EQ(found(items), Lines{});
}

TEST_F(SuggestionsTest, everyItemBelongsToTheRuleThatClaimsItFirst) {
    add("special", "places = [\"~/.cache/a/x\"]\n", 10);
    add("general", "places = [\"~/.cache\"]\n", 90);
    add("same-yours", cache, 50, "0d", "yours");
    add("same", cache, 50);
    EXPECT_EQ(found({{.path = "/home/anna/.cache/a/x/1", .bytes = 1},
                     {.path = "/home/anna/.cache/a/y", .bytes = 2},
                     {.path = "/home/anna/.cache/b/1", .bytes = 4}}),
              (Lines{"general: /home/anna/.cache/b 4", "same: /home/anna/.cache/a/y 2",
                     "special: /home/anna/.cache/a/x/1 1"}));
}

TEST_F(SuggestionsTest, ofOneRankTheOutermostFolderHasWhatIsInIt) {
    add("inner", "folders = [\"inner\"]\nholds = [\"w\"]\n");
    add("outer", "folders = [\"outer\"]\nholds = [\"w\"]\n", 50, "0d", "downloads-again");
    EXPECT_EQ(found({{.path = "/home/anna/outer/w", .bytes = 1},
                     {.path = "/home/anna/outer/inner/w", .bytes = 2},
                     {.path = "/home/anna/inner/w", .bytes = 4}}),
              (Lines{"inner: /home/anna/inner 4", "outer: /home/anna/outer 3"}));
}

TEST_F(SuggestionsTest, linksComeFreeWithTheLastName) {
    add("a", cache);
    add("b", "places = [\"~/.cache/b\"]\n");
    const FileIdentity shared{.device = 7, .inode = 1};
    const FileIdentity staying{.device = 7, .inode = 2};
    const FileIdentity inside{.device = 7, .inode = 3};
    const Suggestions all =
        of({{.path = "/home/anna/.cache/a/one/1", .bytes = 1000, .identity = shared},
            {.path = "/home/anna/.cache/a/two/1", .bytes = 1000, .isFurtherName = true, .identity = shared},
            {.path = "/home/anna/.cache/b/3", .bytes = 200, .identity = staying},
            {.path = "/home/anna/kept", .bytes = 200, .isFurtherName = true, .identity = staying},
            {.path = "/home/anna/.cache/a/in/1", .bytes = 30, .identity = inside},
            {.path = "/home/anna/.cache/a/in/2", .bytes = 30, .isFurtherName = true, .identity = inside}});
    EXPECT_EQ(all.freedBytes, 1030);
    std::map<std::string, std::int64_t> freed;
    for (const SuggestionGroup& group : all.groups) {
        freed[group.rule.identifier.string()] = group.freedBytes;
        for (const SuggestedItem& item : group.items) freed[item.record.path().string()] = item.freedBytes;
    }
    const std::map<std::string, std::int64_t> expected{
        {"a", 1030}, {"/home/anna/.cache/a/one", 0}, {"/home/anna/.cache/a/two", 0}, {"/home/anna/.cache/a/in", 30},
        {"b", 0},    {"/home/anna/.cache/b/3", 0}};
    EXPECT_EQ(freed, expected);
}

TEST_F(SuggestionsTest, findsFilesByNameSizeAndAge) {
    add("iso", "files = [\"*.iso\"]\nin = [\"~/Downloads\"]\nsmallest-size = \"1kB\"\n", 50, "30d");
    add("part", "files = [\"*.part\"]\n", 60);
    EXPECT_EQ(found({{.path = "/home/anna/Downloads/deep/a.iso", .bytes = 2000, .modified = old},
                     {.path = "/home/anna/Downloads/small.iso", .bytes = 999, .modified = old},
                     {.path = "/home/anna/Downloads/new.iso", .bytes = 2000, .modified = now},
                     {.path = "/home/anna/a.iso", .bytes = 2000, .modified = old},
                     {.path = "/home/anna/b.part", .bytes = 3},
                     {.path = "/home/anna/.part/c", .bytes = 3},
                     {.path = "/srv/c.part", .bytes = 3}}),
              (Lines{"iso: /home/anna/Downloads/deep/a.iso 2000", "part: /home/anna/b.part 3"}));
}

TEST_F(SuggestionsTest, findsLargeOldFilesAndEmptyFolders) {
    add("large", "finder = \"large-old-files\"\nsmallest-size = \"1MB\"\n", 95, "1y", "yours");
    add("empty", "finder = \"empty-folders\"\n", 90, "30d");
    EXPECT_EQ(found({{.path = "/home/anna/x/big", .bytes = 1'000'000, .modified = old},
                     {.path = "/home/anna/x/new", .bytes = 1'000'000, .modified = now},
                     {.path = "/home/anna/x/e/f/", .bytes = 0, .modified = old},
                     {.path = "/home/anna/x/young/", .bytes = 0, .modified = now},
                     {.path = "/home/anna/Desktop/", .bytes = 0, .modified = old},
                     {.path = "/home/anna/.p/q/", .bytes = 0, .modified = old},
                     {.path = "/home/anna/.p/r", .bytes = 10, .modified = old},
                     {.path = "/srv/big", .bytes = 1'000'000, .modified = old}}),
              (Lines{"empty: /home/anna/x/e 0", "large: /home/anna/x/big 1000000"}));
}

TEST_F(SuggestionsTest, narrowsToRulesWithoutGivingThemWhatOthersClaim) {
    add("special", "places = [\"~/.cache/a/x\"]\n", 10);
    add("general", cache, 90);
    settings_.onlyRules = {"general"};
    const Suggestions narrowed =
        of({{.path = "/home/anna/.cache/a/x/1", .bytes = 1}, {.path = "/home/anna/.cache/a/y", .bytes = 2}});
    ASSERT_EQ(narrowed.groups.size(), 1U);
    EXPECT_EQ(narrowed.groups.front().freedBytes, 2);
    EXPECT_EQ(narrowed.freedBytes, 2);
}

}  // namespace KestrelCore
