#include "KestrelCore/Applications/DesktopApplicationInspector.hpp"

#include "Applications/DesktopListing.hpp"
#include "Applications/Orphans.hpp"
#include "Applications/Residues.hpp"
#include "KestrelCore/Base/NaturalOrder.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Platform/DesktopLocations.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <algorithm>
#include <cstdint>
#include <unordered_map>

// First all applications are listed, each identifier once. Then each one's residues are searched; and since only the
// whole list tells who else lays claim to a folder, what two claim is marked at the end.

namespace KestrelCore {
namespace {

/// What two applications lay claim to is certain for neither.
void markSharedResidues(std::vector<ApplicationRecord>& records) {
    std::unordered_map<Text, int> claims;
    for (const ApplicationRecord& record : records) {
        for (const ResidueCandidate& residue : record.residues) ++claims[residue.url.path()];
    }
    for (ApplicationRecord& record : records) {
        for (ResidueCandidate& residue : record.residues) {
            if (claims[residue.url.path()] > 1) residue.confidence = ResidueConfidence::uncertain;
        }
    }
}

enum class Residues : std::uint8_t { searched, none };

std::vector<ApplicationRecord> recordsAt(const DesktopLocations& locations, const FileManager& fileManager,
                                         Residues wanted) {
    std::vector<ApplicationRecord> records;
    for (FoundApplication& application : DesktopListing::of(locations, fileManager).applications) {
        std::vector<ResidueCandidate> residues;
        if (wanted == Residues::searched) residues = desktopResidues(application.names, locations, fileManager);
        records.push_back({.id = UUID::random(),
                           .url = std::move(application.url),
                           .displayName = std::move(application.displayName),
                           .bundleIdentifier = std::move(application.names.identifier),
                           .version = std::move(application.version),
                           .residues = std::move(residues)});
    }
    markSharedResidues(records);
    std::stable_sort(records.begin(), records.end(), [](const ApplicationRecord& a, const ApplicationRecord& b) {
        return NaturalOrder::compareInList(a.displayName, b.displayName) < 0;
    });
    return records;
}

}  // namespace

DesktopApplicationInspector::DesktopApplicationInspector() : fileManager_{FileManager::standard()} {}

DesktopApplicationInspector::DesktopApplicationInspector(const DesktopLocations& locations,
                                                         std::shared_ptr<const FileManager> fileManager)
    : locations_{std::make_shared<const DesktopLocations>(locations)}, fileManager_{std::move(fileManager)} {}

std::vector<ApplicationRecord> DesktopApplicationInspector::installedApplications() const {
    return recordsAt(locations_ ? *locations_ : DesktopLocations::current(), *fileManager_, Residues::searched);
}

std::vector<ApplicationRecord> DesktopApplicationInspector::listedApplications() const {
    return recordsAt(locations_ ? *locations_ : DesktopLocations::current(), *fileManager_, Residues::none);
}

std::vector<ApplicationOrphan> DesktopApplicationInspector::orphans() const {
    const DesktopLocations locations = locations_ ? *locations_ : DesktopLocations::current();
    IdentifierClaims claims;
    const DesktopListing listing = DesktopListing::of(locations, *fileManager_);
    // An application that is not seen is not one that is gone.
    if (!listing.isWhole) {
        throw KestrelError::unavailable(
            "A folder of installed applications can't be read, so what is left behind by others "
            "can't be told.");
    }
    for (const Text& name : listing.takenNames) claims.add(name);
    return desktopOrphans(claims, locations, *fileManager_);
}

}  // namespace KestrelCore
