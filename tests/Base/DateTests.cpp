#include "KestrelCore/Base/Date.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace KestrelCore {
namespace {

TEST(Date, countsFromTheStartOf2001) {
    EXPECT_EQ(Date::since1970(978307200.0), Date{0});
    EXPECT_EQ(Date{0}.secondsSince1970(), 978307200.0);
    EXPECT_EQ(Date{0}.rfc3339(), "2001-01-01T00:00:00Z");
    EXPECT_EQ(Date::since1970(0).rfc3339(), "1970-01-01T00:00:00Z");
}

TEST(Date, aFileTimeAddsItsFractionBeforeTheEpochChanges) {
    const double expected = (1'763'717'400.0 + 123'456'789 / 1e9) - 978307200.0;
    EXPECT_EQ(Date::fromFileTime(1'763'717'400, 123'456'789).secondsSinceReferenceDate, expected);
    EXPECT_EQ(Date::fromFileTime(-1, 500'000'000).secondsSince1970(), -0.5);
}

TEST(Date, writesMillisecondsOnlyWhereThereAreSome) {
    const std::vector<std::pair<double, const char*>> cases = {
        {1763717400, "2025-11-21T09:30:00Z"},         {1763717400.5, "2025-11-21T09:30:00.500Z"},
        {1763717400.001, "2025-11-21T09:30:00.001Z"}, {1763717400.0001, "2025-11-21T09:30:00Z"},
        {1763717399.9999, "2025-11-21T09:30:00Z"},    {-0.5, "1969-12-31T23:59:59.500Z"},
        {951782400, "2000-02-29T00:00:00Z"}};
    for (const auto& [seconds, expected] : cases) EXPECT_EQ(Date::since1970(seconds).rfc3339(), expected) << seconds;
}

TEST(Date, aDecimalMillisecondIsWrittenAsItWasMeant) {
    for (int milliseconds = 1; milliseconds < 1000; ++milliseconds) {
        const std::string text = Date::fromFileTime(1'763'717'400, milliseconds * 1'000'000).rfc3339();
        EXPECT_EQ(std::stoi(text.substr(20, 3)), milliseconds) << text;
    }
}

TEST(Date, clampsWhatTheFormCannotWrite) {
    EXPECT_EQ(Date{1e300}.rfc3339(), "9999-12-31T23:59:59.999Z");
    EXPECT_EQ(Date{-1e300}.rfc3339(), "0000-01-01T00:00:00Z");
    EXPECT_EQ(Date{std::numeric_limits<double>::infinity()}.rfc3339(), "9999-12-31T23:59:59.999Z");
    EXPECT_EQ(Date{std::nan("")}.rfc3339(), "1970-01-01T00:00:00Z");
}

TEST(Date, theDistantOnesLieAroundAllOthers) {
    EXPECT_EQ(Date::distantPast().secondsSinceReferenceDate, -63114076800.0);
    // The first day of the year 1 in the Julian calendar; the form counts by the Gregorian one.
    EXPECT_EQ(Date::distantPast().rfc3339(), "0000-12-30T00:00:00Z");
    EXPECT_EQ(Date::distantFuture().rfc3339(), "4001-01-01T00:00:00Z");
    EXPECT_LT(Date::distantPast(), Date::now());
    EXPECT_LT(Date::now(), Date::distantFuture());
}

TEST(Date, comparesAndHashesAsItsDouble) {
    EXPECT_LT(Date{1}, Date{2});
    EXPECT_EQ(Date{0.0}, Date{-0.0});
    EXPECT_EQ(std::hash<Date>{}(Date{0.0}), std::hash<Date>{}(Date{-0.0}));
    EXPECT_EQ(Date{1}.addingSeconds(2.5), Date{3.5});
}

}  // namespace
}  // namespace KestrelCore
