#include "output/NearNames.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace KestrelCLI {

using Names = std::vector<std::string>;

TEST(NearNames, areASlipOrTwoAway) {
    const Names names{"Firefox", "Files", "Thunderbird", "Fotos"};
    EXPECT_EQ(nearNames("firefx", names), Names{"Firefox"});    // one is missing
    EXPECT_EQ(nearNames("fireffox", names), Names{"Firefox"});  // one too many
    EXPECT_EQ(nearNames("Firefix", names), Names{"Firefox"});   // another
    EXPECT_EQ(nearNames("ifrefox", names), Names{"Firefox"});   // two change places
    EXPECT_EQ(nearNames("tunderbrid", names), Names{"Thunderbird"});
    EXPECT_EQ(nearNames("chrome", names), Names{});
    EXPECT_EQ(nearNames("", names), Names{});
}

TEST(NearNames, ofAShortNameAreOneSlipAway) {
    EXPECT_EQ(nearNames("scn", {"scan", "sort", "search"}), Names{"scan"});
    EXPECT_EQ(nearNames("ab", {"cd", "abc", "b"}), (Names{"abc", "b"}));
}

TEST(NearNames, mayBeNearInOneWord) {
    EXPECT_EQ(nearNames("firefx", {"Firefox ESR", "org.mozilla.firefox"}),
              (Names{"Firefox ESR", "org.mozilla.firefox"}));
}

TEST(NearNames, comeNearestFirstFewAndOnce) {
    EXPECT_EQ(nearNames("editor", {"edito", "editors", "editor", "editorial", "editor", "xeditor"}),
              (Names{"editor", "edito", "editors"}));
    EXPECT_EQ(nearNames("editor", {"editors", "edito"}, 1), Names{"editors"});
}

TEST(NearNames, ofAVeryLongTextAreNone) {
    EXPECT_EQ(nearNames(std::string(5000, 'x'), {std::string(5000, 'x')}), Names{});
}

TEST(DidYouMean, isASentenceOrNothing) {
    EXPECT_EQ(didYouMean({}), "");
    EXPECT_EQ(didYouMean({"a"}), "Did you mean “a”?");
    EXPECT_EQ(didYouMean({"a", "b", "c"}), "Did you mean “a”, “b” or “c”?");
}

}  // namespace KestrelCLI
