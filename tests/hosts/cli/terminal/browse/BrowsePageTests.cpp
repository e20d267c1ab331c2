#include "output/TerminalText.hpp"
#include "support/BrowsePages.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace KestrelCLI {

namespace {

using namespace KestrelCore;
using testing::HasSubstr;
using testing::Not;
using Kind = ScreenKey::Kind;

std::shared_ptr<BrowseFolder> usual() {
    return sampleFolder("/top", {{"archive/", 4'000'000'000, 120, 500'000'000, 1.6e9, 3'900'000'000},
                                 {"b.iso", 2'000'000'000, 0, 0, 1.5e9, 2'000'000'000},
                                 {".cache/", 1'000'000'000, 9000, -200'000'000, 1.7e9, 990'000'000},
                                 {"notes.txt", 4096, 0, 4096, 1.2e9, 12}});
}

TEST_F(BrowsePageTest, asksForNothingBeforeAKeyAndSaysThatItReads) {
    EXPECT_THAT(text(), HasSubstr("Reading"));
    EXPECT_THAT(text(), HasSubstr("/top"));
}

TEST_F(BrowsePageTest, showsTheLargestFirstWithItsColumns) {
    show(usual());
    const std::string shown = text();
    EXPECT_THAT(chosen(), HasSubstr("archive/"));
    EXPECT_LT(shown.find("archive/"), shown.find("b.iso"));
    EXPECT_LT(shown.find("b.iso"), shown.find(".cache/"));
    EXPECT_THAT(shown, HasSubstr("4.00 GB"));
    EXPECT_THAT(shown, HasSubstr("+500 MB"));
    EXPECT_THAT(shown, HasSubstr("-200 MB"));
    EXPECT_THAT(shown, HasSubstr("9,000"));
    EXPECT_THAT(shown, HasSubstr("2017-07-1"));  // of the second, by the local clock
}

TEST_F(BrowsePageTest, sortsByEveryColumnAndTurnsAround) {
    show(usual());
    const auto first = [this] { return chosen(); };
    press(U"n");
    EXPECT_THAT(first(), HasSubstr("archive/"));
    press(U"n");
    EXPECT_THAT(first(), HasSubstr("notes.txt"));
    press(U"c");
    EXPECT_THAT(first(), HasSubstr(".cache/"));
    press(U"m");
    EXPECT_THAT(first(), HasSubstr(".cache/"));
    press(U"m");
    EXPECT_THAT(first(), HasSubstr("notes.txt"));
    press(U"s");
    EXPECT_THAT(first(), HasSubstr("archive/"));
    press(U"s");
    EXPECT_THAT(first(), HasSubstr("notes.txt"));
}

TEST_F(BrowsePageTest, sortsByGrowthOnceNoSecondGCame) {
    show(usual());
    press(U"s");
    press(U"s");
    press(Kind::end);
    press(U"g");
    EXPECT_TRUE(page.awaitsKey());
    EXPECT_THAT(chosen(), HasSubstr("notes.txt"));
    note(page.pause());
    EXPECT_FALSE(page.awaitsKey());
    EXPECT_THAT(chosen(), HasSubstr("archive/"));
    press(Kind::end);
    EXPECT_THAT(chosen(), HasSubstr(".cache/"));
    // Two of them go to the top.
    press(U"gg");
    EXPECT_THAT(chosen(), HasSubstr("archive/"));
    EXPECT_FALSE(page.awaitsKey());
}

TEST_F(BrowsePageTest, saysWhereThereIsNothingToCompareWith) {
    show(sampleFolder("/top", {{"a", 1}}));
    press(U"g");
    note(page.pause());
    EXPECT_THAT(text(), HasSubstr("no scan before this one"));
}

TEST_F(BrowsePageTest, showsLengthsOrWhatIsTaken) {
    show(usual());
    EXPECT_THAT(text(), HasSubstr("4.10 kB"));
    press(U"a");
    EXPECT_THAT(text(), HasSubstr("12 B"));
    EXPECT_THAT(text(), HasSubstr("length"));
}

TEST_F(BrowsePageTest, leavesHiddenItemsOutAndSaysHowMany) {
    show(usual());
    press(U".");
    EXPECT_THAT(text(), Not(HasSubstr(".cache/")));
    EXPECT_THAT(text(), HasSubstr("1 hidden"));
    press(U".");
    EXPECT_THAT(text(), HasSubstr(".cache/"));
}

TEST_F(BrowsePageTest, goesIntoAFolderAndBackToWhereItWas) {
    show(usual());
    press(Kind::down);
    press(Kind::down);
    press(Kind::enter);
    EXPECT_EQ(asked<ReadFolder>().path, "/top/.cache");
    EXPECT_EQ(page.folder(), "/top/.cache");
    show(sampleFolder("/top/.cache", {{"x", 5}, {"y", 4}}));
    EXPECT_THAT(chosen(), HasSubstr("x"));
    press(Kind::backspace);
    EXPECT_EQ(asked<ReadFolder>().path, "/top");
    show(usual());
    EXPECT_THAT(chosen(), HasSubstr(".cache/"));
}

TEST_F(BrowsePageTest, keepsKeysForTheFolderThatIsBeingRead) {
    show(usual());
    press(Kind::enter);
    press(Kind::down);
    press(U" ");
    EXPECT_TRUE(requests.empty());
    show(sampleFolder("/top/archive", {{"one", 9}, {"two", 5}}));
    EXPECT_EQ(asked<MeasureMarks>().paths, std::vector<Text>{"/top/archive/two"});
}

TEST_F(BrowsePageTest, takesNoAnswerForAFolderThatWasLeft) {
    show(usual());
    press(Kind::enter);
    show(usual());
    EXPECT_THAT(text(), HasSubstr("Reading"));
}

TEST_F(BrowsePageTest, staysAtTheTopOfTheScan) {
    auto top = usual();
    top->hasParent = false;
    show(top);
    press(U"h");
    EXPECT_TRUE(requests.empty());
    EXPECT_THAT(text(), HasSubstr("top of the scan"));
}

TEST_F(BrowsePageTest, keepsTheChosenItemWhenTheFolderIsReadAgain) {
    show(usual());
    press(Kind::down);
    show(sampleFolder("/top", {{"new", 9'000'000'000}, {"archive/", 4'000'000'000}, {"b.iso", 2'000'000'000}}));
    EXPECT_THAT(chosen(), HasSubstr("b.iso"));
    // When it is gone its place is kept.
    show(sampleFolder("/top", {{"new", 9'000'000'000}, {"archive/", 4'000'000'000}, {"c.iso", 1'000'000'000}}));
    EXPECT_THAT(chosen(), HasSubstr("c.iso"));
}

TEST_F(BrowsePageTest, staysAtTheLargestWhileAScanFindsMoreUntilSomebodyMoves) {
    show(sampleFolder("/top", {{"first", 5}}));
    EXPECT_THAT(chosen(), HasSubstr("first"));
    const auto second = sampleFolder("/top", {{"large", 6}, {"first", 5}});
    show(second);
    page.take(BrowseNameOrder{.folder = second, .ranks = {1, 0}});
    show(sampleFolder("/top", {{"larger", 9}, {"first", 5}}));
    EXPECT_THAT(chosen(), HasSubstr("larger"));
    press(Kind::up);
    show(sampleFolder("/top", {{"largest", 12}, {"larger", 9}, {"first", 5}}));
    EXPECT_THAT(chosen(), HasSubstr("larger"));
}

TEST_F(BrowsePageTest, marksCountWhatComesFreeOnceItIsMeasured) {
    show(usual());
    press(U" ");
    const auto first = asked<MeasureMarks>();
    EXPECT_EQ(first.paths, std::vector<Text>{"/top/archive"});
    EXPECT_THAT(text(), HasSubstr("1 marked, 4.00 GB …"));
    press(U" ");
    const auto both = asked<MeasureMarks>();
    EXPECT_THAT(both.paths, testing::ElementsAre(Text{"/top/archive"}, Text{"/top/b.iso"}));
    // An answer to the earlier question says nothing about these.
    page.takeFreedBytes(3'000'000'000, first.version);
    EXPECT_THAT(text(), Not(HasSubstr("come free")));
    page.takeFreedBytes(5'000'000'000, both.version);
    EXPECT_THAT(text(), HasSubstr("2 marked, 5.00 GB would come free"));
    press(U"u");
    EXPECT_THAT(text(), Not(HasSubstr("marked")));
}

TEST_F(BrowsePageTest, marksAllAndPlansThemAsTheyWereShown) {
    show(usual());
    press(U"*t");
    const auto plan = asked<PlanDeletion>();
    EXPECT_EQ(plan.items.size(), 4U);
    EXPECT_EQ(plan.mode, DeletionMode::trash);
    EXPECT_FALSE(plan.includesHighRisk);
}

TEST_F(BrowsePageTest, whatLiesBelowAMarkedFolderGoesWithIt) {
    show(usual());
    press(U" ");
    press(Kind::home);
    press(Kind::enter);
    show(sampleFolder("/top/archive", {{"one", 9}}));
    press(U" ");
    EXPECT_THAT(text(), HasSubstr("goes with a folder above"));
    press(U"t");
    EXPECT_EQ(asked<PlanDeletion>().items.size(), 1U);
}

BrowsePlan samplePlan(DeletionMode mode) {
    BrowsePlan plan{.mode = mode, .items = {}};
    plan.items.push_back({.path = "/top/b.iso", .bytes = 2'000'000'000, .refusal = {}});
    plan.items.push_back(
        {.path = "/top/etc", .bytes = 5, .risk = RiskLevel::blocked, .refusal = "It is the system's."});
    plan.going = 1;
    plan.freedBytes = 2'000'000'000;
    return plan;
}

TEST_F(BrowsePageTest, showsThePlanAndOnlyAYesCarriesItOut) {
    show(usual());
    press(U"t");
    EXPECT_THAT(text(), HasSubstr("Looking at what would go"));
    press(U"y");
    EXPECT_TRUE(requests.empty()) << "a yes to what is not shown yet";
    page.takePlan(samplePlan(DeletionMode::trash));
    EXPECT_THAT(text(), HasSubstr("/top/b.iso"));
    EXPECT_THAT(text(), HasSubstr("Stays: It is the system's."));
    EXPECT_THAT(text(), HasSubstr("Move 1 item (2.00 GB) to the Trash? [y/N]"));
    press(U"n");
    EXPECT_TRUE(requests.empty());
    EXPECT_THAT(text(), Not(HasSubstr("[y/N]")));

    press(U"t");
    page.takePlan(samplePlan(DeletionMode::trash));
    press(U"y");
    (void)asked<CarryOutPlan>();
    EXPECT_TRUE(page.isActing());
    EXPECT_THAT(text(), HasSubstr("0 of 1 done"));
    EXPECT_THAT(text(), HasSubstr("Now: /top/b.iso"));
    page.takeProgress(1);
    EXPECT_THAT(text(), HasSubstr("1 of 1 done"));
    press(U"q");
    EXPECT_FALSE(isOver) << "nothing is left half-way";
    press(Kind::escape);
    (void)asked<StopAction>();
    note(page.takeResults(
        {.summary = "Moved 1 item.", .items = {{"/top/b.iso", true, "Moved to Trash."}}, .gone = {"/top/b.iso"}}));
    EXPECT_FALSE(page.isActing());
    EXPECT_EQ(asked<ReadFolder>().path, "/top");
    EXPECT_THAT(text(), HasSubstr("Moved 1 item."));
}

TEST_F(BrowsePageTest, removingForGoodNeedsAWordThatIsTyped) {
    show(usual());
    press(U"D");
    EXPECT_EQ(asked<PlanDeletion>().mode, DeletionMode::permanent);
    page.takePlan(samplePlan(DeletionMode::permanent));
    press(U"y");
    EXPECT_FALSE(page.isActing());
    press(Kind::backspace);
    press(U"delete");
    press(Kind::enter);
    EXPECT_TRUE(requests.empty());
    EXPECT_THAT(text(), HasSubstr("The word is DELETE"));
    press(U"DELETE");
    EXPECT_THAT(text(), HasSubstr("DELETE_"));
    EXPECT_TRUE(requests.empty());
    press(Kind::enter);
    EXPECT_EQ(asked<CarryOutPlan>().typed, "DELETE");
}

TEST_F(BrowsePageTest, plansAgainWithItemsOfHighRisk) {
    show(usual());
    press(U"t");
    BrowsePlan plan = samplePlan(DeletionMode::trash);
    plan.hasHighRisk = true;
    page.takePlan(plan);
    EXPECT_THAT(text(), HasSubstr("h lets items of high risk go"));
    press(U"h");
    EXPECT_TRUE(asked<PlanDeletion>().includesHighRisk);
    EXPECT_EQ(std::get<PlanDeletion>(requests.front()).items.size(), 1U);
}

TEST_F(BrowsePageTest, goneItemsLoseTheirMarks) {
    show(usual());
    press(U"*t");
    page.takePlan(samplePlan(DeletionMode::trash));
    press(U"y");
    note(page.takeResults({.summary = "Moved.", .items = {}, .gone = {"/top/archive", "/top/b.iso"}}));
    // What is left may free something else now.
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(std::get<MeasureMarks>(requests.back()).paths.size(), 2U);
    press(Kind::escape);
    EXPECT_THAT(text(), HasSubstr("2 marked"));
}

TEST_F(BrowsePageTest, takesNothingAwayWhereItIsForLookingOnly) {
    BrowsePage readOnly{session, Characters::unicode, "/top", {.whyReadOnly = "It is for looking only."}};
    begin(readOnly);
    (void)readOnly.take(usual());
    for (const char32_t key : {U't', U'D', U'z', U'!'}) {
        const auto outcome = readOnly.press(typed(key), 100, 20);
        EXPECT_TRUE(outcome.requests.empty());
        EXPECT_THAT(pageText(readOnly.lines(100, 20)), HasSubstr("It is for looking only."));
    }
    EXPECT_TRUE(readOnly.press({.kind = Kind::remove}, 100, 20).requests.empty());
}

TEST_F(BrowsePageTest, takesNothingAwayWhileAScanRuns) {
    page.setScan({.scan = {}, .earlier = {}, .isScanning = true});
    show(usual());
    press(U"t");
    EXPECT_TRUE(requests.empty());
    EXPECT_THAT(text(), HasSubstr("A scan runs"));
    press(U"z");
    EXPECT_TRUE(requests.empty());
}

std::shared_ptr<BrowseFound> foundFor(const FindBelow& query, const std::vector<std::string>& names) {
    auto found = std::make_shared<BrowseFound>();
    found->number = query.number;
    found->folder = query.folder;
    for (const std::string& name : names) {
        const Text path{query.folder.string() + "/" + name};
        found->records.push_back(
            FileRecord{{.path = path, .name = name.substr(name.rfind('/') + 1), .allocatedBytes = 5000}});
    }
    found->matches = static_cast<std::int64_t>(names.size());
    return found;
}

TEST_F(BrowsePageTest, findsAsWordsAreTypedAndTakesTheLastAnswerOnly) {
    show(usual());
    press(U"/");
    EXPECT_TRUE(requests.empty()) << "nothing is typed yet";
    press(U"r");
    const auto first = asked<FindBelow>();
    press(U"e");
    const auto second = asked<FindBelow>();
    EXPECT_EQ(second.words, "re");
    EXPECT_THAT(second.filter.inFolders, testing::ElementsAre(Text{"/top"}));
    page.take(foundFor(first, {"old"}));
    EXPECT_THAT(text(), Not(HasSubstr("old")));
    page.take(foundFor(second, {"deep/report.pdf", "rest"}));
    EXPECT_THAT(text(), HasSubstr("deep/report.pdf"));
    EXPECT_THAT(text(), HasSubstr("2 items"));
    // Letters that are keys elsewhere are letters here.
    press(U"q");
    EXPECT_FALSE(isOver);
    press(Kind::backspace);
    EXPECT_EQ(asked<FindBelow>().words, "re");
}

TEST_F(BrowsePageTest, showsWhatWasFoundInItsFolder) {
    show(usual());
    press(U"f");
    const auto query = asked<FindBelow>();
    EXPECT_EQ(query.order, SearchOrder::size);
    page.take(foundFor(query, {"archive/deep/large.bin", "b.iso"}));
    press(Kind::enter);
    EXPECT_EQ(asked<ReadFolder>().path, "/top/archive/deep");
    show(sampleFolder("/top/archive/deep", {{"another", 9000}, {"large.bin", 5000}}));
    EXPECT_THAT(chosen(), HasSubstr("large.bin"));
}

std::shared_ptr<BrowsePicture> pictureOf(const std::shared_ptr<BrowseFolder>& folder) {
    auto picture = std::make_shared<BrowsePicture>();
    picture->folder = folder;
    for (const BrowseItem& item : folder->items)
        picture->items.push_back({.name = item.record().name().string(), .bytes = item.record().displayBytes()});
    return picture;
}

TEST_F(BrowsePageTest, showsThePictureWithTheItemThatIsChosen) {
    const auto folder = usual();
    show(folder);
    press(Kind::down);
    press(U"p");
    EXPECT_EQ(asked<ReadPicture>().folder, folder);
    page.take(pictureOf(folder));
    EXPECT_THAT(chosen(), HasSubstr("b.iso"));
    // To the largest, which is at the left, by an arrow or by a letter; and back in the list it is chosen still.
    press(Kind::left);
    EXPECT_THAT(chosen(), HasSubstr("archive"));
    press(U"l");
    EXPECT_THAT(chosen(), Not(HasSubstr("archive")));
    press(U"h");
    EXPECT_THAT(chosen(), HasSubstr("archive"));
    press(U"p");
    EXPECT_THAT(text(), HasSubstr("size▼"));
    EXPECT_THAT(chosen(), HasSubstr("archive/"));
}

TEST_F(BrowsePageTest, choosesAndOpensInThePictureByTheMouse) {
    const auto folder = usual();
    show(folder);
    press(Kind::down);
    press(U"p");
    page.take(pictureOf(folder));
    (void)text();
    press({.kind = Kind::click, .character = 0, .row = 4, .column = 3});
    EXPECT_THAT(chosen(), HasSubstr("archive"));
    press({.kind = Kind::doubleClick, .character = 0, .row = 4, .column = 3});
    EXPECT_EQ(asked<ReadFolder>().path, "/top/archive");
    // The picture goes along.
    show(sampleFolder("/top/archive", {{"one", 9}}));
    EXPECT_EQ(asked<ReadPicture>().folder->path, "/top/archive");
}

TEST_F(BrowsePageTest, aPictureOfAnotherReadingIsNotShown) {
    show(usual());
    press(U"p");
    page.take(pictureOf(sampleFolder("/top", {{"other", 5}})));
    EXPECT_THAT(text(), Not(HasSubstr("other")));
}

TEST_F(BrowsePageTest, aPictureOfManyHasOneTileForAllThatAreTooMany) {
    const auto folder = usual();
    show(folder);
    press(Kind::end);
    press(U"p");
    auto picture = pictureOf(folder);
    picture->items.pop_back();
    picture->items.back().name = "2 smaller items";
    page.take(picture);
    EXPECT_THAT(text(), HasSubstr("notes.txt"));
    press({.kind = Kind::click, .character = 0, .row = 16, .column = 98});
    EXPECT_THAT(text(), HasSubstr(".cache"));
}

TEST_F(BrowsePageTest, namesAreInNaturalOrderOnceThatIsKnown) {
    const auto folder = sampleFolder("/top", {{"b10", 5}, {"b9", 4}, {"a", 3}});
    show(folder);
    press(U"n");
    EXPECT_THAT(chosen(), HasSubstr("b10"));
    press(Kind::up);
    page.take(BrowseNameOrder{.folder = folder, .ranks = {2, 1, 0}});
    EXPECT_THAT(chosen(), HasSubstr("b10"));
    press(Kind::home);
    EXPECT_THAT(chosen(), HasSubstr("a"));
    // That of another reading says nothing about this one.
    page.take(BrowseNameOrder{.folder = sampleFolder("/top", {{"x", 1}, {"y", 1}, {"z", 1}}), .ranks = {0, 1, 2}});
    press(Kind::home);
    EXPECT_THAT(chosen(), Not(HasSubstr("b10")));
}

TEST_F(BrowsePageTest, asksBeforeItPutsBackAndIsBusyUntilThatIsDone) {
    show(usual());
    press(U"z");
    (void)asked<LookForTrashed>();
    page.takeTrashed("one", "Put back ~/a, trashed 3 days ago? [y/N]");
    EXPECT_THAT(text(), HasSubstr("trashed 3 days ago? [y/N]"));
    press(U"n");
    EXPECT_TRUE(requests.empty());
    EXPECT_THAT(text(), Not(HasSubstr("[y/N]")));
    press(U"z");
    page.takeTrashed("two", "Put back ~/b? [y/N]");
    press(U"y");
    EXPECT_EQ(asked<PutBack>().request, "two");
    EXPECT_TRUE(page.isActing());
    press(U"zq");
    EXPECT_TRUE(requests.empty());
    EXPECT_FALSE(isOver);
    note(page.takeResults({.summary = "Put back 1 item.", .items = {}, .gone = {}}));
    EXPECT_FALSE(page.isActing());
    EXPECT_THAT(text(), HasSubstr("Put back 1 item."));
    page.takeTrashed({}, {});
    EXPECT_THAT(text(), HasSubstr("Nothing that was moved to the Trash"));
}

TEST_F(BrowsePageTest, asksNothingWhereALetterIsMeantForSomethingElse) {
    show(usual());
    press(U"z");
    press(U"/");
    page.takeTrashed("one", "Put back ~/a? [y/N]");
    press(U"y");
    EXPECT_EQ(asked<FindBelow>().words, "y");
    EXPECT_FALSE(page.isActing());
}

TEST_F(BrowsePageTest, tellsEverythingAboutAnItem) {
    show(usual());
    press(Kind::down);
    press(U"i");
    EXPECT_THAT(text(), HasSubstr("/top/b.iso"));
    EXPECT_THAT(text(), HasSubstr("2000000000 B"));
    EXPECT_THAT(text(), HasSubstr("disk images"));
    press(U"x");
    EXPECT_THAT(chosen(), HasSubstr("b.iso"));
}

TEST_F(BrowsePageTest, writesTheFolderInTheFormThatIsChosen) {
    show(sampleFolder("/top", {{"a", 1}}));
    press(U"E");
    EXPECT_THAT(text(), HasSubstr("r a page for browsers, n a file for ncdu"));
    press(U"n");
    EXPECT_EQ(asked<WriteFolder>().folder, "/top");
    EXPECT_EQ(asked<WriteFolder>().form, WriteFolder::Form::ncdu);
    press(U"Er");
    EXPECT_EQ(asked<WriteFolder>().form, WriteFolder::Form::report);
    // Any other key means no, and nothing else.
    press(U"Eq");
    EXPECT_TRUE(requests.empty());
    EXPECT_FALSE(isOver);
    EXPECT_THAT(text(), Not(HasSubstr("r a page")));
}

TEST_F(BrowsePageTest, helpNamesEveryKeyThatDoesSomething) {
    show(usual());
    press(U"?");
    const std::string help = text(100, 60);
    for (const char* key : {"Enter", "Backspace", "s n c m g", "Space", "t  Del", "  D", "z ", "/ ", "f ", "a ", ". ",
                            "i ", "y ", "! ", "r ", "q "})
        EXPECT_THAT(help, HasSubstr(key));
}

TEST_F(BrowsePageTest, aSecondClickOpens) {
    show(usual());
    press({.kind = Kind::click, .character = 0, .row = 4, .column = 30});
    EXPECT_THAT(chosen(), HasSubstr("b.iso"));
    EXPECT_TRUE(requests.empty());
    press({.kind = Kind::doubleClick, .character = 0, .row = 3, .column = 30});
    EXPECT_EQ(asked<ReadFolder>().path, "/top/archive");
}

TEST_F(BrowsePageTest, fitsEveryRoom) {
    show(usual());
    press(U" ");
    for (std::size_t columns = 1; columns < 130; columns += columns < 30 ? 1 : 7) {
        for (const std::size_t rows : {1U, 2U, 3U, 5U, 6U, 9U, 24U}) {
            const auto lines = page.lines(columns, rows);
            EXPECT_LE(lines.size(), rows);
            for (const ScreenLine& line : lines) {
                std::size_t width = 0;
                for (const ScreenSpan& span : line) width += TerminalText::width(span.text);
                EXPECT_LE(width, columns) << columns << "×" << rows << ": " << pageText({line});
            }
        }
    }
}

TEST_F(BrowsePageTest, showsNamesAndSizesInFortyColumns) {
    show(usual());
    EXPECT_THAT(text(40, 20), HasSubstr("4.00 GB"));
    EXPECT_THAT(text(40, 20), HasSubstr("archive/"));
    EXPECT_THAT(text(40, 20), HasSubstr("q quit"));
}

TEST_F(BrowsePageTest, namesCommandTheTerminalNothing) {
    show(sampleFolder("/top", {{"evil\x1b[2J\n\xe2\x80\xae.txt", 5}, {std::string(4000, 'w'), 4}}));
    const std::string shown = text();
    EXPECT_THAT(shown, HasSubstr("evil\\x1b[2J\\n\\u{202e}.txt"));
    EXPECT_EQ(shown.find('\x1b'), std::string::npos);
}

TEST_F(BrowsePageTest, showsAsciiWhereThatIsAll) {
    BrowsePage plain{session, Characters::ascii, "/top", {}};
    begin(plain);
    (void)plain.take(sampleFolder("/top", {{"ü", 5}, {"b", 4}}));
    (void)plain.press(typed(U' '), 100, 20);
    for (const char byte : pageText(plain.lines(100, 20))) EXPECT_GE(byte, 0) << pageText(plain.lines(100, 20));
}

TEST_F(BrowsePageTest, saysWhatFailed) {
    auto folder = std::make_shared<BrowseFolder>();
    folder->path = "/top";
    folder->failure = "This folder is not in the scan any more.";
    folder->hasParent = true;
    show(folder);
    EXPECT_THAT(text(), HasSubstr("not in the scan any more"));
    press(U"h");
    EXPECT_EQ(asked<ReadFolder>().path, "/");
}

TEST_F(BrowsePageTest, marksTheOrderOnce) {
    show(usual());
    for (const char32_t key : {U's', U'n', U'c', U'm'}) {
        press(typed(key));
        const std::string shown = text();
        std::size_t found = 0;
        for (const std::string_view mark : {"▲", "▼"}) {
            for (std::size_t at = shown.find(mark); at != std::string::npos; at = shown.find(mark, at + 1)) ++found;
        }
        EXPECT_EQ(found, 1U) << shown;
    }
}

TEST_F(BrowsePageTest, leavesAListOfWhatWasFoundByQ) {
    show(usual());
    press(U"f");
    press(U"q");
    EXPECT_FALSE(isOver);
    EXPECT_THAT(text(), HasSubstr("size"));
    press(U"q");
    EXPECT_TRUE(isOver);
}

TEST_F(BrowsePageTest, quitsAlsoWhileAFolderIsRead) {
    press(U"q");
    EXPECT_TRUE(isOver);
}

}  // namespace

}  // namespace KestrelCLI
