#pragma once

#include "KestrelCore/Applications/ResidueCandidate.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Platform/DesktopLocations.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <array>
#include <span>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// The residues of an application bundle: what stands in the user's Library folder under its identifier, in a fixed
/// order of places. None for an identifier that is no plain name, the empty one included, and where there is no
/// Library.
[[nodiscard]] std::vector<ResidueCandidate> libraryResidues(const Text& identifier, const Text& libraryFolder,
                                                            const FileManager& fileManager);

/// What a desktop application may have named its folders after.
struct DesktopApplicationNames {
    Text identifier;
    Text executable;  ///< empty when unknown
    Text plainName;   ///< not localized; empty when unknown
};

/// The residues of a desktop application: first those by identifier, then those by name, in the order cache,
/// configuration, data, state. Links are never residues.
[[nodiscard]] std::vector<ResidueCandidate> desktopResidues(const DesktopApplicationNames& names,
                                                            const DesktopLocations& locations,
                                                            const FileManager& fileManager);

/// A place in the Library folder in which the system keeps one item for each application, named after its identifier.
struct LibraryPlace {
    const char* folder;
    const char* suffix;  ///< what follows the identifier in the item's name
};
[[nodiscard]] std::span<const LibraryPlace> libraryPlaces();

/// The cache, configuration, data and state folder, in that order.
[[nodiscard]] std::array<Text, 4> baseFolders(const DesktopLocations& locations);

/// The folder of the Flatpaks' own folders.
[[nodiscard]] Text flatpakDataFolder(const DesktopLocations& locations);

/// A candidate with its size, measured now. Its evidence is `why` followed by `name`.
[[nodiscard]] ResidueCandidate residueAt(const Text& path, ResidueConfidence confidence, std::string_view why,
                                         const Text& name, const FileManager& fileManager);

/// Whether a folder of that name in the base folders belongs to the desktop or to many applications at once.
[[nodiscard]] bool isSharedDesktopFolder(const Text& name);

}  // namespace KestrelCore
