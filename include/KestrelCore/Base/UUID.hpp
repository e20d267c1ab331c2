#pragma once

#include "KestrelCore/Export.hpp"

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace KestrelCore {

/// A universally unique identifier: 16 bytes, all zero when default-made. Ordered by its bytes, which is the order of
/// its text; the order of random ones means nothing.
struct KESTRELCORE_EXPORT UUID {
    std::array<std::uint8_t, 16> bytes{};

    /// A new random identifier (version 4). Random bytes are drawn from the system in batches for each thread.
    [[nodiscard]] static UUID random();

    /// Reads the 36-character form (8-4-4-4-12 hexadecimal digits, either case). Empty for anything else.
    [[nodiscard]] static std::optional<UUID> parse(std::string_view text);

    /// The 36-character form in upper case.
    [[nodiscard]] std::string uuidString() const;

    /// Writes the 36 characters of `uuidString` to `out`, without a terminator.
    void write(char* out) const;

    bool operator==(const UUID&) const = default;
    // By hand, since not every standard library orders arrays this way.
    std::strong_ordering operator<=>(const UUID& other) const {
        return __builtin_memcmp(bytes.data(), other.bytes.data(), sizeof bytes) <=> 0;
    }
};

}  // namespace KestrelCore

template <>
struct std::hash<KestrelCore::UUID> {
    std::size_t operator()(const KestrelCore::UUID& value) const noexcept {
        std::uint64_t halves[2];
        static_assert(sizeof halves == sizeof value.bytes);
        __builtin_memcpy(halves, value.bytes.data(), sizeof halves);
        return static_cast<std::size_t>(halves[0] ^ (halves[1] * 0x9E3779B97F4A7C15U));
    }
};
