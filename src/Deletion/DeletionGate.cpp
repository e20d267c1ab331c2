#include "Deletion/DeletionGate.hpp"

#include "Deletion/SafetyRules.hpp"
#include "KestrelCore/Deletion/SafetyPolicy.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Platform/UserPlaces.hpp"
#include "Model/KindOfItem.hpp"
#include "Platform/FileStatus.hpp"
#include "Platform/HomeDirectory.hpp"
#include "Platform/Vocabulary.hpp"

#include <utility>

// The policy judges paths, which is all that a plan or a list has at hand, and what a user can understand. A path is
// only a name, though: a link, a bind mount or the layer of an overlay gives the home directory a second one that no
// rule knows. So the gate asks what the item is as well, and refuses it when it is, or holds, one of the places.

namespace KestrelCore {

namespace {

/// What the record must still be on the disk. File systems hand a freed inode out again at once, so an equal identity
/// says little about an item of another type.
ExpectedItem expectedItem(const FileRecord& record) {
    const FileStatusResult found = fileStatus(record.path().string());
    if (!found.status) throw KestrelError::staleItem(SafetyRules::missingMessage);
    // The path is the record's, so a directory is a package now if it was one then.
    if (kindOf(found.status->type, record.kind() == FileKind::package) != record.kind())
        throw KestrelError::staleItem(SafetyRules::changedMessage);
    const FileIdentity identity = record.identity().value();
    return {identity.device, identity.inode, fileTypeBits(found.status->type)};
}

}  // namespace

DeletionGate::DeletionGate(const std::vector<ProtectedPlace>& hostPlaces) : DeletionGate{places(hostPlaces)} {}

DeletionGate::DeletionGate(Places places)
    : firstHostPlace_{places.firstOfHost}, reasons_{std::move(places.reasons)}, guard_{std::move(places.guarded)} {}

DeletionGate::Places DeletionGate::places(const std::vector<ProtectedPlace>& hostPlaces) {
    Places places;
    const auto add = [&places](GuardedPlace place, const Text& reason) {
        places.guarded.push_back(std::move(place));
        places.reasons.push_back(reason);
    };
    for (const SafetyRules::ProtectedPlace& place : SafetyRules::ofThisProcess().protectedPlaces())
        add({.path = place.path.string()}, place.reason);
    // A home directory, or a trash, of another user of this machine counts where it exists: root may remove anything.
    for (const std::string& home : knownHomeDirectories()) {
        add({.path = home, .isOnlyIfThere = true}, systemVocabulary().neverRemoved);
        add({.path = UserPlaces::ofHome(home).trash, .withContent = true, .isOnlyIfThere = true},
            SafetyRules::protectedMessage);
    }
    places.firstOfHost = places.guarded.size();
    for (const ProtectedPlace& place : hostPlaces) add({.path = place.path, .withContent = true}, place.reason);
    return places;
}

ExpectedItem DeletionGate::validated(const FileRecord& record) const {
    SafetyPolicy::validate(record);
    // The path that was validated must be the one that is removed, byte by byte.
    if (record.url().standardized().path().view() != record.path().view())
        throw KestrelError::staleItem(SafetyRules::changedMessage);
    const DeletionGuard::Taken taken = guard_.taken(record.path());
    // The library's own places come before the trash, and what the host named after it: the first reason is told.
    const bool isOwnPlace = taken.place && *taken.place < firstHostPlace_;
    if (taken.isTrash && !isOwnPlace) throw KestrelError::safetyViolation(SafetyRules::protectedMessage);
    if (taken.place) throw KestrelError::safetyViolation(reasons_[*taken.place]);
    return expectedItem(record);
}

std::optional<Text> DeletionGate::mountObstacle(const FileRecord& record) const {
    return guard_.mountObstacle(record.path());
}

}  // namespace KestrelCore
