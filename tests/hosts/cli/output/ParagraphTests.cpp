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

TEST(Message, breaksBetweenWordsOnATerminalOnly) {
    std::ostringstream out;
    std::ostringstream messages;
    Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
    session.terminal.columns = 20;
    session.say("What can't be read is named.");
    EXPECT_EQ(messages.str(), "kestrel: What can't be read is named.\n");
    messages.str("");
    session.terminal.isMessages = true;
    session.say("What can't be read is named.");
    EXPECT_EQ(messages.str(), "kestrel: What can't\n  be read is named.\n");
}

}  // namespace KestrelCLI
