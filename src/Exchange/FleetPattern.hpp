#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <optional>
#include <string>
#include <vector>

namespace KestrelCore {

/// What a column store needs to know of a word to find words near it, by the search's fuzzy rule.
struct FleetPattern {
    int distanceBound = 0;            ///< edits that a word may be away: 0 (too short a term), 1 or 2
    std::vector<std::string> pieces;  ///< patterns; of any word so near, in a lowercased name, one is in the name's key
    /// A regular expression for a lowercased ASCII text that has a word so near. Absent where the term is too long for
    /// one; empty where no ASCII word can be so near.
    std::optional<std::string> nearWord;

    [[nodiscard]] static FleetPattern of(const Text& term);

    /// A regular expression for a lowercased ASCII text that has a word which is the term, or begins with it; absent
    /// for a term that is no part of a word of ASCII.
    [[nodiscard]] static std::optional<std::string> wordExpression(const Text& term);
    [[nodiscard]] static std::optional<std::string> wordStartExpression(const Text& term);
};

}  // namespace KestrelCore
