#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <cstdint>
#include <optional>

namespace KestrelCore {

/// Which file of a group is kept: the one that was modified first, or last. Of equal ones the one with the shortest
/// path, then the first in the order of bytes.
enum class DuplicateKeeping : std::uint8_t { oldest, newest };

/// How duplicates are looked for.
struct DuplicateOptions {
    std::int64_t smallestBytes = 1'000'000;  ///< length of a file; what is below 1 counts as 1
    DuplicateKeeping keeping = DuplicateKeeping::oldest;
    /// Nothing in this folder goes, and it has the kept one of each group that it has any of. An absolute path, as the
    /// scan spells it.
    std::optional<Text> keptFolder{};
    /// How many threads read from one disk at once; absent: as the disk likes it.
    std::optional<unsigned> threads{};
};

/// How far a search has come. What is to be read is not known at first, so it grows.
struct DuplicateProgress {
    std::int64_t filesDone = 0;  ///< in this step
    std::int64_t files = 0;
    std::int64_t bytesRead = 0;
    std::int64_t bytesToRead = 0;  ///< of whole contents, as far as it is known that they must be read
    bool readsWhole = false;       ///< false while only beginnings and ends are looked at
    Text currentPath;
};

}  // namespace KestrelCore
