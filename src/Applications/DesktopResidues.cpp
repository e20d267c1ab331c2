#include "Applications/DesktopResidues.hpp"

#include "Applications/ResidueMeasurement.hpp"
#include "Platform/FileStatus.hpp"

#include <algorithm>
#include <array>
#include <iterator>

// A desktop has no register of who keeps what where; names are all there is. Two kinds of match, and never more than
// that:
//
//     ~/.var/app/ID                        a Flatpak's own folder; only Flatpaks have one               high
//     CACHE, CONFIG, DATA, STATE / ID      for an identifier such as org.example.Editor                 high
//     CACHE, CONFIG, DATA, STATE / NAME    an identifier without dots, the program's name, or           uncertain
//                                          the plain name in lower case; folders only
//
// An identifier with two dots is a domain turned round, which nobody else uses. "code" or "draw.io" is a word that
// others may have chosen too, so what it finds is shown and not proposed; and "gtk-3.0" or "fonts" is shared by all, so
// that a table of such names is never matched at all. A place is looked up, never searched for: thirteen looks at most
// for each application, and the measuring of what they find.

namespace KestrelCore {
namespace {

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

class Search {
public:
    Search(const DesktopLocations& locations, const FileManager& fileManager)
        : locations_{locations}, fileManager_{fileManager} {}

    std::vector<ResidueCandidate> run(const DesktopApplicationNames& names) && {
        const std::array<Text, 4> bases{locations_.cacheFolder, locations_.configurationFolder, locations_.dataFolder,
                                        locations_.stateFolder};
        const std::string_view identifier = names.identifier.view();
        const auto dots = std::count(identifier.begin(), identifier.end(), '.');
        if (isResidueName(names.identifier)) {
            addByIdentifier(Path::appending(locations_.homeFolder, ".var/app"), names.identifier);
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
        add(path, ResidueConfidence::high, Text::concatenating({"Exact bundle identifier match: ", identifier.view()}));
    }

    /// A name with a dot in front would lead to what users hide, should a base folder be set to the home directory.
    void addByName(const std::array<Text, 4>& bases, const Text& name) {
        if (!isResidueName(name) || name.view().starts_with('.') || isSharedDesktopFolder(name)) return;
        for (const Text& base : bases) {
            const Text path = Path::appending(base, name);
            const FileStatusResult found = fileStatus(path.string());
            if (!found.status || found.status->type != FileType::directory) continue;
            add(path, ResidueConfidence::uncertain, Text::concatenating({"Name match: ", name.view()}));
        }
    }

    /// A place that was found already keeps its first and better reason.
    void add(const Text& path, ResidueConfidence confidence, const Text& evidence) {
        const bool isKnown = std::any_of(residues_.begin(), residues_.end(), [&path](const ResidueCandidate& residue) {
            return residue.url.path() == path;
        });
        if (isKnown) return;
        URL url = URL::fromPath(path);
        const std::int64_t bytes = measuredResidueBytes(fileManager_, url);
        residues_.push_back({.id = UUID::random(),
                             .url = std::move(url),
                             .allocatedBytes = bytes,
                             .confidence = confidence,
                             .evidence = evidence});
    }

    const DesktopLocations& locations_;
    const FileManager& fileManager_;
    std::vector<ResidueCandidate> residues_;
};

}  // namespace

std::vector<ResidueCandidate> desktopResidues(const DesktopApplicationNames& names, const DesktopLocations& locations,
                                              const FileManager& fileManager) {
    return Search{locations, fileManager}.run(names);
}

bool isSharedDesktopFolder(const Text& name) {
    const Text lowered = name.lowercased();
    return std::find(std::begin(sharedFolders), std::end(sharedFolders), lowered.view()) != std::end(sharedFolders);
}

}  // namespace KestrelCore
