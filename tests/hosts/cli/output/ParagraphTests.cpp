#include "output/Paragraph.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace KestrelCLI {

namespace {

std::string written(std::string_view text, const Terminal& terminal) {
    std::ostringstream out;
    std::ostringstream messages;
    const Session session{.out = out, .messages = messages, .terminal = terminal, .options = {}};
    writeParagraph(session, text);
    return out.str();
}

}  // namespace

TEST(Paragraph, breaksBetweenWordsOnATerminalOnly) {
    const std::string_view text = "None is chosen by itself.";
    EXPECT_EQ(written(text, {}), "None is chosen by itself.\n");
    Terminal narrow;
    narrow.isOutput = true;
    narrow.columns = 15;
    EXPECT_EQ(written(text, narrow), "None is chosen\nby itself.\n");
    narrow.columns = 80;
    EXPECT_EQ(written(text, narrow), "None is chosen by itself.\n");
}

}  // namespace KestrelCLI
