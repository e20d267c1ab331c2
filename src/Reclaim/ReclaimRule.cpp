#include "KestrelCore/Reclaim/ReclaimRule.hpp"

#include <algorithm>

namespace KestrelCore {

namespace {

constexpr std::array<std::string_view, allReclaimCertainties.size()> certaintyNames{"regenerates", "downloads again",
                                                                                    "yours"};
constexpr std::array<std::string_view, 5> finderNames{"empty-folders", "large-old-files", "dangling-links",
                                                      "application-residues", "duplicates"};

template <typename Enumeration, typename Names>
std::optional<Enumeration> named(const Names& names, std::string_view name) {
    const auto found = std::ranges::find(names, name);
    if (found == names.end()) return std::nullopt;
    return static_cast<Enumeration>(found - names.begin());
}

bool asksDiskFor(const ReclaimMatch& match) {
    return match.finder && *match.finder != ReclaimFinder::emptyFolders &&
           *match.finder != ReclaimFinder::largeOldFiles;
}

}  // namespace

std::string_view rawValue(ReclaimCertainty certainty) { return certaintyNames[static_cast<std::size_t>(certainty)]; }

template <>
std::optional<ReclaimCertainty> fromRawValue<ReclaimCertainty>(std::string_view rawValue) {
    return named<ReclaimCertainty>(certaintyNames, rawValue);
}

std::string_view rawValue(ReclaimFinder finder) { return finderNames[static_cast<std::size_t>(finder)]; }

template <>
std::optional<ReclaimFinder> fromRawValue<ReclaimFinder>(std::string_view rawValue) {
    return named<ReclaimFinder>(finderNames, rawValue);
}

bool ReclaimRule::asksDisk() const { return std::ranges::all_of(matches, asksDiskFor); }

}  // namespace KestrelCore
