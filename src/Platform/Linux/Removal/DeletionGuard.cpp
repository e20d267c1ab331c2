#include "Platform/DeletionGuard.hpp"

#include "Platform/Linux/Removal/ItemLocation.hpp"
#include "Platform/Linux/Removal/PlacesOnDisk.hpp"
#include "Platform/Linux/Removal/TrashStanding.hpp"

#include <utility>

namespace KestrelCore {

DeletionGuard::DeletionGuard(std::vector<GuardedPlace> places)
    : places_{std::make_unique<const PlacesOnDisk>(std::move(places))} {}

DeletionGuard::~DeletionGuard() = default;

std::optional<std::size_t> DeletionGuard::placeTaken(const Text& path) const {
    try {
        const auto relation = places_->relation(locateItem(URL::fromPath(path), FileOperation::remove));
        return relation ? std::optional{relation->place} : std::nullopt;
    } catch (const PlatformError&) {
        return std::nullopt;
    }
}

bool DeletionGuard::isTrashTaken(const Text& path) const {
    try {
        return standingToTrash(locateItem(URL::fromPath(path), FileOperation::remove)).has_value();
    } catch (const PlatformError&) {
        return false;
    }
}

}  // namespace KestrelCore
