#include "output/Times.hpp"

#include <gtest/gtest.h>

#include <limits>

using namespace KestrelCore;

namespace KestrelCLI {

TEST(Age, isToldInTheUnitThatSaysMost) {
    struct Case {
        double seconds;
        const char* text;
    };
    constexpr double day = 86'400;
    const Case cases[] = {
        {-1, "in the future"},
        {std::numeric_limits<double>::quiet_NaN(), "in the future"},
        {0, "just now"},
        {59, "just now"},
        {60, "1 minute ago"},
        {3'599, "59 minutes ago"},
        {3'600, "1 hour ago"},
        {2 * day - 1, "1 day ago"},
        {60 * day, "60 days ago"},
        {61 * day, "2 months ago"},
        {365 * day, "11 months ago"},
        {400 * day, "13 months ago"},
        {730 * day, "23 months ago"},
        {731 * day, "2 years ago"},
        {3.5 * 365.25 * day, "3 years ago"},
    };
    const Date now{800'000'000};
    for (const Case& each : cases)
        EXPECT_EQ(age(Date{now.secondsSinceReferenceDate - each.seconds}, now), each.text) << each.seconds;
}

TEST(TimeOfEarlierScan, standsBehindThanAndSince) {
    const Date now{800'000'000};
    const auto before = [&](double seconds) {
        return timeOfEarlierScan(Date{now.secondsSinceReferenceDate - seconds}, now);
    };
    EXPECT_EQ(before(-1), "the scan before");
    EXPECT_EQ(before(0), "a moment ago");
    EXPECT_EQ(before(59), "a moment ago");
    EXPECT_EQ(before(60), "1 minute ago");
}

}  // namespace KestrelCLI
