#include "Platform/DeletionGuard.hpp"

#include "Platform/Linux/Removal/ItemLocation.hpp"
#include "Platform/Linux/Removal/PlacesOnDisk.hpp"
#include "Platform/Linux/Removal/TrashStanding.hpp"

#include <utility>

namespace KestrelCore {

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

std::optional<Text> DeletionGuard::mountObstacle(const Text& path) const {
    return mountSentence(places_->mounts(), path.view());
}

}  // namespace KestrelCore
