#include "output/LeadingNumber.hpp"

#include <gtest/gtest.h>

#include <string>

namespace KestrelCLI {
namespace {

void expectNumber(std::string_view text, double value, std::string_view rest) {
    const auto number = leadingNumber(text);
    ASSERT_TRUE(number) << text;
    EXPECT_EQ(number->value, value) << text;
    EXPECT_EQ(number->rest, rest) << text;
}

TEST(LeadingNumber, StopsWhereTheDigitsDo) {
    expectNumber("1.5GB", 1.5, "GB");
    expectNumber("500 MB", 500, " MB");
    expectNumber("0.1", 0.1, "");
    expectNumber(".5m", 0.5, "m");
    expectNumber("2.", 2, "");
    expectNumber("-3s", -3, "s");
    expectNumber("1.2.3", 1.2, ".3");
    expectNumber("1e3", 1, "e3");
    expectNumber("0x10", 0, "x10");
}

TEST(LeadingNumber, FindsNoneInWordsAndInWhatNoDoubleHolds) {
    for (const char* text : {"", ".", "-", "+1", " 1", "GB", "inf", "nan", "--1"})
        EXPECT_FALSE(leadingNumber(text)) << text;
    EXPECT_FALSE(leadingNumber(std::string(400, '9')));
}

}  // namespace
}  // namespace KestrelCLI
