#include "Platform/DeletionGuard.hpp"

#include "Platform/Linux/Removal/ItemLocation.hpp"
#include "Platform/Linux/Removal/PlacesOnDisk.hpp"
#include "Platform/Linux/Removal/SafeRemoval.hpp"
#include "Platform/Linux/Removal/TrashStanding.hpp"
#include "Platform/Linux/Walk/FolderListing.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"

#include <algorithm>
#include <fcntl.h>
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

std::vector<Text> interruptedRemovals(const Text& folder) {
    std::vector<Text> names;
    const FileDescriptor opened{
        ::open(folder.string().c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK)};
    if (!opened.isOpen()) return names;
    FolderListing listing;
    while (listing.readPiece(opened.get())) {
        while (const ListedEntry* entry = listing.next()) {
            if (isRemovalName(entry->name)) names.emplace_back(entry->name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace KestrelCore
