#include "commands/HelpText.hpp"
#include "output/WordWrap.hpp"

#include <gtest/gtest.h>

namespace KestrelCLI {

TEST(HelpText, wrapsAtWords) {
    EXPECT_EQ(wrappedWords("", 10, 2), "");
    EXPECT_EQ(wrappedWords("one two three", 80, 2), "one two three");
    EXPECT_EQ(wrappedWords("one two three", 8, 2), "one two\n  three");
    EXPECT_EQ(wrappedWords("one two\nthree", 8, 0), "one two\nthree");
    EXPECT_EQ(wrappedWords("größe größe", 11, 0), "größe größe");
    EXPECT_EQ(wrappedWords("a-word-that-is-too-long for it", 8, 0), "a-word-that-is-too-long\nfor it");
}

TEST(HelpText, partsAnExampleAsAShellReadsItOn) {
    EXPECT_EQ(exampleLine("kestrel list --limit 10", 80), "  kestrel list --limit 10\n");
    EXPECT_EQ(exampleLine("kestrel list --limit 10", 22), "  kestrel list \\\n      --limit 10\n");
    EXPECT_EQ(exampleLine("kestrel search 'a b c d e' x", 26), "  kestrel search \\\n      'a b c d e' x\n");
    EXPECT_EQ(exampleLine("kestrel list --limit 10", 24), "  kestrel list \\\n      --limit 10\n");
    EXPECT_EQ(exampleLine("aaaaaaaaaaaaaaaaaaaaaaaaaa", 12), "  aaaaaaaaaaaaaaaaaaaaaaaaaa\n");
}

}  // namespace KestrelCLI
