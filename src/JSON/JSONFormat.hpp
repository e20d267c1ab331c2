#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace KestrelCore {

/// How the library writes JSON values: compact, "/" escaped, everything beyond ASCII raw. One spelling for each value,
/// so that a reader may recognise what was written here without parsing it. Any thread.
struct JSONFormat {
    /// Appends `text` (well-formed UTF-8) as a string with its quotes.
    static void appendString(std::string& out, std::string_view text);
    /// The same without the quotes.
    static void appendEscaped(std::string& out, std::string_view text);
    static void appendInteger(std::string& out, std::int64_t value);
    static void appendInteger(std::string& out, std::uint64_t value);
    /// The shortest digits that read back exactly: decimal for 1e-4 ≤ |x| ≤ 2^53, exponential otherwise, no ".0".
    /// False, and nothing appended, for a value that is not finite.
    [[nodiscard]] static bool appendDouble(std::string& out, double value);

    // The same into memory, for texts that are written in bulk. Each returns the end of what it wrote.

    /// No byte becomes more than this many.
    static constexpr std::size_t longestEscape = 6;
    static constexpr std::size_t longestInteger = 20;
    static constexpr std::size_t longestDouble = 32;
    /// Needs `longestEscape` bytes for each byte of `text`.
    static char* writeEscaped(char* out, std::string_view text);
    /// How many bytes that writes.
    [[nodiscard]] static std::size_t escapedLength(std::string_view text);
    /// Null, and nothing written, for a value that is not finite.
    [[nodiscard]] static char* writeDouble(char* out, double value);
};

}  // namespace KestrelCore
