#include "KestrelCore/Applications/ApplicationInspector.hpp"

#include "Applications/Bundles/Bundle.hpp"
#include "Applications/ResidueMeasurement.hpp"
#include "KestrelCore/Base/NaturalOrder.hpp"
#include "KestrelCore/Platform/ApplicationLocations.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <algorithm>
#include <array>

// An application is a folder NAME.app that opens as a bundle. What it leaves behind is looked up, not searched for:
// seven places of the user's Library in which the system itself keeps one item per application, named exactly after the
// bundle identifier. So an answer costs seven looks per application and the measuring of what they find, however full
// the Library is, and "org.example.App" never lays claim to what belongs to "org.example.App.Helper".

namespace KestrelCore {
namespace {

/// A place in the Library folder that holds an item named after the bundle identifier.
struct ResiduePlace {
    const char* folder;
    const char* suffix;
};

constexpr std::array<ResiduePlace, 7> residuePlaces{{{"Caches", ""},
                                                     {"Containers", ""},
                                                     {"Application Scripts", ""},
                                                     {"HTTPStorages", ""},
                                                     {"WebKit", ""},
                                                     {"Preferences", ".plist"},
                                                     {"Saved Application State", ".savedState"}}};

/// An application without an identifier, or with one that is no plain name, has no residues: that text comes from a
/// file of the application's own and becomes a component of a path that is offered for removal.
std::vector<ResidueCandidate> residuesOf(const std::optional<Text>& identifier, const Text& libraryFolder,
                                         const FileManager& fileManager) {
    std::vector<ResidueCandidate> residues;
    if (!identifier || !isResidueName(*identifier)) return residues;
    for (const ResiduePlace& place : residuePlaces) {
        const Text path =
            Text::concatenating({libraryFolder.view(), "/", place.folder, "/", identifier->view(), place.suffix});
        if (!fileManager.exists(path)) continue;
        URL url = URL::fromPath(path);
        const std::int64_t bytes = measuredResidueBytes(fileManager, url);
        residues.push_back({.id = UUID::random(),
                            .url = std::move(url),
                            .allocatedBytes = bytes,
                            .confidence = ResidueConfidence::high,
                            .evidence = Text::concatenating({"Exact bundle identifier match: ", identifier->view()})});
    }
    return residues;
}

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
    std::vector<ResidueCandidate> residues = residuesOf(identifier, libraryFolder, fileManager);
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

ApplicationInspector::ApplicationInspector() : fileManager_{FileManager::standard()} {}

ApplicationInspector::ApplicationInspector(const ApplicationLocations& locations,
                                           std::shared_ptr<const FileManager> fileManager)
    : locations_{std::make_shared<const ApplicationLocations>(locations)}, fileManager_{std::move(fileManager)} {}

std::vector<ApplicationRecord> ApplicationInspector::installedApplications() const {
    const ApplicationLocations locations =
        locations_ ? *locations_ : ApplicationLocations::ofHome(fileManager_->homeDirectory());
    std::vector<ApplicationRecord> records;
    for (const Text& folder : locations.applicationFolders) {
        for (const URL& entry : entriesOf(folder, *fileManager_)) {
            if (auto record = recordOf(entry, locations.libraryFolder, *fileManager_))
                records.push_back(std::move(*record));
        }
    }
    std::stable_sort(records.begin(), records.end(), [](const ApplicationRecord& a, const ApplicationRecord& b) {
        return NaturalOrder::compare(a.displayName, b.displayName) < 0;
    });
    return records;
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
