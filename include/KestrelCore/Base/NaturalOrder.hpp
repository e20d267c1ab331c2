#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"

#include <compare>

namespace KestrelCore {

/// The order in which a file browser lists names: case-insensitive first, digit runs by their value ("a 2" before "a
/// 10"), punctuation significant, accents and case as tie-breaks; independent of the user's locale.
class KESTRELCORE_EXPORT NaturalOrder {
public:
    NaturalOrder() = delete;

    /// How two names stand to each other; `equivalent` only for texts with identical code units (up to canonical order
    /// of equal digit runs). For a pair alone: among three names with padded numbers or numbers beyond 64 bits each can
    /// be before the next, which no sort may be given. Any thread.
    [[nodiscard]] static std::weak_ordering compare(const Text& a, const Text& b);

    /// The order of the names in a list: a total one (but for texts with identical code units), so that every sort may
    /// use it and gives the same list for the same names. Agrees with `compare` for two ASCII names whose numbers stay
    /// below 2^64; may differ for larger numbers, and for padded ones beside accented letters of another case. Any
    /// thread.
    [[nodiscard]] static std::weak_ordering compareInList(const Text& a, const Text& b);
};

}  // namespace KestrelCore
