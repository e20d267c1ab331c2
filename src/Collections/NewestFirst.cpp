#include "Collections/NewestFirst.hpp"

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/NaturalOrder.hpp"

#include <bit>
#include <boost/sort/pdqsort/pdqsort.hpp>

namespace KestrelCore {

namespace {

/// A date as a number that falls as the date rises: whole numbers are sorted without a branch to guess.
std::uint64_t ageKey(double date) {
    constexpr std::uint64_t sign = std::uint64_t{1} << 63;
    const auto bits = std::bit_cast<std::uint64_t>(date + 0.0);  // one zero for both
    return (bits & sign) != 0 ? bits : ~(bits | sign);
}

}  // namespace

std::vector<std::uint32_t> newestFirstPlaces(const RecordStorage& storage, std::span<const std::uint32_t> indices) {
    struct Dated {
        std::uint64_t age;
        std::uint32_t position;
    };
    std::vector<Dated> dated;
    dated.reserve(indices.size());
    for (std::uint32_t position = 0; position < indices.size(); ++position) {
        const RecordStorage::Row& row = storage.row(indices[position]);
        const double date = row.hasModified ? row.modifiedAt : Date::distantPast().secondsSinceReferenceDate;
        dated.push_back({ageKey(date), position});
    }
    boost::sort::pdqsort_branchless(dated.begin(), dated.end(),
                                    [](const Dated& a, const Dated& b) { return a.age < b.age; });

    std::vector<std::uint32_t> places(indices.size());
    std::uint32_t place = 0;
    std::vector<std::pair<Text, std::uint32_t>> equallyOld;
    for (auto begin = dated.cbegin(); begin != dated.cend();) {
        const auto end = std::find_if(begin, dated.cend(), [&](const Dated& other) { return other.age != begin->age; });
        if (end - begin == 1) {
            places[begin->position] = place++;
        } else {
            equallyOld.clear();
            for (auto each = begin; each != end; ++each) {
                equallyOld.emplace_back(storage.nameOf(storage.row(indices[each->position])), each->position);
            }
            std::sort(equallyOld.begin(), equallyOld.end(), [](const auto& a, const auto& b) {
                const std::weak_ordering byName = NaturalOrder::compareInList(a.first, b.first);
                return byName < 0 || (byName == 0 && a.second < b.second);
            });
            for (const auto& [name, position] : equallyOld) places[position] = place++;
        }
        begin = end;
    }
    return places;
}

const FileRecord& blankRecord() {
    static const FileRecord blank{FileRecord::Fields{}};
    return blank;
}

}  // namespace KestrelCore
