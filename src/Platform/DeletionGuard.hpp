#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "Platform/GuardedPlace.hpp"

#include <cstddef>
#include <memory>
#include <optional>

namespace KestrelCore {

class PlacesOnDisk;

/// Knows which items would take a guarded place along, by whatever path either is reached: links, bind mounts and
/// layered file systems lead around nothing. Looks the places up once; immutable; any thread. Blocks on the disk.
class DeletionGuard {
public:
    explicit DeletionGuard(std::vector<GuardedPlace> places);
    DeletionGuard(const DeletionGuard&) = delete;
    DeletionGuard& operator=(const DeletionGuard&) = delete;
    ~DeletionGuard();

    /// The first place, by its index, that the item at `path` is or holds, or lies in where the content is guarded.
    /// Nothing for a path that names no item.
    [[nodiscard]] std::optional<std::size_t> placeTaken(const Text& path) const;
    /// Whether the item is a trash of this system, holds one or lies in one: the home trash or one of a volume.
    [[nodiscard]] bool isTrashTaken(const Text& path) const;

private:
    std::unique_ptr<const PlacesOnDisk> places_;
};

}  // namespace KestrelCore
