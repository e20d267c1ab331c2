#pragma once

#include "KestrelCore/Applications/ApplicationOrphan.hpp"
#include "KestrelCore/Applications/ApplicationRecord.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Platform/DesktopLocations.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <memory>
#include <vector>

namespace KestrelCore {

/// Lists the applications of a freedesktop.org desktop, from desktop entries and installed Flatpaks, with what they
/// have left in the user's cache, configuration, data and state folders. The same records as `ApplicationInspector`:
/// the identifier is the entry's or the Flatpak's, the URL the entry file or the deployed folder. Keeps nothing between
/// calls; any thread, calls may overlap.
class KESTRELCORE_EXPORT DesktopApplicationInspector {
public:
    /// Looks where the environment of this process says.
    DesktopApplicationInspector();
    /// Looks elsewhere, or measures through another file manager. Entries are always read from the disk itself.
    DesktopApplicationInspector(const DesktopLocations& locations, std::shared_ptr<const FileManager> fileManager);

    /// The applications, sorted by name as a file browser sorts them; each identifier once: a Flatpak stands before an
    /// entry, the user's own before the system's. Entries that are hidden or not displayed are left out, and hide those
    /// of the same identifier behind them. What can't be read contributes nothing. Blocks. Throws what
    /// `DesktopLocations::current` throws, and nothing else.
    ///
    /// A residue that carries the full identifier (with two dots at least, or in the folder of the Flatpaks) is `high`;
    /// one that only carries a name is `uncertain`, and so is one that two applications lay claim to.
    [[nodiscard]] std::vector<ApplicationRecord> installedApplications() const;
    /// The same without residues, whose places are not looked at: as fast as reading the entries.
    [[nodiscard]] std::vector<ApplicationRecord> listedApplications() const;

    /// What applications left behind that are not installed any more: the Flatpaks' own folders and folders that carry
    /// an identifier with two dots at least, in the places where residues are looked for, as far as nothing installed
    /// goes by that name, displayed or not, or is a part of what does. Sorted by identifier. Blocks. Throws
    /// what `DesktopLocations::current` throws, and `KestrelError::unavailable` where a folder of applications is there
    /// and can't be read: what is not seen is not gone.
    [[nodiscard]] std::vector<ApplicationOrphan> orphans() const;

private:
    std::shared_ptr<const DesktopLocations> locations_;  ///< null: those of the environment, asked at each call
    std::shared_ptr<const FileManager> fileManager_;
};

}  // namespace KestrelCore
