#include "Platform/POSIX/Removal/TrashStanding.hpp"

#include <utility>
#include <vector>

namespace KestrelCore {

PlacesOnDisk homeTrashOnDisk() {
    std::vector<GuardedPlace> places;
    for (std::string& path : homeTrashPaths()) places.push_back({.path = std::move(path), .withContent = true});
    return PlacesOnDisk{std::move(places)};
}

std::optional<PlacesOnDisk::Standing> standingToTrash(const ItemLocation& item, const PlacesOnDisk& homeTrash) {
    if (const auto relation = homeTrash.relation(item)) return relation->standing;
    return homeTrash.standingToVolumeTrash(item);
}

}  // namespace KestrelCore
