#include "KestrelCore/Base/Date.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fmt/format.h>

namespace KestrelCore {

Date Date::now() {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return since1970(std::chrono::duration<double>(sinceEpoch).count());
}

std::string Date::rfc3339() const {
    using namespace std::chrono;
    // The first and the last second of the years that the form can write, in seconds since 1970.
    constexpr double earliest = -62167219200.0;
    constexpr double latest = 253402300799.999;
    const double clamped = std::isnan(secondsSinceReferenceDate) ? 0 : std::clamp(secondsSince1970(), earliest, latest);
    // To the nearest, since a double can't hold most milliseconds exactly: the one just below is not meant.
    const auto milliseconds = static_cast<std::int64_t>(std::llround(clamped * 1000));
    const sys_time<std::chrono::milliseconds> point{std::chrono::milliseconds{milliseconds}};
    const auto day = floor<days>(point);
    const year_month_day date{day};
    const hh_mm_ss time{point - day};
    std::string text = fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", static_cast<int>(date.year()),
                                   static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                                   time.hours().count(), time.minutes().count(), time.seconds().count());
    if (time.subseconds().count() != 0) text += fmt::format(".{:03}", time.subseconds().count());
    return text + "Z";
}

}  // namespace KestrelCore
