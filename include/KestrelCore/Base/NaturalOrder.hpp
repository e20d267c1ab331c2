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

    /// `equivalent` only for texts with identical code units (up to canonical order of equal digit runs). Any thread.
    [[nodiscard]] static std::weak_ordering compare(const Text& a, const Text& b);
};

}  // namespace KestrelCore
