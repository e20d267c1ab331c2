#include "output/Times.hpp"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <array>
#include <cmath>
#include <ctime>

using namespace KestrelCore;

namespace KestrelCLI {

std::string age(Date then, Date now) {
    const double seconds = now.secondsSinceReferenceDate - then.secondsSinceReferenceDate;
    // A clock that was put back, or a file with a date to come; also what is no number.
    if (!(seconds >= 0)) return "in the future";
    if (seconds < 60) return "just now";
    struct Unit {
        double seconds;
        double from;  ///< the age in seconds from which it is used
        const char* name;
    };
    // Of months and years from two on, as one of them would be too rough to act on: 13 months are not "1 year".
    static constexpr double day = 86400;
    static constexpr double month = 365.2425 / 12 * day;
    static constexpr double year = 365.2425 * day;
    static constexpr std::array units{Unit{60, 60, "minute"}, Unit{3600, 3600, "hour"}, Unit{day, day, "day"},
                                      Unit{month, 2 * month, "month"}, Unit{year, 2 * year, "year"}};
    const Unit* unit = units.data();
    for (const Unit& larger : units) {
        if (seconds >= larger.from) unit = &larger;
    }
    const double count = std::floor(seconds / unit->seconds);
    return fmt::format("{:.0f} {}{} ago", count, unit->name, count == 1 ? "" : "s");
}

std::string timeOfEarlierScan(Date then, Date now) {
    const double seconds = now.secondsSinceReferenceDate - then.secondsSinceReferenceDate;
    if (!(seconds >= 0)) return "the scan before";
    return seconds < 60 ? "a moment ago" : age(then, now);
}

std::string localTime(Date date) {
    constexpr double farthest = 2e11;  // some six thousand years
    const double seconds = date.secondsSince1970();
    if (!(std::fabs(seconds) < farthest)) return date.rfc3339();
    const auto whole = static_cast<std::time_t>(std::floor(seconds));
    std::tm local{};
    // A year that the calendar of the system does not reach; the other form knows it.
    if (localtime_r(&whole, &local) == nullptr) return date.rfc3339();
    return fmt::format("{:%Y-%m-%d %H:%M}", local);
}

}  // namespace KestrelCLI
