#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "Platform/GuardedPlace.hpp"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

namespace KestrelCore {

class PlacesOnDisk;

/// Knows which items would take a guarded place along, by whatever path either is reached: links, bind mounts and
/// layered file systems lead around nothing. Looks the places up once, when it is made, so that it serves one request;
/// the items it is asked about are looked at each time. Immutable; any thread. Blocks on the disk.
class DeletionGuard {
public:
    explicit DeletionGuard(std::vector<GuardedPlace> places);
    DeletionGuard(const DeletionGuard&) = delete;
    DeletionGuard& operator=(const DeletionGuard&) = delete;
    ~DeletionGuard();

    /// What an item would take along.
    struct Taken {
        /// The first place, by its index, that the item is or holds, or lies in where the content is guarded.
        std::optional<std::size_t> place;
        /// Whether it is a trash of this system, holds one or lies in one: the home trash or one of a volume.
        bool isTrash = false;
    };
    /// Nothing is taken along by a path that names no item.
    [[nodiscard]] Taken taken(const Text& path) const;

    /// A folder whose items are asked about one after the other: the way to it is gone once.
    class Folder {
    public:
        Folder(Folder&&) noexcept;
        Folder& operator=(Folder&&) noexcept;
        ~Folder();

    private:
        friend class DeletionGuard;
        struct State;
        explicit Folder(std::unique_ptr<State> state);
        std::unique_ptr<State> state_;
    };
    /// Empty for a path that is no folder, or that leads through a link.
    [[nodiscard]] static std::optional<Folder> folder(const Text& path);
    /// The place that `taken` would give for the item with that name in the folder. Each item is looked at anew. For
    /// one thread.
    [[nodiscard]] std::optional<std::size_t> placeTaken(Folder& folder, const std::string& name) const;

    /// Why nothing is removed there: a file system is mounted on the item or in it, or the system does not tell whether
    /// one is. A finished sentence; empty when neither holds, and for what no mount table shows, such as subvolumes.
    [[nodiscard]] std::optional<Text> mountObstacle(const Text& path) const;

private:
    std::unique_ptr<const PlacesOnDisk> places_;
    std::unique_ptr<const PlacesOnDisk> homeTrash_;
};

}  // namespace KestrelCore
