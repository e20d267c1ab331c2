#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>
#include <type_traits>

// Records that the kernel filled, read by offsets: the readers know layouts and not headers, so that they run on every
// system. Where the real headers are there, the calls that fetch the bytes hold each offset against them.

namespace KestrelCore {

/// The number at `offset` of a record, in this machine's byte order; 0 where the bytes end before it does. Numbers need
/// not be aligned.
template <typename Number>
[[nodiscard]] Number numberAt(std::string_view bytes, std::size_t offset) {
    static_assert(std::is_integral_v<Number>);
    Number value = 0;
    if (offset <= bytes.size() && bytes.size() - offset >= sizeof value)
        std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

/// The text in a field of `size` bytes: up to its first NUL, or all of a field without one, as far as the bytes go.
[[nodiscard]] inline std::string_view textAt(std::string_view bytes, std::size_t offset, std::size_t size) {
    if (offset > bytes.size()) return {};
    const std::string_view field = bytes.substr(offset, size);
    return field.substr(0, field.find('\0'));
}

/// The bytes of a value that a call has filled. They last as long as the value.
template <typename Value>
[[nodiscard]] std::string_view bytesOf(const Value& value) {
    static_assert(std::is_trivially_copyable_v<Value>);
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

}  // namespace KestrelCore
