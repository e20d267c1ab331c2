#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <type_traits>

/// What the inline parts of these headers are made of. No host should use it: it may change or go without notice.
namespace KestrelCore::Internal {

/// Mixes one more 64-bit value into a running hash. Fast and even, but not secret: whoever chooses the values can make
/// them collide. The same values give the same hash for as long as the process runs; nothing should be stored by it.
[[nodiscard]] constexpr std::uint64_t mixHash(std::uint64_t hash, std::uint64_t value) noexcept {
    std::uint64_t mixed = (hash ^ value) * 0x9E3779B97F4A7C15U;
    return mixed ^ (mixed >> 32);
}

/// One hash over all values in order, each hashed by `std::hash`.
template <typename... Values>
[[nodiscard]] std::size_t hashOf(const Values&... values) {
    std::uint64_t hash = 0x2545F4914F6CDD1DU;
    ((hash = mixHash(hash, std::hash<std::remove_cvref_t<Values>>{}(values))), ...);
    return static_cast<std::size_t>(hash);
}

}  // namespace KestrelCore::Internal
