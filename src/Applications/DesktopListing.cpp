#include "Applications/DesktopListing.hpp"

#include "Applications/DesktopEntry.hpp"
#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/PlatformError.hpp"
#include "Platform/SmallFile.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

// All applications are gathered, each identifier once: Flatpaks, then entries by the precedence of their folders.
//
// A Flatpak's deployed folder is INSTALLATION/app/ID/current/active, where the last two are links inside app/ID:
// "current" to ARCHITECTURE/BRANCH and "active" to a commit. They are followed by reading them, one by one, and only to
// plain folders beneath.

namespace KestrelCore {
namespace {

/// Real entries stay far below this with all their languages; more is no entry, and would only cost
/// memory.
constexpr std::size_t mostEntryBytes = std::size_t{1} << 20;
/// Vendors nest one folder deep, if at all: the bound is for a tree that was made to be deep.
constexpr int deepestEntryFolder = 8;

struct ServiceFolder {
    std::string_view folder;
    std::array<std::string_view, 2> endings;
};
/// Below a data folder, what names a component that is installed in the name of its file.
constexpr std::array<ServiceFolder, 3> serviceFolders{{{"dbus-1/services", {".service", ".service"}},
                                                       {"metainfo", {".metainfo.xml", ".appdata.xml"}},
                                                       {"appdata", {".metainfo.xml", ".appdata.xml"}}}};

/// The folder that the link `name` in `folder` leads to, where that lies beneath `folder` and no further link is on the
/// way.
std::optional<Text> folderBehindLink(const Text& folder, const Text& name) {
    const std::optional<Text> target = linkTarget(Path::appending(folder, name));
    if (!target) return std::nullopt;
    Text place = folder;
    for (const Text& component : Path::components(*target)) {
        if (component == "/" || component == "." || component == "..") return std::nullopt;
        place = Path::appending(place, component);
        if (!isFolder(place, FinalLink::refused)) return std::nullopt;
    }
    return place;
}

/// The version of the first release that an application's metadata file names.
std::optional<Text> releaseVersion(std::string_view metadata) {
    constexpr std::string_view attribute = " version=\"";
    const std::size_t release = metadata.find("<release ");
    if (release == std::string_view::npos) return std::nullopt;
    const std::string_view tag = metadata.substr(release, metadata.find('>', release) - release);
    const std::size_t start = tag.find(attribute);
    if (start == std::string_view::npos) return std::nullopt;
    const std::string_view rest = tag.substr(start + attribute.size());
    const std::size_t end = rest.find('"');
    if (end == std::string_view::npos || end == 0) return std::nullopt;
    return Text{rest.substr(0, end)};
}

/// Gathers the applications of all places. The first that takes an identifier keeps it, so the order of the calls in
/// `run` is the order of precedence.
class Listing {
public:
    Listing(const DesktopLocations& locations, const FileManager& fileManager)
        : locations_{locations}, fileManager_{fileManager} {}

    DesktopListing run() && {
        for (const Text& installation : locations_.flatpakInstallations)
            addFlatpaks(Path::appending(installation, "app"));
        addEntries(Path::appending(locations_.dataFolder, "applications"), "", 0);
        for (const Text& folder : locations_.systemDataFolders)
            addEntries(Path::appending(folder, "applications"), "", 0);
        addServices(locations_.dataFolder);
        for (const Text& folder : locations_.systemDataFolders) addServices(folder);
        return std::move(listing_);
    }

private:
    /// Sorted, so that which of two entries with one identifier comes first does not hang on the file system's order.
    /// None for a folder that is missing, as most of those in the search path are, or that can't be read.
    std::vector<Text> sortedContents(const Text& folder) {
        try {
            std::vector<Text> names = fileManager_.contentsOfDirectory(folder);
            std::sort(names.begin(), names.end());
            return names;
        } catch (const PlatformError& error) {
            // Of a file in a folder's place the code tells no more than of a disk that fails.
            const bool isMissing =
                error.code() == PlatformError::fileReadNoSuchFile ||
                (error.code() == PlatformError::fileReadUnknown && !isFolder(folder, FinalLink::followed));
            if (!isMissing) listing_.isWhole = false;
            return {};
        }
    }

    void addFlatpaks(const Text& folder) {
        for (const Text& identifier : sortedContents(folder)) {
            listing_.takenNames.push_back(identifier);
            const Text home = Path::appending(folder, identifier);
            if (identifiers_.contains(identifier) || !isFolder(home, FinalLink::refused)) continue;
            const std::optional<Text> branch = folderBehindLink(home, "current");
            const std::optional<Text> deployed = branch ? folderBehindLink(*branch, "active") : std::nullopt;
            if (!deployed) continue;
            identifiers_.insert(identifier);
            listing_.applications.push_back(flatpak(identifier, *deployed));
        }
    }

    FoundApplication flatpak(const Text& identifier, const Text& deployed) const {
        FoundApplication application{.url = URL::fromPath(deployed, true),
                                     .displayName = identifier,
                                     .names = {.identifier = identifier, .executable = {}, .plainName = {}},
                                     .version = {}};
        const Text shared = Path::appending(deployed, "export/share");
        const Text entryFile = Text::concatenating({shared.view(), "/applications/", identifier.view(), ".desktop"});
        if (const std::optional<DesktopEntry> entry = entryAt(entryFile)) {
            if (!entry->localizedName.isEmpty()) application.displayName = entry->localizedName;
            application.names.plainName = entry->plainName;
            application.names.executable = entry->executable;
        }
        const Text metadata = Text::concatenating({shared.view(), "/metainfo/", identifier.view(), ".metainfo.xml"});
        if (const auto content = readSmallFile(metadata, mostEntryBytes))
            application.version = releaseVersion(*content);
        return application;
    }

    /// An entry's identifier is its path below the folder "applications", with "-" for "/" and without its extension.
    void addEntries(const Text& folder, const Text& prefix, int depth) {
        constexpr std::string_view extension = ".desktop";
        for (const Text& name : sortedContents(folder)) {
            const Text path = Path::appending(folder, name);
            if (!name.view().ends_with(extension)) {
                if (depth < deepestEntryFolder && isFolder(path, FinalLink::refused))
                    addEntries(path, Text::concatenating({prefix.view(), name.view(), "-"}), depth + 1);
                continue;
            }
            const std::string_view base = name.view().substr(0, name.byteCount() - extension.size());
            const Text identifier = Text::concatenating({prefix.view(), base});
            listing_.takenNames.push_back(identifier);
            if (identifiers_.contains(identifier)) continue;
            const std::optional<DesktopEntry> entry = entryAt(path);
            if (!entry) continue;
            listing_.takenNames.push_back(entry->executable);
            listing_.takenNames.push_back(entry->plainName.lowercased());
            // From here on the identifier is taken, also by an entry that is there to hide another.
            identifiers_.insert(identifier);
            if (!entry->isApplication || entry->isHidden || entry->isNotDisplayed) continue;
            listing_.applications.push_back(
                {.url = URL::fromPath(path),
                 .displayName = entry->localizedName.isEmpty() ? identifier : entry->localizedName,
                 .names = {.identifier = identifier, .executable = entry->executable, .plainName = entry->plainName},
                 .version = {}});
        }
    }

    /// Services without an entry of their own, and parts of applications, write under their own identifiers.
    void addServices(const Text& dataFolder) {
        for (const auto& [folder, endings] : serviceFolders) {
            for (const Text& name : sortedContents(Path::appending(dataFolder, folder))) {
                for (const std::string_view ending : endings) {
                    if (name.view().ends_with(ending))
                        listing_.takenNames.emplace_back(name.slice(0, name.byteCount() - ending.size()));
                }
            }
        }
    }

    /// Entries are often links into the place that an application was installed in, so these are followed.
    std::optional<DesktopEntry> entryAt(const Text& path) const {
        const std::optional<std::string> content = readSmallFile(path, mostEntryBytes, FinalLink::followed);
        if (!content) return std::nullopt;
        return DesktopEntry::parse(*content, locations_.locale.view());
    }

    const DesktopLocations& locations_;
    const FileManager& fileManager_;
    std::unordered_set<Text> identifiers_;
    DesktopListing listing_;
};

}  // namespace

DesktopListing DesktopListing::of(const DesktopLocations& locations, const FileManager& fileManager) {
    return Listing{locations, fileManager}.run();
}

}  // namespace KestrelCore
