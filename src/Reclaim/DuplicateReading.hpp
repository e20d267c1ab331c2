#pragma once

#include "Reclaim/ContentDigest.hpp"

#include <cstdint>

namespace KestrelCore {

/// What reading has found out about one candidate.
struct DuplicateReading {
    enum class State : std::uint8_t { unread, read, changed, unreadable };

    State state = State::unread;
    bool isWhole = false;  ///< the digest is of everything
    bool mayShareBlocks = false;
    ContentDigest digest;
    std::uint64_t links = 1;
    std::int64_t allocatedBytes = 0;
    std::int64_t ownBytes = 0;  ///< of these, in blocks that nothing else has
    std::uint64_t place = 0;    ///< on a rotating disk, where it begins
};

}  // namespace KestrelCore
