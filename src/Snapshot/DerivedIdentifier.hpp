#pragma once

#include "KestrelCore/Base/UUID.hpp"

#include <cstdint>

namespace KestrelCore {

/// The identifier of the record with this number in a snapshot: as random as the seed, which is drawn for each
/// snapshot, and of the form of a random UUID. Two numbers never have the same, so that records need no room for one.
/// Pure.
///
/// The numbers and their identifiers belong together for ever: histories keep the seed and nothing else.
[[nodiscard]] UUID derivedIdentifier(const UUID& seed, std::uint32_t number);

}  // namespace KestrelCore
