#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// The values of one column of a chunk of rows, as they stand in a history: as bytes that compress well, compressed.
/// Pure functions; any thread. Reading takes any bytes whatever and answers with nothing where they are no column.
///
/// A column of numbers is laid out in planes: all lowest bytes, then all second ones, and so on as far as any number
/// reaches, each number less the smallest. A plane holds bytes of one kind, so each is compressed by itself.
///
///     planes (1 byte; + 0x10: each number is the step from the one before) | smallest (8 bytes) | planes × count bytes
///
/// A column of texts is the texts with a "/" behind each, which no text may hold.
struct Column {
    /// How many rows a chunk has at most.
    static constexpr std::size_t mostRows = std::size_t{1} << 16;

    /// Compressed numbers. `areSteps` for numbers that follow each other closely, such as inodes.
    [[nodiscard]] static std::string pack(std::span<const std::uint64_t> numbers, bool areSteps = false);
    /// Compressed bytes, as they are.
    [[nodiscard]] static std::string pack(std::string_view bytes);

    /// Replaces `into` by the `count` numbers (at most `mostRows`) of a column; false when it has not just these.
    [[nodiscard]] static bool unpack(std::string_view packed, std::size_t count, std::vector<std::uint64_t>& into);
    /// Numbers that say themselves how many they are.
    [[nodiscard]] static std::string packCounted(std::span<const std::uint64_t> numbers);
    [[nodiscard]] static bool unpackCounted(std::string_view packed, std::vector<std::uint64_t>& into);
    /// The bytes; empty when they are not to be had, or would be more than `mostBytes`.
    [[nodiscard]] static std::optional<std::string> unpack(std::string_view packed, std::size_t mostBytes);
    /// How many bytes there are, as far as the column says; empty when it does not, or says more than `mostBytes`.
    [[nodiscard]] static std::optional<std::size_t> unpackedSize(std::string_view packed, std::size_t mostBytes);
    /// Writes the bytes; false when they are not just `size`.
    [[nodiscard]] static bool unpackTo(char* into, std::size_t size, std::string_view packed);
};

/// A column of numbers that is expanded, but made into numbers only where they are asked for. One thread.
class NumberColumn {
public:
    /// Takes the place of the column that was here before; false when the bytes are none of `count` numbers.
    [[nodiscard]] bool open(std::string_view packed, std::size_t count);
    /// Puts the numbers from `first` on into `into`. Of steps all up to there are summed up, so ranges should ascend.
    void read(std::size_t first, std::span<std::uint64_t> into);

private:
    std::string bytes_;  ///< kept from column to column, and longer than what is in it
    std::size_t count_ = 0;
    std::size_t planes_ = 0;
    bool areSteps_ = false;
    std::uint64_t base_ = 0;
    std::size_t next_ = 0;      ///< of steps: what is behind the number that was read last,
    std::uint64_t before_ = 0;  ///< and that number
};

/// A difference of either sign as a small number.
[[nodiscard]] constexpr std::uint64_t zigzag(std::uint64_t difference) {
    return (difference << 1) ^ (0 - (difference >> 63));
}
[[nodiscard]] constexpr std::uint64_t unzigzag(std::uint64_t number) { return (number >> 1) ^ (0 - (number & 1)); }

}  // namespace KestrelCore
