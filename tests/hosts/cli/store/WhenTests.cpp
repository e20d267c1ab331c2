#include "store/When.hpp"

#include "output/Session.hpp"
#include "support/EnvironmentSetting.hpp"

#include <gtest/gtest.h>

#include <ctime>
#include <optional>
#include <string_view>
#include <variant>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// Two hours east of UTC, all year.
class WhenTest : public testing::Test {
protected:
    WhenTest() { tzset(); }

    /// As seconds since 1970; absent for what is no point in time.
    static std::optional<double> seconds(std::string_view text) {
        const auto when = parseWhen(text, now);
        if (!when || !std::holds_alternative<Date>(*when)) return std::nullopt;
        return std::get<Date>(*when).secondsSince1970();
    }

    static constexpr double noon = 1'795'262'400;  ///< 2026-11-21 12:00 UTC
    static constexpr Date now = Date::since1970(noon);

    EnvironmentSetting zone_{"TZ", "EET-2"};
};

}  // namespace

TEST_F(WhenTest, readsTheNumberOfAScan) {
    EXPECT_EQ(parseWhen("12", now), When{std::int64_t{12}});
    EXPECT_EQ(parseWhen("#12", now), When{std::int64_t{12}});
    EXPECT_EQ(parseWhen("0", now), When{std::int64_t{0}});
}

TEST_F(WhenTest, readsAnAge) {
    EXPECT_EQ(seconds("90min"), noon - 90 * 60);
    EXPECT_EQ(seconds("12h"), noon - 12 * 3600);
    EXPECT_EQ(seconds("7d"), noon - 7 * 86'400);
    EXPECT_EQ(seconds("2w"), noon - 14 * 86'400);
    EXPECT_EQ(seconds("1y"), noon - 365 * 86'400);
}

TEST_F(WhenTest, readsADayToItsEndByTheLocalClock) {
    // Midnight is two hours earlier than that of UTC.
    const double midnight = noon - 14 * 3600;
    EXPECT_NEAR(seconds("2026-11-20").value_or(0), midnight - 0.001, 0.0001);
    EXPECT_NEAR(seconds("yesterday").value_or(0), midnight - 0.001, 0.0001);
    EXPECT_NEAR(seconds("2026-11-21").value_or(0), midnight + 86'400 - 0.001, 0.0001);
}

TEST_F(WhenTest, readsATimeOfDay) {
    for (const char* text : {"2026-11-21 14:00", "2026-11-21T14:00", "2026-11-21T12:00Z"})
        EXPECT_NEAR(seconds(text).value_or(0), noon + 59.999, 0.0001) << text;
    for (const char* text : {"2026-11-21 14:00:00", "2026-11-21T12:00:00Z"})
        EXPECT_NEAR(seconds(text).value_or(0), noon + 0.999, 0.0001) << text;
}

TEST_F(WhenTest, takesNothingElse) {
    for (const char* text : {"",
                             "#",
                             "-1",
                             "+1",
                             "d",
                             "7 d",
                             "7m",
                             "1.5d",
                             "99999999999999999999",
                             "2026-11",
                             "2026-11-31",
                             "2026-02-29",
                             "2026-13-01",
                             "2026-11-21 24:00",
                             "2026-11-21 14:60",
                             "2026-11-21 14",
                             "2026-11-21Z",
                             "2026-11-21 14:00 ",
                             "11/21/2026",
                             "tomorrow",
                             "#7d"})
        EXPECT_FALSE(parseWhen(text, now)) << text;
    EXPECT_THROW((void)whenOption("soon", now), UsageError);
}

}  // namespace KestrelCLI
