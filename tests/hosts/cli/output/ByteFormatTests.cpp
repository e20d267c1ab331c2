#include "output/ByteFormat.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace KestrelCLI {

TEST(ByteFormat, roundsToBinaryUnits) {
    EXPECT_EQ(ByteFormat::rounded(1023, SizeUnits::binary), "1023 B");
    EXPECT_EQ(ByteFormat::rounded(1024, SizeUnits::binary), "1.00 KiB");
    EXPECT_EQ(ByteFormat::rounded(1023 * 1024, SizeUnits::binary), "1023 KiB");
    EXPECT_EQ(ByteFormat::rounded(1024 * 1024 - 1, SizeUnits::binary), "1.00 MiB");  // never "1024 KiB"
    EXPECT_EQ(ByteFormat::rounded(4'822'151'168, SizeUnits::binary), "4.49 GiB");
    EXPECT_EQ(ByteFormat::rounded(std::numeric_limits<std::int64_t>::min(), SizeUnits::binary), "-8.00 EiB");
}

TEST(ByteFormat, roundsToThreeDigitsInDecimalUnits) {
    struct Case {
        std::int64_t bytes;
        const char* text;
    };
    const Case cases[] = {
        {0, "0 B"},
        {999, "999 B"},
        {1000, "1.00 kB"},
        {1024, "1.02 kB"},
        {9'994, "9.99 kB"},
        {9'995, "10.0 kB"},
        {99'949, "99.9 kB"},
        {99'950, "100 kB"},
        {999'499, "999 kB"},
        {999'500, "1.00 MB"},  // never "1000 kB"
        {4'822'151'168, "4.82 GB"},
        {std::numeric_limits<std::int64_t>::max(), "9.22 EB"},
        {-1500, "-1.50 kB"},
        {std::numeric_limits<std::int64_t>::min(), "-9.22 EB"},
    };
    for (const auto& [bytes, text] : cases) EXPECT_EQ(ByteFormat::rounded(bytes), text) << bytes;
}

TEST(ByteFormat, writesExactSizesAndGroupedCounts) {
    EXPECT_EQ(ByteFormat::exact(4'822'151'168), "4822151168 B");
    EXPECT_EQ(ByteFormat::count(0), "0");
    EXPECT_EQ(ByteFormat::count(999), "999");
    EXPECT_EQ(ByteFormat::count(1'083'440), "1,083,440");
    EXPECT_EQ(ByteFormat::count(-12'345), "-12,345");
}

TEST(ByteFormat, writesSharesOfAWhole) {
    EXPECT_EQ(ByteFormat::share(413, 1000), "41.3 %");
    EXPECT_EQ(ByteFormat::share(1000, 1000), "100.0 %");
    EXPECT_EQ(ByteFormat::share(1, 1'000'000), "<0.1 %");
    EXPECT_EQ(ByteFormat::share(0, 1000), "0 %");
    EXPECT_EQ(ByteFormat::share(5, 0), "0 %");
    EXPECT_EQ(ByteFormat::share(8'228'864, 4096), "–");
}

}  // namespace KestrelCLI
