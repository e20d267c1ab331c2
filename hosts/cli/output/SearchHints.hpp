#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace KestrelCLI {

/// A sentence about a word that the search takes otherwise than its writer probably meant.
struct SearchHint {
    enum class Weight : std::uint8_t {
        advice,  ///< the result may surprise
        doubt,   ///< the word is looked for as it stands, and looks like a filter: whoever can't read the hint, such as
                 ///< a script, must not get that result unless it asks for it
        trap     ///< the word filters nothing: no result is the one that was meant
    };
    Weight weight = Weight::advice;
    std::string text;
};

/// What is to be said of a query: an unknown kind ("type:foldr"), a size that is none (">10qb"), a filter that there is
/// not ("modified:2023", "sise:big"), an operator ("not", ">=1gb"), a misspelled filter ("vidoes"), a filter with
/// nothing after it, a pattern with "*", bounds that no item can meet. In the order of the words.
[[nodiscard]] std::vector<SearchHint> searchHints(const std::string& query);

}  // namespace KestrelCLI
