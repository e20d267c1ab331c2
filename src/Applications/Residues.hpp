#pragma once

#include "KestrelCore/Applications/ResidueCandidate.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Platform/DesktopLocations.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

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

/// Whether a folder of that name in the base folders belongs to the desktop or to many applications at once.
[[nodiscard]] bool isSharedDesktopFolder(const Text& name);

}  // namespace KestrelCore
