#include "Snapshot/SummaryGroups.hpp"

#include <algorithm>
#include <cmath>
#include <string>
#include <tuple>
#include <unordered_map>

namespace KestrelCore {

std::optional<std::int64_t> wholeSeconds(double secondsSinceReferenceDate) {
    constexpr std::int64_t most = std::int64_t{1} << 60;
    if (std::isnan(secondsSinceReferenceDate)) return std::nullopt;
    const double whole = std::floor(secondsSinceReferenceDate);
    return static_cast<std::int64_t>(std::clamp(whole, -static_cast<double>(most), static_cast<double>(most)));
}

SummaryGroups::SummaryGroups(SummaryGrouping grouping, std::span<const Text> extensions, Date now)
    : grouping_{grouping}, now_{wholeSeconds(now.secondsSinceReferenceDate).value_or(0)} {
    if (grouping != SummaryGrouping::type && grouping != SummaryGrouping::extension) return;
    ofExtension_.reserve(extensions.size());
    std::unordered_map<Text, std::uint32_t> known;
    for (const Text& extension : extensions) {
        if (grouping == SummaryGrouping::type) {
            ofExtension_.push_back(static_cast<std::uint32_t>(ItemCategories::of(extension)));
            continue;
        }
        Text name = extension.lowercased();
        const auto [group, isNew] = known.try_emplace(name, static_cast<std::uint32_t>(names_.size()));
        if (isNew) names_.push_back(std::move(name));
        ofExtension_.push_back(group->second);
    }
}

void SummaryGroups::Tally::add(const Tally& other) {
    if (counts_.size() < other.counts_.size()) counts_.resize(other.counts_.size());
    for (std::size_t i = 0; i < other.counts_.size(); ++i) {
        counts_[i].items += other.counts_[i].items;
        counts_[i].bytes += other.counts_[i].bytes;
    }
}

Text SummaryGroups::nameOf(std::size_t group) const {
    switch (grouping_) {
    case SummaryGrouping::type: return ItemCategories::nameOf(static_cast<ItemCategory>(group));
    case SummaryGrouping::extension: return names_[group];
    case SummaryGrouping::age: return group < ageClasses.size() ? ageClasses[group].name : unknownAge;
    case SummaryGrouping::size: return sizeClasses[group].name;
    case SummaryGrouping::depth: break;
    }
    return std::to_string(group);
}

Summary SummaryGroups::summary(const Text& folder, const Tally& tally) const {
    Summary summary{
        .folder = folder, .grouping = grouping_, .now = Date{static_cast<double>(now_)}, .all = {}, .rows = {}};
    std::uint64_t bytes = 0;
    for (std::size_t i = 0; i < tally.counts_.size(); ++i) {
        const Tally::Count& count = tally.counts_[i];
        if (count.items == 0) continue;
        summary.rows.push_back(
            {.name = nameOf(i), .items = count.items, .bytes = static_cast<std::int64_t>(count.bytes)});
        summary.all.items += count.items;
        bytes += count.bytes;
    }
    summary.all.bytes = static_cast<std::int64_t>(bytes);
    if (grouping_ == SummaryGrouping::type || grouping_ == SummaryGrouping::extension) {
        std::ranges::sort(summary.rows, [](const SummaryRow& a, const SummaryRow& b) {
            return std::tie(b.bytes, b.items, a.name) < std::tie(a.bytes, a.items, b.name);
        });
    }
    return summary;
}

}  // namespace KestrelCore
