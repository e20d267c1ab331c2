#pragma once

#include "KestrelCore/Base/Date.hpp"

#include <string>

namespace KestrelCLI {

/// How long before `now` it was, in one unit: "just now", "1 minute ago", "3 days ago", from two months on "5 months
/// ago", from two years on "3 years ago"; "in the future" for what the clock has not reached.
[[nodiscard]] std::string age(KestrelCore::Date then, KestrelCore::Date now);

/// The same of a scan that something is compared with, to stand behind "than" or "since": "a moment ago" for "just
/// now", "the scan before" for what the clock has not reached.
[[nodiscard]] std::string timeOfEarlierScan(KestrelCore::Date then, KestrelCore::Date now);

/// The day and minute by the local clock: "2026-11-21 09:30".
[[nodiscard]] std::string localTime(KestrelCore::Date date);

}  // namespace KestrelCLI
