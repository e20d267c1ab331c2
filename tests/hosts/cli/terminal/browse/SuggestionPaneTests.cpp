#include "support/BrowsePages.hpp"

#include "output/TerminalText.hpp"

#include "KestrelCore/Reclaim/Suggestions.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace KestrelCLI {

namespace {

using namespace KestrelCore;
using testing::HasSubstr;
using testing::Not;

SuggestionGroup group(const std::string& identifier, ReclaimCertainty certainty, const std::vector<SampleItem>& items) {
    SuggestionGroup made;
    made.rule.identifier = identifier;
    made.rule.title = "Title of " + identifier;
    made.rule.certainty = certainty;
    made.rule.why = "Why " + identifier + " may go.";
    made.rule.comesBack = "How it comes back.";
    const auto folder = sampleFolder("/top", items);
    for (const BrowseItem& item : folder->items) {
        made.items.push_back({.record = item.record(), .freedBytes = item.record().displayBytes()});
        made.freedBytes += item.record().displayBytes();
        ++made.itemCount;
    }
    return made;
}

std::shared_ptr<const Suggestions> sampleSuggestions() {
    auto made = std::make_shared<Suggestions>();
    made->groups.push_back(group("build", ReclaimCertainty::regenerates, {{"build/", 4'000}, {"target/", 3'000}}));
    made->groups.push_back(group("images", ReclaimCertainty::yours, {{"disk.iso", 9'000}}));
    made->groups.front().rule.ownersCommand = "cargo clean";
    made->freedBytes = 16'000;
    return made;
}

class SuggestionPaneTest : public BrowsePageTest {
protected:
    void SetUp() override {
        BrowsePageTest::SetUp();
        show(sampleFolder("/top", {{"build/", 4'000}, {"disk.iso", 9'000}}));
        press(U"w");
        const Suggest question = asked<Suggest>();
        EXPECT_EQ(question.folder, "/top");
        page.take(question.number, sampleSuggestions(), "");
    }
};

TEST_F(SuggestionPaneTest, tellsHowMuchMayGoAndWhy) {
    const std::string shown = text();
    EXPECT_THAT(shown, HasSubstr("What can go: 7.00 kB, and 9.00 kB more if you say so"));
    EXPECT_THAT(shown, HasSubstr("7.00 kB regenerates, 9.00 kB yours"));
    EXPECT_THAT(chosen(), HasSubstr("Title of build"));
    EXPECT_THAT(shown, HasSubstr("Why build may go. How it comes back."));
    EXPECT_THAT(shown, HasSubstr("cargo clean"));
    press(U"j");
    EXPECT_THAT(text(), HasSubstr("Why images may go."));
    // Where there is hardly any room the list has it.
    EXPECT_THAT(text(40, 10), Not(HasSubstr("Why images may go.")));
    EXPECT_THAT(text(40, 10), HasSubstr("Title of images"));
}

TEST_F(SuggestionPaneTest, marksAllThatARuleFoundAndTakesItAway) {
    press(U"t");
    EXPECT_TRUE(requests.empty());
    EXPECT_THAT(text(), HasSubstr("Space marks what the chosen rule found"));
    press(U" ");
    EXPECT_EQ(asked<MeasureMarks>().paths, (std::vector<Text>{"/top/build", "/top/target"}));
    EXPECT_THAT(chosen(), HasSubstr("Title of images"));
    press(U"t");
    const PlanDeletion plan = asked<PlanDeletion>();
    ASSERT_EQ(plan.items.size(), 2u);
    EXPECT_EQ(plan.items.front().path(), "/top/build");
}

TEST_F(SuggestionPaneTest, takesTheMarksOfARuleBack) {
    press(U" ");
    press(U"k ");
    EXPECT_TRUE(requests.empty());
    EXPECT_THAT(text(), Not(HasSubstr("marked")));
}

TEST_F(SuggestionPaneTest, listsTheItemsOfARule) {
    press(ScreenKey::Kind::enter);
    const FindBelow query = asked<FindBelow>();
    EXPECT_EQ(query.rule, "build");
    EXPECT_THAT(text(), HasSubstr("Title of build"));
    // Words find among everything.
    press(U"/x");
    EXPECT_EQ(asked<FindBelow>().rule, "");
    press(ScreenKey::Kind::escape);
    EXPECT_THAT(text(), HasSubstr("What can go"));
    press(U"q");
    EXPECT_THAT(text(), Not(HasSubstr("What can go:")));
    EXPECT_FALSE(isOver);
}

TEST_F(SuggestionPaneTest, asksAgainAfterSomethingWentAndDropsWhatIsOvertaken) {
    note(page.takeResults({.summary = "Moved.", .items = {}, .gone = {"/top/build"}}));
    std::uint64_t number = 0;
    for (const BrowseRequest& request : requests) {
        if (const auto* const question = std::get_if<Suggest>(&request)) number = question->number;
    }
    ASSERT_NE(number, 0u);
    page.take(number - 1, std::make_shared<const Suggestions>(), "");
    EXPECT_THAT(text(), HasSubstr("Title of build"));
    page.take(number, std::make_shared<const Suggestions>(), "");
    EXPECT_THAT(text(), HasSubstr("Nothing that a rule knows of"));
    press(U"j  ");
    page.take(number, std::shared_ptr<const Suggestions>{}, "The history can't be read.");
    EXPECT_THAT(text(), HasSubstr("The history can't be read."));
}

TEST_F(SuggestionPaneTest, marksNoPartOfWhatIsTooMuch) {
    auto many = std::make_shared<Suggestions>(*sampleSuggestions());
    many->groups.front().itemCount = 100'000;
    press(U"qw");
    page.take(asked<Suggest>().number, many, "");
    press(U" ");
    EXPECT_TRUE(requests.empty());
    EXPECT_THAT(text(), HasSubstr("too many to be marked at once"));
}

TEST_F(SuggestionPaneTest, marksNothingThatOnlyItsOwnerTakesAway) {
    auto shown = std::make_shared<Suggestions>(*sampleSuggestions());
    shown->groups.front().rule.isShownOnly = true;
    press(U"qw");
    page.take(asked<Suggest>().number, shown, "");
    press(U" ");
    EXPECT_TRUE(requests.empty());
    EXPECT_THAT(text(), HasSubstr("by its owner's own command only: cargo clean"));
}

TEST_F(SuggestionPaneTest, fitsEveryRoom) {
    for (std::size_t columns = 1; columns < 130; columns += 3) {
        for (std::size_t rows = 1; rows < 20; ++rows) {
            const auto lines = page.lines(columns, rows);
            EXPECT_LE(lines.size(), rows);
            for (const ScreenLine& line : lines) {
                std::string whole;
                for (const ScreenSpan& span : line) whole += span.text;
                EXPECT_LE(TerminalText::width(whole), columns);
            }
        }
    }
}

}  // namespace

}  // namespace KestrelCLI
