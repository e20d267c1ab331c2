#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace KestrelCore {

/// Whose an item is.
struct ItemOwner {
    std::uint32_t user = 0;  ///< the system's number
    bool isLink = false;
};

/// Of the item at `path` (raw bytes) itself: links are not followed. Empty where there is none, or it can't be looked
/// at. Any thread; blocks on the disk.
[[nodiscard]] std::optional<ItemOwner> ownerOf(const std::string& path);

/// The number of the user that this process acts as.
[[nodiscard]] std::uint32_t currentUser();

}  // namespace KestrelCore
