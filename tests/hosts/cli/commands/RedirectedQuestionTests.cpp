#include "support/DeletionCommandTest.hpp"
#include "support/StandardInput.hpp"

#include <filesystem>

namespace KestrelCLI {

using KestrelCore::StandardInput;

class RedirectedQuestion : public DeletionCommandTest {};

TEST_F(RedirectedQuestion, comesWithItsPlan) {
    terminal.isInput = true;  // and standard output goes elsewhere
    const std::string path = file("no\x1b name");
    for (const char* command : {"trash", "remove"}) {
        const StandardInput input{"n\n"};
        const CommandRun outcome = run({command, path});
        EXPECT_TRUE(contains(outcome.messages, "/no\\x1b name\n")) << outcome.messages;
        EXPECT_LT(outcome.messages.find("no\\x1b name"), outcome.messages.find("1 item"));
        EXPECT_TRUE(contains(outcome.out, "/no\\x1b name\n")) << outcome.out;
        EXPECT_TRUE(std::filesystem::exists(path));
    }
}

TEST_F(RedirectedQuestion, isNotAskedTwice) {
    terminal = {.isInput = true, .isOutput = true};
    const std::string path = file("a");
    const StandardInput input{"n\n"};
    const CommandRun outcome = run({"trash", path});
    EXPECT_FALSE(contains(outcome.messages, path)) << outcome.messages;
    EXPECT_TRUE(contains(outcome.out, path)) << outcome.out;
}

}  // namespace KestrelCLI
