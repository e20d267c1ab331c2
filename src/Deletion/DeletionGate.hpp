#pragma once

#include "KestrelCore/Deletion/ProtectedPlace.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "Platform/DeletionGuard.hpp"

#include <cstddef>
#include <optional>
#include <vector>

namespace KestrelCore {

/// What every item passes right before its removal, and what a plan asks beforehand: the safety policy, and what paths
/// alone don't tell. An item that is or holds a home directory, a trash, the running program or what the host named is
/// refused, by whatever path. Lives for one request: what is protected is looked up once, and each item is compared
/// with it by identity right before it goes. Immutable; any thread. Blocks on the disk.
class DeletionGate {
public:
    /// Looks up where everything is that is protected under any path; `hostPlaces` come after the library's own.
    explicit DeletionGate(const std::vector<ProtectedPlace>& hostPlaces);

    /// What the item must still be when it is removed. Throws `KestrelError`: `safetyViolation` for what is never
    /// removed, `staleItem` for what is no longer the item of the record.
    [[nodiscard]] ExpectedItem validated(const FileRecord& record) const;
    /// Why the file system would not let go of the item, as far as the mounts of the time of the lookup tell: for a
    /// plan to say beforehand. The removal asks for itself.
    [[nodiscard]] std::optional<Text> mountObstacle(const FileRecord& record) const;

private:
    struct Places {
        std::vector<GuardedPlace> guarded;
        std::vector<Text> reasons;  ///< one for each
        std::size_t firstOfHost = 0;
    };
    [[nodiscard]] static Places places(const std::vector<ProtectedPlace>& hostPlaces);
    explicit DeletionGate(Places places);

    std::size_t firstHostPlace_;
    std::vector<Text> reasons_;
    DeletionGuard guard_;
};

}  // namespace KestrelCore
