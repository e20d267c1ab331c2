#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "Snapshot/RecordStorage.hpp"

#include <cstddef>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// Which records of a snapshot lie where a library looks. Everything that is asked of a path but its last component is
/// decided once for each folder, from its parent's answer and its own name.
class LibraryFolders {
public:
    /// What is left out whatever the area: asked of each folder name on the way to a file. "Library" folders always
    /// are, unless the file lies in one of the home's cloud drives and those are admitted.
    struct Exclusion {
        std::vector<std::string_view> names;     ///< folders with one of these names
        std::vector<std::string_view> suffixes;  ///< folders whose names end so
        std::string_view insideSuffix;           ///< a folder `insideName` right in one whose name ends so
        std::string_view insideName;
        bool admitsCloudDrives = false;
    };

    LibraryFolders(const ScanSnapshot& snapshot, const Text& homePath, Exclusion exclusion);

    /// Whether a plain file's record qualifies by its place: in the allowed area, in no dotted and no excluded folder.
    [[nodiscard]] bool admits(std::size_t index) const;

private:
    struct Traits {
        bool isInArea = false;
        bool isInCloudDrive = false;
        bool isInLibrary = false;
        bool isDotted = false;
        bool isExcluded = false;
        bool endsInInsideSuffix = false;  ///< of the folder's own name
    };

    [[nodiscard]] Traits entering(const Traits& parent, std::string_view name) const;
    [[nodiscard]] bool admits(const Traits& traits) const;
    [[nodiscard]] bool admitsPath(const Text& path) const;

    const RecordStorage& storage_;
    Exclusion exclusion_;
    Text root_;
    bool countsRootItself_;          ///< a record at the root's own path is in the area
    std::vector<Text> areas_;        ///< folders whose content is in the allowed area
    std::vector<Text> cloudDrives_;  ///< folders whose content is in a cloud drive
    std::vector<Traits> traits_;     ///< one a folder of the storage
};

}  // namespace KestrelCore
