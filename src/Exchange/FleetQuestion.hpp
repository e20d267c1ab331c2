#pragma once

#include "Exchange/FleetCondition.hpp"
#include "KestrelCore/Model/SearchExplanation.hpp"
#include "KestrelCore/Model/SearchFilter.hpp"

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// Writes the SQL of a search: each function the part for one thing that is asked. Texts stand in it as hexadecimal
/// digits.
class FleetQuestion {
public:
    /// What sizes, kinds, extensions, dates and the like ask for.
    [[nodiscard]] std::string plainFilters(const SearchExplanation& plan, const SearchFilter& filter);
    /// What words and folders in the path ask for.
    [[nodiscard]] FleetCondition pathFilters(const SearchExplanation& plan, const SearchFilter& filter);
    /// That name or path have the term, or nearly so.
    [[nodiscard]] FleetCondition term(const Text& term);
    /// Holds wherever the one for the term is possible, and costs less.
    [[nodiscard]] std::string coarseTerm(const Text& term);
    /// The score of all terms and of the phrase that they are.
    [[nodiscard]] std::string score(const std::vector<Text>& terms);

private:
    [[nodiscard]] static std::string place(std::string_view text);
    std::string date(Date date);
    std::string extensionIn(const std::set<Text>& extensions);
    [[nodiscard]] static std::string extensionOf(const std::set<ItemCategory>& categories);
    std::string types(const SearchFilter& filter);
    std::string after(Date bound);
    std::string before(Date bound);
    std::string nameHas(std::string_view pattern);
    std::string pathHas(std::string_view pattern);
    std::string pathHasWord(const Text& word);
    std::string anyPiece(const std::vector<std::string>& pieces, bool isInKeys);
    FleetCondition isBelow(const Text& folder);
    FleetCondition isAt(const Text& path);
    std::string termScore(const Text& term);
};

}  // namespace KestrelCore
