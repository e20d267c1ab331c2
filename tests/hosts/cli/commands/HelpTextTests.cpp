#include "commands/HelpText.hpp"

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

}  // namespace KestrelCLI
