#include "Applications/Residues.hpp"

#include "Platform/FileStatus.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <utility>

// What an application leaves behind is looked up, never searched for: an answer costs some looks for each application
// and the measuring of what they find, however full the disk is.
//
// A bundle's residues stand in seven places of the user's Library in which the system itself keeps one item for each
// application, named exactly after the identifier: "org.example.App" never lays claim to what belongs to
// "org.example.App.Helper".
//
// A freedesktop.org desktop has no register of who keeps what where; names are all there is. Two kinds of match:
//
//     ~/.var/app/ID                        a Flatpak's own folder; only Flatpaks have one               high
//     CACHE, CONFIG, DATA, STATE / ID      for an identifier such as org.example.Editor                 high
//     CACHE, CONFIG, DATA, STATE / NAME    an identifier without dots, the program's name, or           uncertain
//                                          the plain name in lower case; folders only
//
// An identifier with two dots is a domain turned round, which nobody else uses. "code" or "draw.io" is a word that
// others may have chosen too, so what it finds is shown and not proposed; and "gtk-3.0" or "fonts" is shared by all, so
// that a table of such names is never matched at all.

namespace KestrelCore {
namespace {

/// Whether an identifier may become a component of a path: "", ".", "..", and what holds "/" or a NUL would lead out of
/// the folder that is looked into. The text comes from a file of the application's own, and the path made of it is
/// offered for removal.
bool isPlainName(const Text& identifier) {
    const std::string_view bytes = identifier.view();
    return !bytes.empty() && bytes != "." && bytes != ".." && bytes.find('/') == std::string_view::npos &&
           bytes.find('\0') == std::string_view::npos;
}

/// The space on disk of everything below a residue; its own where the platform enumerates nothing at all. What can't be
/// read counts 0, and so does a plain file, for which there is an enumeration that yields nothing.
std::int64_t measuredBytes(const FileManager& fileManager, const URL& url) {
    if (const auto below = fileManager.allocatedBytesBelow(url)) return *below;
    return fileManager.allocatedBytes(url).value_or(0);
}

constexpr std::string_view bundleMatch = "Exact bundle identifier match: ";
constexpr std::string_view identifierMatch = "Exact application identifier match: ";
constexpr std::string_view nameMatch = "Name match: ";

constexpr std::array<LibraryPlace, 7> placesInLibrary{{{"Caches", ""},
                                                       {"Containers", ""},
                                                       {"Application Scripts", ""},
                                                       {"HTTPStorages", ""},
                                                       {"WebKit", ""},
                                                       {"Preferences", ".plist"},
                                                       {"Saved Application State", ".savedState"}}};

/// What the desktop and its services keep in the base folders, or many applications at once; and the user's own
/// folders, should a base folder be set to the home directory. Lowercased.
constexpr std::string_view sharedFolders[] = {"akonadi",
                                              "applications",
                                              "at-spi2",
                                              "autostart",
                                              "backgrounds",
                                              "baloo",
                                              "bash-completion",
                                              "bin",
                                              "cargo",
                                              "color-schemes",
                                              "containers",
                                              "cups",
                                              "dbus-1",
                                              "dconf",
                                              "desktop",
                                              "desktop-directories",
                                              "doc",
                                              "documents",
                                              "downloads",
                                              "enchant",
                                              "environment.d",
                                              "event-sound-cache",
                                              "fcitx",
                                              "fcitx5",
                                              "flatpak",
                                              "fontconfig",
                                              "fonts",
                                              "gcr",
                                              "gconf",
                                              "glib-2.0",
                                              "gnome",
                                              "gnome-session",
                                              "gnome-shell",
                                              "gnupg",
                                              "go-build",
                                              "goa-1.0",
                                              "gstreamer-1.0",
                                              "gtk-2.0",
                                              "gtk-3.0",
                                              "gtk-4.0",
                                              "gvfs",
                                              "gvfs-metadata",
                                              "ibus",
                                              "icons",
                                              "info",
                                              "kde",
                                              "kde.org",
                                              "kded5",
                                              "kded6",
                                              "kdedefaults",
                                              "keyrings",
                                              "knewstuff3",
                                              "kservices5",
                                              "kwalletd",
                                              "kxmlgui5",
                                              "lib",
                                              "locale",
                                              "man",
                                              "menus",
                                              "mesa_shader_cache",
                                              "mesa_shader_cache_db",
                                              "metainfo",
                                              "mime",
                                              "music",
                                              "networkmanagement",
                                              "npm",
                                              "nvidia",
                                              "pictures",
                                              "pip",
                                              "pipewire",
                                              "pki",
                                              "plasma",
                                              "plasma-workspace",
                                              "public",
                                              "pulse",
                                              "python",
                                              "qt5ct",
                                              "qt6ct",
                                              "recently-used",
                                              "share",
                                              "sounds",
                                              "ssh",
                                              "systemd",
                                              "templates",
                                              "themes",
                                              "thumbnails",
                                              "tracker",
                                              "tracker3",
                                              "trash",
                                              "videos",
                                              "wireplumber"};

/// The search for the residues of one desktop application.
class DesktopSearch {
public:
    DesktopSearch(const DesktopLocations& locations, const FileManager& fileManager)
        : locations_{locations}, fileManager_{fileManager} {}

    std::vector<ResidueCandidate> run(const DesktopApplicationNames& names) && {
        const std::array<Text, 4> bases = baseFolders(locations_);
        const std::string_view identifier = names.identifier.view();
        const auto dots = std::count(identifier.begin(), identifier.end(), '.');
        if (isPlainName(names.identifier)) {
            addByIdentifier(flatpakDataFolder(locations_), names.identifier);
            if (dots >= 2) {
                for (const Text& base : bases) addByIdentifier(base, names.identifier);
            }
        }
        if (dots == 0) addByName(bases, names.identifier);
        addByName(bases, names.executable);
        addByName(bases, names.plainName.lowercased());
        return std::move(residues_);
    }

private:
    /// Files count too, as some applications keep just one; a link is nobody's residue, since removing it frees
    /// nothing.
    void addByIdentifier(const Text& base, const Text& identifier) {
        const Text path = Path::appending(base, identifier);
        const FileStatusResult found = fileStatus(path.string());
        if (!found.status) return;
        if (found.status->type != FileType::directory && found.status->type != FileType::regular) return;
        add(path, ResidueConfidence::high, identifierMatch, identifier);
    }

    /// A name with a dot in front would lead to what users hide, should a base folder be set to the home directory.
    void addByName(const std::array<Text, 4>& bases, const Text& name) {
        if (!isPlainName(name) || name.view().starts_with('.') || isSharedDesktopFolder(name)) return;
        for (const Text& base : bases) {
            const Text path = Path::appending(base, name);
            const FileStatusResult found = fileStatus(path.string());
            if (!found.status || found.status->type != FileType::directory) continue;
            add(path, ResidueConfidence::uncertain, nameMatch, name);
        }
    }

    /// A place that was found already keeps its first and better reason.
    void add(const Text& path, ResidueConfidence confidence, std::string_view why, const Text& name) {
        const bool isKnown = std::any_of(residues_.begin(), residues_.end(), [&path](const ResidueCandidate& residue) {
            return residue.url.path() == path;
        });
        if (!isKnown) residues_.push_back(residueAt(path, confidence, why, name, fileManager_));
    }

    const DesktopLocations& locations_;
    const FileManager& fileManager_;
    std::vector<ResidueCandidate> residues_;
};

}  // namespace

ResidueCandidate residueAt(const Text& path, ResidueConfidence confidence, std::string_view why, const Text& name,
                           const FileManager& fileManager) {
    URL url = URL::fromPath(path);
    const std::int64_t bytes = measuredBytes(fileManager, url);
    return {.id = UUID::random(),
            .url = std::move(url),
            .allocatedBytes = bytes,
            .confidence = confidence,
            .evidence = Text::concatenating({why, name.view()})};
}

std::span<const LibraryPlace> libraryPlaces() { return placesInLibrary; }

std::array<Text, 4> baseFolders(const DesktopLocations& locations) {
    return {locations.cacheFolder, locations.configurationFolder, locations.dataFolder, locations.stateFolder};
}

Text flatpakDataFolder(const DesktopLocations& locations) { return Path::appending(locations.homeFolder, ".var/app"); }

std::vector<ResidueCandidate> libraryResidues(const Text& identifier, const Text& libraryFolder,
                                              const FileManager& fileManager) {
    std::vector<ResidueCandidate> residues;
    if (libraryFolder.isEmpty() || !isPlainName(identifier)) return residues;
    for (const LibraryPlace& place : placesInLibrary) {
        const Text path =
            Text::concatenating({libraryFolder.view(), "/", place.folder, "/", identifier.view(), place.suffix});
        if (!fileManager.exists(path)) continue;
        residues.push_back(residueAt(path, ResidueConfidence::high, bundleMatch, identifier, fileManager));
    }
    return residues;
}

std::vector<ResidueCandidate> desktopResidues(const DesktopApplicationNames& names, const DesktopLocations& locations,
                                              const FileManager& fileManager) {
    return DesktopSearch{locations, fileManager}.run(names);
}

bool isSharedDesktopFolder(const Text& name) {
    const Text lowered = name.lowercased();
    return std::find(std::begin(sharedFolders), std::end(sharedFolders), lowered.view()) != std::end(sharedFolders);
}

}  // namespace KestrelCore
