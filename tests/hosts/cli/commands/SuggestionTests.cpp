#include "commands/Suggestion.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace KestrelCLI {

TEST(Suggestion, isTheNearestWord) {
    const std::vector<std::string> commands{"scan",    "list",    "search",  "media", "documents",
                                            "history", "growth",  "apps",    "trash", "remove",
                                            "restore", "monitor", "process", "quit",  "clear"};
    struct Case {
        const char* typed;
        const char* meant;  ///< empty for none
    };
    const Case cases[] = {{"scn", "scan"},
                          {"sacn", "scan"},  // two letters exchanged are one slip
                          {"SCAN", "scan"},
                          {"serach", "search"},
                          {"hist", "history"},
                          {"documets", "documents"},
                          {"removee", "remove"},
                          {"re", ""},  // two begin with it
                          {"s", ""},
                          {"xyzzy", ""},
                          {"", ""}};
    for (const Case& each : cases) {
        const std::string meant{each.meant};
        EXPECT_EQ(didYouMeanOneOf(each.typed, commands), meant.empty() ? "" : "Did you mean “" + meant + "”?")
            << each.typed;
    }
    EXPECT_EQ(didYouMeanOneOf(std::string(1'000'000, 'a'), commands), "");
    EXPECT_EQ(didYouMeanOneOf("mem", {"cpu", "memory", "name"}), "Did you mean “memory”?");
}

TEST(Suggestion, knowsTheCommandsAndOptionsOfOtherPrograms) {
    for (const char* word : {"rm", "RM", "del", "du", "ncdu", "ls", "find", "fd", "top", "htop", "ps", "kill", "undo",
                             "/var", "~/Downloads", "."}) {
        EXPECT_TRUE(sentenceForCommand(word)) << word;
    }
    for (const char* word : {"r", "rm ", "", "scan", "nosuch"}) EXPECT_FALSE(sentenceForCommand(word)) << word;
    EXPECT_TRUE(sentenceForOption("-rf", "trash"));
    EXPECT_FALSE(sentenceForOption("-rf", "scan"));
    EXPECT_TRUE(sentenceForOption("--max-depth", "scan"));
    EXPECT_TRUE(sentenceForOption("--human-readable", ""));
    EXPECT_FALSE(sentenceForOption("--nosuch", "scan"));
}

}  // namespace KestrelCLI
