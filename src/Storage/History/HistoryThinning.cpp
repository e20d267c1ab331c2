#include "Storage/History/HistoryThinning.hpp"

#include <cmath>
#include <map>
#include <ranges>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace KestrelCore {

namespace {

constexpr double secondsOfDay = 86'400;

double seconds(std::chrono::days days) { return static_cast<double>(days.count()) * secondsOfDay; }

/// What stays in the file when those are forgotten.
std::int64_t bytesLeft(std::vector<StoredGeneration> all, const std::set<std::int64_t>& forgotten) {
    for (StoredGeneration& each : all) each.isForgotten = each.isForgotten || forgotten.contains(each.number);
    const std::vector<std::int64_t> gone = unneeded(all);
    const std::set<std::int64_t> goneNumbers{gone.begin(), gone.end()};
    std::int64_t bytes = 0;
    for (const StoredGeneration& each : all) {
        if (!goneNumbers.contains(each.number)) bytes += each.storedBytes;
    }
    return bytes;
}

}  // namespace

std::vector<std::int64_t> thinned(const std::vector<StoredGeneration>& all, const ThinningPolicy& policy, Date now) {
    std::set<std::int64_t> forgotten;
    std::set<std::int64_t> newest;
    std::set<std::string_view> roots;
    std::set<std::string_view> wholeRoots;
    std::set<std::pair<std::string_view, double>> days;
    std::set<std::pair<std::string_view, double>> weeks;
    // From the newest on, by number: a clock may go back. The first of a day or week is its last.
    for (const StoredGeneration& each : std::ranges::reverse_view{all}) {
        if (each.isForgotten) continue;
        const double day = std::floor(each.completedAt / secondsOfDay);
        const double age = now.secondsSinceReferenceDate - each.completedAt;
        // A scan that was stopped early stands for no day and no week, and takes no whole one's place.
        const bool isLastOfDay = each.isComplete && days.emplace(each.root, day).second;
        const bool isLastOfWeek = each.isComplete && weeks.emplace(each.root, std::floor(day / 7)).second;
        const bool isNewestWhole = each.isComplete && wholeRoots.insert(each.root).second;
        const bool isNewest = roots.insert(each.root).second || isNewestWhole;
        if (isNewest) newest.insert(each.number);
        // What was taken over from elsewhere tells of times long ago, and somebody wanted it here.
        const bool isFromElsewhere = !each.root.starts_with('/');
        const bool isKept = isNewest || each.isPinned || isFromElsewhere || age <= seconds(policy.allWithin) ||
                            (isLastOfDay && age <= seconds(policy.dailyWithin)) ||
                            (isLastOfWeek && age <= seconds(policy.weeklyWithin));
        if (!isKept) forgotten.insert(each.number);
    }
    for (const StoredGeneration& each : all) {
        if (bytesLeft(all, forgotten) <= policy.mostBytes) break;
        if (!each.isForgotten && !each.isPinned && !newest.contains(each.number)) forgotten.insert(each.number);
    }
    return {forgotten.begin(), forgotten.end()};
}

std::vector<std::int64_t> unneeded(const std::vector<StoredGeneration>& all) {
    // A generation comes after the one that it is a difference to.
    std::set<std::int64_t> needed;
    std::vector<std::int64_t> result;
    for (const StoredGeneration& each : std::ranges::reverse_view{all}) {
        if (each.isForgotten && !needed.contains(each.number)) {
            result.push_back(each.number);
        } else if (each.base != 0) {
            needed.insert(each.base);
        }
    }
    return result;
}

}  // namespace KestrelCore
