#include "output/ProcessTable.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace KestrelCLI {

namespace {

using KestrelCore::Date;
using KestrelCore::Text;
using testing::HasSubstr;
using testing::Not;

ProcessRow process(std::int32_t id, const std::string& name, const std::string& line) {
    ProcessRow made;
    made.sample.id = id;
    made.sample.name = Text{name};
    made.sample.residentBytes = 1'234'567'890'123;
    made.sample.threadCount = 123;
    made.description.user = Text{"a-user-of-a-long-name"};
    made.description.commandLine = Text{line};
    made.description.startedAt = Date::since1970(1'700'000'000);
    made.description.readBytes = 999'000'000;
    made.description.writtenBytes = 111'000'000;
    return made;
}

/// The lines of a list of processes, as a terminal of that width gets it; 0 is a pipe.
std::vector<std::string> lines(std::size_t columns, bool exactBytes, bool isTree) {
    const std::vector<ProcessRow> rows{
        process(1, "init", "/sbin/init"), process(4'194'304, "a-program-with-a-long-name", std::string(400, 'x')),
        process(77, "worker", "worker --of=" + std::string(100, 'y')), process(78, "kernel", "")};
    std::vector<ListedProcess> processes;
    for (const ProcessRow& row : rows) {
        const std::string prefix = isTree ? std::string(3 * processes.size(), ' ') + "└─ " : "";
        processes.push_back({.row = &row, .prefix = prefix});
    }
    std::ostringstream out;
    std::ostringstream messages;
    Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
    session.terminal.isOutput = columns > 0;
    session.terminal.columns = columns;
    session.options.exactBytes = exactBytes;
    session.options.color = ColorChoice::never;
    writeProcessTable(session, processes);
    std::vector<std::string> result;
    std::istringstream text{out.str()};
    for (std::string line; std::getline(text, line);) result.push_back(line);
    return result;
}

}  // namespace

TEST(ProcessTable, isNeverWiderThanTheTerminalAndALineAProcess) {
    for (const bool isTree : {false, true}) {
        for (const bool exactBytes : {false, true}) {
            // Where sizes are to the byte, less than 60 columns hold no more than identifiers and figures.
            for (std::size_t columns = exactBytes ? 60 : 45; columns <= 210; ++columns) {
                const std::vector<std::string> shown = lines(columns, exactBytes, isTree);
                EXPECT_EQ(shown.size(), 5U) << columns;
                for (const std::string& line : shown)
                    EXPECT_LE(TerminalText::width(line), columns) << columns << ": " << line;
            }
        }
    }
}

TEST(ProcessTable, foldsAwayWhatSaysLeastFirst) {
    EXPECT_EQ(lines(45, false, false)[0].find("user"), std::string::npos);
    EXPECT_THAT(lines(64, false, false)[0], testing::AllOf(HasSubstr("user"), Not(HasSubstr("command line"))));
    EXPECT_THAT(lines(80, false, false)[0], testing::AllOf(HasSubstr("command line"), Not(HasSubstr("started"))));
    EXPECT_THAT(lines(200, false, false)[0],
                testing::AllOf(HasSubstr("threads"), HasSubstr("read"), HasSubstr("started")));
    EXPECT_THAT(lines(80, false, false)[2], HasSubstr("…"));
}

TEST(ProcessTable, isWholeInAPipe) {
    const std::vector<std::string> shown = lines(0, false, true);
    EXPECT_THAT(shown[2], testing::AllOf(HasSubstr(std::string(400, 'x')), HasSubstr("a-user-of-a-long-name"),
                                         HasSubstr("   └─ a-program-with-a-long-name")));
}

}  // namespace KestrelCLI
