#include "KestrelCore/Applications/ApplicationInspector.hpp"

#include "Applications/Bundles/Bundle.hpp"
#include "Applications/Orphans.hpp"
#include "Applications/Residues.hpp"
#include "KestrelCore/Base/NaturalOrder.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <algorithm>

namespace KestrelCore {
namespace {

constexpr const char* systemApplications = "/Applications";
/// How many folders may stand between an application folder and a bundle that counts as installed.
constexpr int deepestVendorFolder = 2;

/// Empty for what is no application: the name must say so, and the bundle must open. A bundle that gives no name goes
/// by the name of its folder.
std::optional<ApplicationRecord> recordOf(const URL& entry, const Text& libraryFolder, const FileManager& fileManager) {
    if (entry.pathExtension().lowercased() != "app") return std::nullopt;
    const std::optional<Bundle> bundle = Bundle::open(entry.path());
    if (!bundle) return std::nullopt;
    std::optional<Text> name = bundle->string("CFBundleDisplayName");
    if (!name) name = bundle->string("CFBundleName");
    if (!name) name = Path::deletingExtension(entry.lastPathComponent());
    std::optional<Text> identifier = bundle->identifier();
    std::vector<ResidueCandidate> residues = libraryResidues(identifier.value_or(Text{}), libraryFolder, fileManager);
    return ApplicationRecord{.id = UUID::random(),
                             .url = entry,
                             .displayName = *name,
                             .bundleIdentifier = std::move(identifier),
                             .version = bundle->string("CFBundleShortVersionString"),
                             .residues = std::move(residues)};
}

std::vector<URL> entriesOf(const Text& folder, const FileManager& fileManager) {
    try {
        return fileManager.contentsOfDirectory(URL::fromPath(folder, true), true);
    } catch (const PlatformError&) {
        return {};
    }
}

/// Adds the identifiers of the bundles in a folder and, as vendors group theirs, in its folders.
void addClaims(IdentifierClaims& claims, const Text& folder, const FileManager& fileManager, int depth = 0) {
    for (const URL& entry : entriesOf(folder, fileManager)) {
        if (entry.pathExtension().lowercased() == "app") {
            const std::optional<Bundle> bundle = Bundle::open(entry.path());
            if (bundle) claims.add(bundle->identifier().value_or(Text{}));
        } else if (depth < deepestVendorFolder) {
            addClaims(claims, entry.path(), fileManager, depth + 1);
        }
    }
}

/// A home directory whose name is no text holds nothing that could be named: it is left out.
ApplicationLocations currentLocations(const FileManager& fileManager) {
    try {
        return ApplicationLocations::ofHome(fileManager.homeDirectory());
    } catch (const PlatformError&) {
        return {.applicationFolders = {systemApplications}, .libraryFolder = {}};
    }
}

/// Whether a path or a folder above it was deleted. Asks the set once for each of the few folders above, so that the
/// number of deleted paths does not matter.
bool isDeleted(const Text& path, const std::unordered_set<Text>& deletedPaths) {
    if (deletedPaths.contains(path)) return true;
    for (std::size_t end = path.view().rfind('/'); end != std::string_view::npos && end > 0;
         end = path.view().rfind('/', end - 1)) {
        if (deletedPaths.contains(path.slice(0, end))) return true;
    }
    // The empty path, followed by "/", is the beginning of every absolute path: all lies beneath it.
    return path.view().starts_with('/') && deletedPaths.contains("");
}

}  // namespace

ApplicationLocations ApplicationLocations::ofHome(const Text& homeDirectory) {
    return {.applicationFolders = {systemApplications, Path::appending(homeDirectory, "Applications")},
            .libraryFolder = Path::appending(homeDirectory, "Library")};
}

ApplicationInspector::ApplicationInspector() : fileManager_{FileManager::standard()} {}

ApplicationInspector::ApplicationInspector(const ApplicationLocations& locations,
                                           std::shared_ptr<const FileManager> fileManager)
    : locations_{std::make_shared<const ApplicationLocations>(locations)}, fileManager_{std::move(fileManager)} {}

std::vector<ApplicationRecord> ApplicationInspector::installedApplications() const {
    const ApplicationLocations locations = locations_ ? *locations_ : currentLocations(*fileManager_);
    return recordsAt(locations.applicationFolders, locations.libraryFolder);
}

std::vector<ApplicationRecord> ApplicationInspector::listedApplications() const {
    const ApplicationLocations locations = locations_ ? *locations_ : currentLocations(*fileManager_);
    return recordsAt(locations.applicationFolders, {});  // without a Library there are no residues
}

std::vector<ApplicationRecord> ApplicationInspector::recordsAt(const std::vector<Text>& folders,
                                                               const Text& library) const {
    std::vector<ApplicationRecord> records;
    for (const Text& folder : folders) {
        for (const URL& entry : entriesOf(folder, *fileManager_)) {
            if (auto record = recordOf(entry, library, *fileManager_)) records.push_back(std::move(*record));
        }
    }
    std::stable_sort(records.begin(), records.end(), [](const ApplicationRecord& a, const ApplicationRecord& b) {
        return NaturalOrder::compareInList(a.displayName, b.displayName) < 0;
    });
    return records;
}

std::vector<ApplicationOrphan> ApplicationInspector::orphans() const {
    const ApplicationLocations locations = locations_ ? *locations_ : currentLocations(*fileManager_);
    IdentifierClaims claims;
    for (const Text& folder : locations.applicationFolders) addClaims(claims, folder, *fileManager_);
    return libraryOrphans(claims, locations.libraryFolder, *fileManager_);
}

std::vector<ApplicationRecord> ApplicationInspector::pruning(const std::vector<ApplicationRecord>& records,
                                                             const std::unordered_set<Text>& deletedPaths) {
    std::vector<ApplicationRecord> kept;
    kept.reserve(records.size());
    for (const ApplicationRecord& record : records) {
        if (isDeleted(record.url.path(), deletedPaths)) continue;
        kept.push_back(record);
        std::erase_if(kept.back().residues, [&deletedPaths](const ResidueCandidate& residue) {
            return isDeleted(residue.url.path(), deletedPaths);
        });
    }
    return kept;
}

}  // namespace KestrelCore
