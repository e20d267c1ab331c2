#pragma once

#include "CInterface/Boundary.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Storage/GenerationReader.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"

#include <cstdint>
#include <memory>

struct kestrel_history {
    KestrelCore::Text file;
    /// Shared with what takes out of it what is gone.
    std::shared_ptr<KestrelCore::SnapshotHistory> contents;
};

namespace KestrelC {

/// Where the program keeps what is this user's own: absolute. Throws where that can't be named.
[[nodiscard]] Text dataFolder();

/// The generation with this number. Throws that it was not found.
[[nodiscard]] KestrelCore::GenerationReader opened(const kestrel_history* history, std::int64_t number);

}  // namespace KestrelC
