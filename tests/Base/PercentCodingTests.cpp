#include "Base/PercentCoding.hpp"

#include <gtest/gtest.h>

#include <string>

namespace KestrelCore {

TEST(PercentCoding, keepsWhatItIsToldTo) {
    EXPECT_EQ(percentEncoded("/a b~é%\n\xff", keepingUnreservedAnd("/")), "/a%20b~%C3%A9%25%0A%FF");
    EXPECT_EQ(percentEncoded("/a:b", keepingUnreservedAnd("")), "%2Fa%3Ab");
    EXPECT_EQ(percentEncoded("/a (b)\"%\x7f\xff", keepingPrintable()), "/a%20(b)\"%25%7F%FF");
}

TEST(PercentCoding, keepsAnEscapeOnlyWhereItIsOne) {
    std::string text = "x";
    appendPercentEncoded("%41%zz%4", keepingUnreservedAnd(""), PresentEscapes::keep, text);
    EXPECT_EQ(text, "x%41%25zz%254");
    EXPECT_EQ(percentEncoded("%41", keepingUnreservedAnd("")), "%2541");
}

TEST(PercentCoding, givesEveryByteBack) {
    std::string bytes;
    for (int byte = 1; byte < 256; ++byte) bytes += static_cast<char>(byte);
    EXPECT_EQ(percentDecoded(percentEncoded(bytes, keepingUnreservedAnd("/"))), bytes);
    EXPECT_EQ(percentDecoded(percentEncoded(bytes, keepingPrintable())), bytes);
    EXPECT_EQ(percentDecoded("%c3%A9"), "é");
}

TEST(PercentCoding, refusesMalformedEscapesAndNUL) {
    for (const char* malformed : {"%", "a%4", "%4", "%zz", "%4g", "%00", "%+1", "% 1"})
        EXPECT_EQ(percentDecoded(malformed), std::nullopt) << malformed;
}

}  // namespace KestrelCore
