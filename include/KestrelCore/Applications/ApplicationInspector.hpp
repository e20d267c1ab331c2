#pragma once

#include "KestrelCore/Applications/ApplicationOrphan.hpp"
#include "KestrelCore/Applications/ApplicationRecord.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <memory>
#include <unordered_set>
#include <vector>

namespace KestrelCore {

/// Where applications are installed and where they leave things behind. Absolute paths. What does not exist or can't be
/// read contributes nothing to a listing.
struct KESTRELCORE_EXPORT ApplicationLocations {
    std::vector<Text> applicationFolders;  ///< in the order of the listing
    Text libraryFolder;                    ///< the user's Library; empty for none

    /// "/Applications" and the home directory's "Applications" and "Library".
    [[nodiscard]] static ApplicationLocations ofHome(const Text& homeDirectory);
};

/// Lists application bundles and what they have left in the user's Library under their bundle identifier. Keeps nothing
/// between calls; any thread, calls may overlap. The applications of a freedesktop.org desktop are listed by
/// `DesktopApplicationInspector`.
///
///     std::vector<ApplicationRecord> applications = ApplicationInspector{}.installedApplications();
///     // … the user deletes something; then, without looking at the disk again:
///     applications = ApplicationInspector::pruning(applications, deletedPaths);
class KESTRELCORE_EXPORT ApplicationInspector {
public:
    /// Looks into "/Applications" and the current user's home directory.
    ApplicationInspector();
    /// Looks elsewhere, or through another file manager. Bundles are always opened on the disk itself.
    ApplicationInspector(const ApplicationLocations& locations, std::shared_ptr<const FileManager> fileManager);

    /// The applications, sorted by name as a file browser sorts them; an application in both folders comes twice. Never
    /// fails: what can't be read contributes nothing. Blocks: it reads folders and measures residues.
    [[nodiscard]] std::vector<ApplicationRecord> installedApplications() const;

    /// The same without residues, whose places are not looked at: as fast as reading the bundles.
    [[nodiscard]] std::vector<ApplicationRecord> listedApplications() const;

    /// What applications left behind that are not installed any more: items in the places of the Library where residues
    /// are looked for that carry an identifier with two dots at least, as far as no application has it or is a part of
    /// what has it. Applications in folders within the application folders count as installed, and what carries an
    /// identifier of the system's own (com.apple) as its own. Sorted by identifier. Never fails. Blocks.
    [[nodiscard]] std::vector<ApplicationOrphan> orphans() const;

    /// Brings a list up to date after the items at `deletedPaths`, with everything beneath them, were deleted: drops
    /// their records and residues, and keeps the order. Asks nothing of the disk.
    [[nodiscard]] static std::vector<ApplicationRecord> pruning(const std::vector<ApplicationRecord>& records,
                                                                const std::unordered_set<Text>& deletedPaths);

private:
    /// At these places, with the residues in that Library.
    [[nodiscard]] std::vector<ApplicationRecord> recordsAt(const std::vector<Text>& folders, const Text& library) const;

    std::shared_ptr<const ApplicationLocations> locations_;  ///< null: those of the current user, asked at each call
    std::shared_ptr<const FileManager> fileManager_;
};

}  // namespace KestrelCore
