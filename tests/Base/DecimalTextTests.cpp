#include "Base/DecimalText.hpp"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <bit>
#include <clocale>
#include <cstdint>
#include <ostream>
#include <string>

namespace KestrelCore {
namespace {

using Reader = std::from_chars_result (*)(const char*, const char*, double&);

struct Answer {
    std::uint64_t bits = 0;
    std::ptrdiff_t length = 0;
    std::errc error{};

    bool operator==(const Answer&) const = default;
};

Answer read(Reader reader, const std::string& text) {
    double value = 77;
    const auto [end, error] = reader(text.data(), text.data() + text.size(), value);
    return {std::bit_cast<std::uint64_t>(value), end - text.data(), error};
}

Answer number(double value, std::ptrdiff_t length) { return {std::bit_cast<std::uint64_t>(value), length, {}}; }
Answer failure(std::errc error, std::ptrdiff_t length) { return {std::bit_cast<std::uint64_t>(77.0), length, error}; }

// Named, since the address of a function is another one in each run.
struct Way {
    const char* name;
    Reader reader;
};
void PrintTo(const Way& way, std::ostream* out) { *out << way.name; }

class DecimalText : public testing::TestWithParam<Way> {};

TEST_P(DecimalText, ReadsWhatStandsAtTheBeginning) {
    EXPECT_EQ(read(GetParam().reader, "1.5GB"), number(1.5, 3));
    EXPECT_EQ(read(GetParam().reader, "-.25e1 "), number(-2.5, 6));
    EXPECT_EQ(read(GetParam().reader, "5."), number(5, 2));
    EXPECT_EQ(read(GetParam().reader, "-0"), number(-0.0, 2));
    EXPECT_EQ(read(GetParam().reader, "0x10"), number(0, 1));
    EXPECT_EQ(read(GetParam().reader, "2e"), number(2, 1));
    EXPECT_EQ(read(GetParam().reader, "2e+x"), number(2, 1));
    EXPECT_EQ(read(GetParam().reader, "1,5"), number(1, 1));
    EXPECT_EQ(read(GetParam().reader, std::string(400, '0') + "7"), number(7, 401));
}

TEST_P(DecimalText, FindsNoNumberInWordsSignsAndBlanks) {
    for (const char* text : {"", "-", ".", "-.", "+1", " 1", "inf", "-inf", "nan", "e5", "--1", ".e1"})
        EXPECT_EQ(read(GetParam().reader, text), failure(std::errc::invalid_argument, 0)) << text;
}

TEST_P(DecimalText, TellsWhatNoDoubleHolds) {
    EXPECT_EQ(read(GetParam().reader, "1e309"), failure(std::errc::result_out_of_range, 5));
    EXPECT_EQ(read(GetParam().reader, "-1e309"), failure(std::errc::result_out_of_range, 6));
    EXPECT_EQ(read(GetParam().reader, "1e-400x"), failure(std::errc::result_out_of_range, 6));
    EXPECT_EQ(read(GetParam().reader, "0e-400"), number(0, 6));
    EXPECT_EQ(read(GetParam().reader, "5e-324"), number(5e-324, 6));
}

INSTANTIATE_TEST_SUITE_P(BothWays, DecimalText,
                         testing::Values(Way{"library", readDecimal}, Way{"C", readDecimalByCLibrary}));

RC_GTEST_PROP(DecimalTextProperty, BothWaysAnswerAlike, ()) {
    const auto text = *rc::gen::container<std::string>(rc::gen::element('0', '1', '5', '9', '.', 'e', 'E', '-', '+'));
    RC_ASSERT(read(readDecimal, text) == read(readDecimalByCLibrary, text));
}

}  // namespace
}  // namespace KestrelCore
