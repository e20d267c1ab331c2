#include "Applications/DesktopResidues.hpp"

#include "Applications/ResidueMeasurement.hpp"
#include "Platform/FileStatus.hpp"

#include <algorithm>
#include <array>
#include <iterator>

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
    void addByIdentifier(const Text& base, const Text& identifier) {
        const Text path = Path::appending(base, identifier);
        const FileStatusResult found = fileStatus(path.string());
        if (!found.status) return;
        if (found.status->type != FileType::directory && found.status->type != FileType::regular) return;
        add(path, ResidueConfidence::high, Text::concatenating({"Exact bundle identifier match: ", identifier.view()}));
    }

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
