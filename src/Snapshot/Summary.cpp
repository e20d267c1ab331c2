#include "KestrelCore/Snapshot/Summary.hpp"

#include "KestrelCore/Snapshot/SummaryAge.hpp"
#include "Snapshot/SummaryClasses.hpp"

#include <algorithm>

namespace KestrelCore {

std::string_view rawValue(SummaryGrouping grouping) {
    switch (grouping) {
    case SummaryGrouping::type: return "type";
    case SummaryGrouping::extension: return "extension";
    case SummaryGrouping::age: return "age";
    case SummaryGrouping::depth: return "depth";
    case SummaryGrouping::size: break;
    }
    return "size";
}

template <>
std::optional<SummaryGrouping> fromRawValue<SummaryGrouping>(std::string_view rawValue) {
    for (const SummaryGrouping each : allSummaryGroupings) {
        if (KestrelCore::rawValue(each) == rawValue) return each;
    }
    return std::nullopt;
}

std::span<const SummaryAge> SummaryAges::all() { return ageClasses; }

std::string_view SummaryAges::unknown() { return unknownAge; }

std::optional<SearchFilter> Summary::filterFor(const SummaryRow& row) const {
    SearchFilter filter;
    filter.inFolders = {folder};
    const auto isOfRow = [&](const auto& each) { return row.name == Text{each.name}; };
    switch (grouping) {
    case SummaryGrouping::type:
        // Packages are no files, and would be asked for by that alone.
        for (const ItemCategory category : allItemCategories) {
            if (row.name == Text{ItemCategories::nameOf(category)}) filter.categories = {category};
        }
        return filter;
    case SummaryGrouping::extension: filter.extensions = {row.name}; break;
    case SummaryGrouping::age: {
        const auto age = std::ranges::find_if(ageClasses, isOfRow);
        if (age == ageClasses.end()) return std::nullopt;
        const auto before = [&](std::int64_t seconds) {
            return Date{now.secondsSinceReferenceDate - static_cast<double>(seconds)};
        };
        if (age + 1 != ageClasses.end()) filter.modifiedAfter = before(age->mostSeconds);
        if (age != ageClasses.begin()) filter.modifiedBefore = before((age - 1)->mostSeconds);
        break;
    }
    case SummaryGrouping::size: {
        const auto size = std::ranges::find_if(sizeClasses, isOfRow);
        if (size == sizeClasses.end()) return std::nullopt;
        if (size + 1 != sizeClasses.end()) filter.maximumBytes = size->most;
        if (size != sizeClasses.begin()) filter.minimumBytes = (size - 1)->most + 1;
        break;
    }
    case SummaryGrouping::depth: return std::nullopt;
    }
    filter.kinds = {FileKind::file};
    return filter;
}

}  // namespace KestrelCore
