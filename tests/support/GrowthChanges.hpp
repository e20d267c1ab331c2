#pragma once

#include "KestrelCore/Storage/Growth.hpp"

#include <cstdint>
#include <optional>
#include <utility>

namespace KestrelCore::testing {

/// What became of a file.
[[nodiscard]] inline GrowthChange fileChange(const char* path, GrowthChangeKind what, std::int64_t before,
                                             std::int64_t after) {
    return {.path = path, .what = what, .before = before, .after = after, .items = 1, .movedFrom = std::nullopt};
}

/// What became of a folder.
[[nodiscard]] inline GrowthChange folderChange(const char* path, GrowthChangeKind what, std::int64_t before,
                                               std::int64_t after, std::int64_t items,
                                               std::optional<Text> movedFrom = std::nullopt) {
    return {.path = path,
            .kind = FileKind::directory,
            .what = what,
            .before = before,
            .after = after,
            .items = items,
            .movedFrom = std::move(movedFrom)};
}

}  // namespace KestrelCore::testing
