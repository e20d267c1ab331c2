#include "output/TerminalText.hpp"
#include "terminal/ProgressLine.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

using namespace KestrelCore;
using namespace std::chrono_literals;

namespace KestrelCLI {

namespace {

const ScanProgress progress{.filesSeen = 12'345, .allocatedBytesSeen = 4'822'151'168, .currentPath = "/usr/lib/x.so"};

}  // namespace

TEST(ProgressLine, isDrawnAtMostTenTimesASecondAndRemovedAtTheEnd) {
    std::ostringstream out;
    std::ostringstream messages;
    const Session session{.out = out, .messages = messages, .terminal = {.isMessages = true}, .options = {}};
    const ProgressLine::Clock::time_point start{};
    std::size_t drawings = 0;
    {
        ProgressLine line{session};
        for (auto time = 0ms; time < 1000ms; time += 1ms) line.show(progress, start + time);
        const std::string drawn = messages.str();
        drawings = static_cast<std::size_t>(std::ranges::count(drawn, '\r'));
    }
    EXPECT_EQ(drawings, 10U);
    EXPECT_TRUE(messages.str().ends_with("\r\x1b[K")) << testing::PrintToString(messages.str());
    EXPECT_TRUE(out.str().empty());
}

TEST(ProgressLine, writesNothingWithoutATerminal) {
    std::ostringstream out;
    std::ostringstream messages;
    const Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
    ProgressLine{session}.show(progress, {});
    EXPECT_TRUE(messages.str().empty());
}

TEST(ProgressLine, showsItemsBytesAndAPathThatFits) {
    std::ostringstream out;
    const Session session{.out = out, .messages = out, .terminal = {}, .options = {}};
    EXPECT_EQ(ProgressLine::text(progress, 80, session), "    12,345 items   4.82 GB  /usr/lib/x.so");
    ScanProgress hostile = progress;
    hostile.currentPath = "/a/\x1b]0;title\x07/" + std::string(500, 'x') + "\n";
    for (const std::size_t columns : {0U, 5U, 20U, 30U, 80U}) {
        const std::string text = ProgressLine::text(hostile, columns, session);
        EXPECT_LE(TerminalText::width(text), columns);
        EXPECT_EQ(text.find_first_of("\x1b\x07\n"), std::string::npos);
    }
}

}  // namespace KestrelCLI
