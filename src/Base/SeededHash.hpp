#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace KestrelCore {

// Names come from whoever writes files: under a function that is known beforehand, crafted names could pile up in one
// place and make every step as long as the pile. So these hash differently in each process; never store a result.

/// A hash of the bytes.
[[nodiscard]] std::uint64_t seededHash(std::string_view bytes);
/// A hash of a sequence that `hash` stands for with one more value at its end.
[[nodiscard]] std::uint64_t seededHash(std::uint64_t hash, std::uint64_t value);

/// For tables that are keyed by bytes.
struct SeededHash {
    std::size_t operator()(std::string_view bytes) const { return static_cast<std::size_t>(seededHash(bytes)); }
};

}  // namespace KestrelCore
