#pragma once

#include "output/Session.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace KestrelCLI {

/// A sentence about words that the search takes otherwise than their writer probably meant.
struct SearchHint {
    enum class Weight : std::uint8_t {
        advice,  ///< the result may surprise
        doubt,  ///< the word is taken as it stands, and looks like another filter: whoever can't read the hint, such as
                ///< a script, must not get that result unless it asks for it
        trap    ///< the word filters nothing: no result is the one that was meant
    };
    Weight weight = Weight::advice;
    std::string problem;  ///< "“modified:2023” is no filter"
    std::string outcome;  ///< what comes of it where the search goes on all the same; may be empty
    std::string meant;    ///< what to write instead, or what there is

    /// Beside a result.
    [[nodiscard]] std::string told() const { return problem + outcome + "; " + meant; }
    /// In place of one.
    [[nodiscard]] std::string refusal() const { return problem + "; " + meant; }
};

/// What is to be said of a query: an unknown kind ("type:foldr"), a size that is none (">10qb"), a filter that there is
/// not ("modified:2023", "size>1gb", "sise:big"), several values in one filter ("ext:pdf,jpg"), an operator ("not",
/// ">=1gb"), what people say in several words ("older than 1y", "> 1 gb"), a misspelled filter ("vidoes"), a filter
/// with nothing after it, a pattern with "*", bounds that no item can meet. In the order of the words.
[[nodiscard]] std::vector<SearchHint> searchHints(const std::string& query);

/// Who gets the result.
enum class SearchReader : std::uint8_t { person, script };
/// What becomes of words that look like mistyped filters, and are none.
enum class DoubtfulWords : std::uint8_t { questioned, taken };

/// Throws `UsageError` for a query that can't be searched as it was meant, else says what is to be said of it. A script
/// does not read that: what is doubtful is an error there.
void weighWords(const Session& session, const std::string& query, SearchReader reader, DoubtfulWords doubtful);

}  // namespace KestrelCLI
