#pragma once

#include "output/Session.hpp"

#include "KestrelCore/Base/Text.hpp"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCLI {

/// A part of a text in bytes: `begin` up to but not `end`.
struct Mark {
    std::size_t begin;
    std::size_t end;

    bool operator==(const Mark&) const = default;
};

/// Where the words of a query stand in a shown path, in ascending order and without overlaps: every place in the last
/// component, or, for a word that is not there, its last place before. A word that was found with a slip has none.
[[nodiscard]] std::vector<Mark> searchMarks(std::string_view shownPath, const std::vector<KestrelCore::Text>& words);

/// A path as it is shown, in its style, with what the words found in it in another. Coloured always.
[[nodiscard]] std::string withSearchMarks(std::string_view shown, Style style,
                                          const std::vector<KestrelCore::Text>& words);

}  // namespace KestrelCLI
