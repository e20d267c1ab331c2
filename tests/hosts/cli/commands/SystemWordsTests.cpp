#include "KestrelCore/Base/Text.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <sstream>
#include <string>

// What the program says of itself on Linux, taken from the program: no word of another system is in it.

namespace KestrelCLI {

namespace {

std::string helpOf(const std::string& arguments) {
    std::string text;
    FILE* pipe =
        popen((std::string{KESTREL_BINARY_DIR} + "/kestrel " + arguments + " --help </dev/null 2>&1").c_str(), "r");
    if (pipe == nullptr) return text;
    char buffer[4096];
    for (std::size_t got; (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) text.append(buffer, got);
    pclose(pipe);
    return text;
}

/// The first words of the indented lines of the help: the commands among them, and "-h" and the like, are asked for
/// more.
std::set<std::string> commandsOf(const std::string& help) {
    std::set<std::string> names;
    std::istringstream lines{help};
    for (std::string line; std::getline(lines, line);) {
        const std::size_t first = line.find_first_not_of(' ');
        if (first != 2 || line[first] < 'a' || line[first] > 'z') continue;
        names.insert(line.substr(first, line.find(' ', first) - first));
    }
    return names;
}

}  // namespace

TEST(SystemWords, helpNamesNoOtherSystem) {
    const std::string help = helpOf("");
    const std::set<std::string> commands = commandsOf(help);
    ASSERT_TRUE(commands.contains("scan") && commands.contains("apps")) << help;
    std::string all = help;
    for (const std::string& command : commands) all += helpOf(command);
    const std::string folded = KestrelCore::Text{all + helpOf("access")}.lowercased().string();
    for (const char* foreign :
         {"macos", "finder", "system settings", "privacy", "full disk access", "applications folder", "bundle"}) {
        EXPECT_EQ(folded.find(foreign), std::string::npos) << foreign;
    }
}

TEST(SystemWords, aPermissionThatThisSystemDoesNotHaveIsNoCommandToShow) {
    EXPECT_FALSE(commandsOf(helpOf("")).contains("access"));
    EXPECT_NE(helpOf("access").find("Usage: kestrel access"), std::string::npos);
}

}  // namespace KestrelCLI
