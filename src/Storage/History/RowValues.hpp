#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "Storage/History/RowBlock.hpp"

#include <array>
#include <bit>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

// How single values become numbers of a column, and back. Pure; every value has a form, and comes back equal.

namespace StoredUnits {

inline constexpr std::uint64_t unit = 512;
inline constexpr std::uint64_t block = 4096;
inline constexpr double scale = 4294967296.0;  ///< 2^32

/// In whole blocks. Of a size no disk has this may be anything, the same each time.
[[nodiscard]] inline std::uint64_t inBlocks(std::int64_t logical) {
    return (static_cast<std::uint64_t>(logical) + (block - 1)) & ~(block - 1);
}
[[nodiscard]] inline double joined(std::uint64_t seconds, std::uint64_t fraction) {
    return static_cast<double>(static_cast<std::int64_t>(seconds - biasOfSeconds)) +
           static_cast<double>(fraction) / scale;
}

}  // namespace StoredUnits

/// What a row says of its modification: `seconds`, `fraction` and the flags of `shape` that belong to it.
struct StoredDate {
    std::uint64_t seconds = 0;
    std::uint64_t fraction = 0;
    std::uint64_t shape = 0;
};
[[nodiscard]] StoredDate storedDate(std::optional<Date> date);
[[nodiscard]] inline std::optional<Date> dateOf(const StoredDate& stored) {
    if ((stored.shape & RowShape::noDate) != 0) return std::nullopt;
    if ((stored.shape & RowShape::rawDate) != 0) return Date{std::bit_cast<double>(stored.seconds)};
    return Date{StoredUnits::joined(stored.seconds, stored.fraction)};
}

/// The same of allocated bytes; they are mostly what the logical size takes in blocks of 4096.
struct StoredAllocation {
    std::uint64_t allocated = 0;
    std::uint64_t shape = 0;
};
[[nodiscard]] StoredAllocation storedAllocation(std::int64_t allocated, std::int64_t logical);
[[nodiscard]] inline std::int64_t allocationOf(const StoredAllocation& stored, std::int64_t logical) {
    if ((stored.shape & RowShape::rawAllocated) != 0) return static_cast<std::int64_t>(stored.allocated);
    return static_cast<std::int64_t>(StoredUnits::inBlocks(logical) + unzigzag(stored.allocated) * StoredUnits::unit);
}

/// Texts one after the other, each with its length before it.
[[nodiscard]] std::string joinedTexts(const std::vector<std::string_view>& texts);
/// Slices of `bytes`; empty when they are no such texts.
[[nodiscard]] std::optional<std::vector<std::string_view>> separatedTexts(std::string_view bytes);

/// A text without "/", for the column of names, and back. Empty for what is no such text.
[[nodiscard]] std::string withoutSlashes(std::string_view text);
[[nodiscard]] std::optional<std::string> withSlashes(std::string_view text);

/// The classes of age by which a folder's bytes are counted: changed within 30 days, 90 days, a year, three years, and
/// earlier or at an unknown time. Counted from a day that stays the same for a full generation and its differences,
/// so that what does not change does not change its class.
struct HistoryAges {
    static constexpr std::size_t classes = agesKept + 1;
    static constexpr std::array<std::int64_t, agesKept> days{30, 90, 365, 1095};

    std::int64_t countedFrom = 0;  ///< seconds since 2001

    /// A time as `countedFrom` has it; 0 for one that no clock has.
    [[nodiscard]] static std::int64_t day(Date date);
    /// The class of something changed at `seconds` (as a column has them; of rows whose `shape` says so no date).
    [[nodiscard]] std::size_t classOf(std::uint64_t seconds, std::uint64_t shape) const;
};

}  // namespace KestrelCore
