#include "Platform/macOS/Processes/Portable/ProcessArguments.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {
namespace {

using namespace std::string_view_literals;

/// KERN_PROCARGS2: the number of arguments, the path with the NULs that fill its last word, arguments, environment.
std::string recorded(std::int32_t count, std::string_view path, const std::vector<std::string_view>& strings) {
    std::string bytes(sizeof count, '\0');
    std::memcpy(bytes.data(), &count, sizeof count);
    bytes += path;
    bytes.append(8 - path.size() % 8, '\0');
    for (const std::string_view string : strings) {
        bytes += string;
        bytes += '\0';
    }
    return bytes;
}

TEST(ProcessArguments, areTheArgumentsWithoutTheEnvironment) {
    struct Case {
        std::int32_t count;
        std::string_view path;
        std::vector<std::string_view> strings;
        const char* expected;
    };
    const Case cases[] = {
        {3, "/bin/ls", {"ls", "-l", "/tmp", "SECRET=1"}, "ls -l /tmp"},
        {1, "/usr/bin/true", {"true", "SECRET=1"}, "true"},
        // A path that fills its words to the last byte but for the NUL, and one that needs a whole word for it.
        {2, "/1234567890123", {"a", "b", "SECRET=1"}, "a b"},
        {2, "/123456789012345", {"a", "b", "SECRET=1"}, "a b"},
        // Empty arguments are arguments: first ones look like filling.
        {3, "/bin/sh", {"sh", "", "x", "SECRET=1"}, "sh  x"},
        {2, "/bin/sh", {"", "x", "SECRET=1"}, "x"},
        {2, "/bin/sh", {"", "", "SECRET=1"}, ""},
        {2, "/bin/sh", {"sh", "", "SECRET=1"}, "sh"},
        // What a process says of itself is not believed.
        {0, "/bin/sh", {"sh", "SECRET=1"}, ""},
        {-1, "/bin/sh", {"sh", "SECRET=1"}, ""},
        {2'000'000'000, "/bin/sh", {"sh", "x"}, "sh x"},
    };
    for (const Case& each : cases)
        EXPECT_EQ(argumentsIn(recorded(each.count, each.path, each.strings), 4096), each.expected)
            << each.path << " " << each.count;
}

TEST(ProcessArguments, areBounded) {
    const std::string longest(5000, 'x');
    EXPECT_EQ(argumentsIn(recorded(2, "/bin/sh", {longest, "SECRET=1"}), 4096), std::string(4096, 'x'));
    EXPECT_EQ(argumentsIn(recorded(3, "/bin/sh", {"sh", "-c", "x"}), 4), "sh -");
    EXPECT_EQ(argumentsIn(recorded(3, "/bin/sh", {"sh", "-c", "x"}), 3), "sh");
}

TEST(ProcessArguments, whatIsCutOffGivesItsBeginning) {
    const std::string whole = recorded(3, "/bin/ls", {"ls", "-l", "/tmp", "SECRET=1"});
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        const std::string line = argumentsIn(std::string_view{whole}.substr(0, size), 4096);
        EXPECT_TRUE("ls -l /tmp"sv.starts_with(line)) << size << ": " << line;
    }
}

}  // namespace
}  // namespace KestrelCore
