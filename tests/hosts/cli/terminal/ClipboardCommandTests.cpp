#include "terminal/ClipboardCommand.hpp"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace KestrelCLI {

namespace {

using namespace std::literals;

TEST(ClipboardCommand, holdsAnyBytesAsBase64) {
    struct Case {
        std::string_view text;
        std::string_view expected;
    };
    // The examples of RFC 4648, and bytes that no terminal may see.
    for (const auto& [text, expected] :
         {Case{"", ""}, Case{"f", "Zg=="}, Case{"fo", "Zm8="}, Case{"foo", "Zm9v"}, Case{"foob", "Zm9vYg=="},
          Case{"fooba", "Zm9vYmE="}, Case{"foobar", "Zm9vYmFy"}, Case{"\a\x1b\\\0\xff"sv, "BxtcAP8="}}) {
        EXPECT_EQ(clipboardCommand(text, "xterm-256color"), "\x1b]52;c;" + std::string{expected} + "\a");
    }
}

TEST(ClipboardCommand, isNotSentWhereItWouldBeSeen) {
    for (const std::string_view type : {"linux", "linux-16color", "dumb", "vt220", ""})
        EXPECT_EQ(clipboardCommand("text", type), "") << type;
}

TEST(ClipboardCommand, isNotSentForMoreThanTerminalsTake) {
    EXPECT_NE(clipboardCommand(std::string(74'994, 'x'), "xterm"), "");
    EXPECT_EQ(clipboardCommand(std::string(74'995, 'x'), "xterm"), "");
}

}  // namespace

}  // namespace KestrelCLI
