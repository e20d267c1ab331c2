#pragma once

#include "KestrelCore/Storage/Growth.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace KestrelCore {

/// Bytes and items that some changes tell of together. Modulo 2^64: the sizes of a snapshot may be anything.
struct GrowthSum {
    std::uint64_t before = 0;
    std::uint64_t after = 0;
    std::int64_t items = 0;

    [[nodiscard]] std::int64_t change() const { return static_cast<std::int64_t>(after - before); }
    /// The bytes of the change, whichever way it goes.
    [[nodiscard]] std::uint64_t size() const {
        const std::int64_t bytes = change();
        return bytes < 0 ? 0 - static_cast<std::uint64_t>(bytes) : static_cast<std::uint64_t>(bytes);
    }
    void add(const GrowthSum& other) {
        before += other.before;
        after += other.after;
        items += other.items;
    }
};

/// A folder in or below which something has changed.
struct GrowthFolder {
    std::size_t parent = 0;  ///< comes before its folders; the first one's own is itself
    std::size_t level = 0;   ///< below the first
    GrowthSum own;           ///< how its own size has changed
};

/// A change that can be told by itself, or with the folder.
struct GrowthLeaf {
    std::size_t folder = 0;
    std::size_t level = 0;
    GrowthSum sum;
    std::uint64_t weight = 0;  ///< how much it is worth a line
};

/// Which changes are told by themselves, and what is told with each folder.
struct GrowthSelection {
    std::vector<std::size_t> leaves;  ///< positions
    struct Rest {
        std::size_t folder;
        GrowthSum sum;
    };
    std::vector<Rest> folders;
};

/// Chooses as many lines as the options allow: a change that is at least so large is told by itself, what is smaller is
/// summed up in its folder; a sum that is at least so large is told there, and else goes to the folder above. How large
/// that is follows from how many lines there may be. Nothing is lost: the last sum is told with the first folder.
[[nodiscard]] GrowthSelection selectGrowth(const std::vector<GrowthFolder>& folders,
                                           const std::vector<GrowthLeaf>& leaves, const GrowthOptions& options);

}  // namespace KestrelCore
