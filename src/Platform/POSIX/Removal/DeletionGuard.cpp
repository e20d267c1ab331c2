#include "Platform/DeletionGuard.hpp"

#include "Platform/POSIX/Removal/ItemLocation.hpp"
#include "Platform/POSIX/Removal/PlacesOnDisk.hpp"
#include "Platform/POSIX/Removal/TrashStanding.hpp"

#include <utility>

namespace KestrelCore {

struct DeletionGuard::Folder::State {
    std::string path;
    ItemLocation item;  ///< the one that was asked about last
};

DeletionGuard::Folder::Folder(std::unique_ptr<State> state) : state_{std::move(state)} {}
DeletionGuard::Folder::Folder(Folder&&) noexcept = default;
DeletionGuard::Folder& DeletionGuard::Folder::operator=(Folder&&) noexcept = default;
DeletionGuard::Folder::~Folder() = default;

DeletionGuard::DeletionGuard(std::vector<GuardedPlace> places)
    : places_{std::make_unique<const PlacesOnDisk>(std::move(places))},
      homeTrash_{std::make_unique<const PlacesOnDisk>(homeTrashOnDisk())} {}

DeletionGuard::~DeletionGuard() = default;

DeletionGuard::Taken DeletionGuard::taken(const Text& path) const {
    try {
        const ItemLocation item = locateItem(URL::fromPath(path), FileOperation::remove);
        const auto relation = places_->relation(item);
        return {.place = relation ? std::optional{relation->place} : std::nullopt,
                .isTrash = standingToTrash(item, *homeTrash_).has_value()};
    } catch (const PlatformError&) {
        // What can't be reached can't be removed either; the removal will say why.
        return {};
    }
}

std::optional<DeletionGuard::Folder> DeletionGuard::folder(const Text& path) {
    try {
        // The way to any item in it; that there is none of this name does not matter.
        const URL anyItem = URL::fromPath(Text::concatenating({path.view(), "/any"}));
        return Folder{std::make_unique<Folder::State>(
            Folder::State{.path = path.string(), .item = locateItem(anyItem, FileOperation::remove)})};
    } catch (const PlatformError&) {
        return std::nullopt;
    }
}

std::optional<std::size_t> DeletionGuard::placeTaken(Folder& folder, const std::string& name) const {
    ItemLocation& item = folder.state_->item;
    item.name = name;
    item.path = folder.state_->path + "/" + name;
    const auto relation = places_->relation(item);
    return relation ? std::optional{relation->place} : std::nullopt;
}

std::optional<Text> DeletionGuard::mountObstacle(const Text& path) const { return places_->mountSentence(path.view()); }

}  // namespace KestrelCore
