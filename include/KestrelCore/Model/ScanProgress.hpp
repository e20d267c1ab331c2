#pragma once

#include "KestrelCore/Base/Hashing.hpp"
#include "KestrelCore/Base/Text.hpp"

#include <cstdint>
#include <functional>

namespace KestrelCore {

/// How far a running scan has come. How far it has to go is not known before it ends.
struct ScanProgress {
    std::int64_t filesSeen = 0;           ///< items visited so far, the root not counted
    std::int64_t allocatedBytesSeen = 0;  ///< on disk, further hard links not counted
    Text currentPath;                     ///< the item being visited

    bool operator==(const ScanProgress&) const = default;
};

}  // namespace KestrelCore

template <>
struct std::hash<KestrelCore::ScanProgress> {
    std::size_t operator()(const KestrelCore::ScanProgress& progress) const {
        return KestrelCore::Internal::hashOf(progress.filesSeen, progress.allocatedBytesSeen, progress.currentPath);
    }
};
