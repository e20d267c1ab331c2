#include "output/ASCIIOutput.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <sstream>
#include <string>

namespace KestrelCLI {

TEST(ASCIIOutput, writesTheProgramsOwnCharactersAsOnATypewriter) {
    EXPECT_EQ(asciiText("“a” – it’s … more"), "\"a\" - it's ... more");
    EXPECT_EQ(asciiText("├─ a\n│  └─ b"), "|- a\n|  `- b");
    EXPECT_EQ(asciiText("██▌▏"), "###-");
    EXPECT_EQ(asciiText("\x1b[1mplain\x1b[0m\n"), "\x1b[1mplain\x1b[0m\n");
}

TEST(ASCIIOutput, writesEveryOtherCharacterAsAnEscape) {
    EXPECT_EQ(asciiText("größe 写"), "gr\\u{f6}\\u{df}e \\u{5199}");
    EXPECT_EQ(asciiText("a\xff"), "a\\xff");
}

TEST(ASCIIOutput, putsCharactersTogetherThatComeInPieces) {
    const std::string text = "“größe” └─ 🦅 \xE2\x80";
    for (std::size_t size = 1; size <= text.size(); ++size) {
        std::stringbuf target;
        {
            ASCIIOutput output{target, [] { return false; }};
            std::ostream out{&output};
            for (std::size_t at = 0; at < text.size(); at += size) out << text.substr(at, size) << std::flush;
            EXPECT_TRUE(out.good());
        }
        EXPECT_EQ(target.str(), asciiText(text)) << size;
        EXPECT_TRUE(std::ranges::all_of(target.str(), [](char c) { return c > 0; }));
    }
}

TEST(ASCIIOutput, leavesWhatIsForProgramsAsItIs) {
    std::stringbuf target;
    bool isRaw = false;
    ASCIIOutput output{target, [&isRaw] { return isRaw; }};
    std::ostream out{&output};
    out << "é";
    isRaw = true;
    out << "{“é”}";
    EXPECT_EQ(target.str(), "\\u{e9}{“é”}");
}

}  // namespace KestrelCLI
