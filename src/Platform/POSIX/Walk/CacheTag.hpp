#pragma once

#include <string_view>

namespace KestrelCore {

inline constexpr std::string_view cacheTagName = "CACHEDIR.TAG";

/// Whether the open folder holds a cache's tag: a regular file of that name that begins with the signature that all
/// programs write. A link, a FIFO or a device of that name is not opened.
[[nodiscard]] bool isTaggedAsCache(int folder) noexcept;

}  // namespace KestrelCore
