#include "Collections/LibraryFolders.hpp"

#include "Base/PathComponents.hpp"
#include "KestrelCore/Base/Path.hpp"
#include "Snapshot/SnapshotAccess.hpp"

#include <algorithm>
#include <utility>

// The rules of the libraries speak of paths: below this folder, in no folder of that name. Asked of a million paths
// they would cost a million joined texts; asked of folders, some ten thousand of them, each from its parent's answers
// and its own name, they cost nothing, and a record takes its folder's answer. Records whose texts don't fit together
// are asked by their paths, with the same rules one component after the other.

namespace KestrelCore {

namespace {

/// Folders to look for among many: by the hash of the path before the path is compared.
class WantedFolders {
public:
    explicit WantedFolders(const std::vector<Text>& paths) : paths_{paths} {
        for (const Text& path : paths) hashes_.push_back(RecordStorage::pathHash(path.view()));
    }

    [[nodiscard]] bool contain(const RecordStorage& storage, RecordStorage::FolderIndex folder) const {
        for (std::size_t i = 0; i < paths_.size(); ++i) {
            if (hashes_[i] == storage.folders()[folder].pathHash && storage.hasPath(folder, paths_[i])) return true;
        }
        return false;
    }

private:
    const std::vector<Text>& paths_;
    std::vector<std::uint64_t> hashes_;
};

/// Whether one of `folders`, an empty path for the top folder among them, stands above `path`.
bool isBelowOneOf(const Text& path, const std::vector<Text>& folders) {
    const std::string_view bytes = path.view();
    for (std::size_t slash = bytes.find('/'); slash != std::string_view::npos; slash = bytes.find('/', slash + 1)) {
        if (std::find(folders.begin(), folders.end(), path.slice(0, slash)) != folders.end()) return true;
    }
    return false;
}

}  // namespace

LibraryFolders::LibraryFolders(const ScanSnapshot& snapshot, const Text& homePath, Exclusion exclusion)
    : storage_{SnapshotAccess::storage(snapshot)}, exclusion_{std::move(exclusion)},
      root_{snapshot.scope().root.path()}, countsRootItself_{root_ != Text{"/"}},
      cloudDrives_{Text::concatenating({homePath.view(), "/Library/Mobile Documents/com~apple~CloudDocs"}),
                   Text::concatenating({homePath.view(), "/Library/CloudStorage"})} {
    // Whoever scans a folder means all of it; whoever scans a disk has not asked for the files of the system.
    if (countsRootItself_)
        areas_ = {root_};
    else
        areas_ = {homePath, Text{"/Users/Shared"}};

    const WantedFolders areas{areas_};
    const WantedFolders cloudDrives{cloudDrives_};
    const auto& folders = storage_.folders();
    traits_.resize(folders.size());
    traits_[RecordStorage::topFolder].isInArea = std::find(areas_.begin(), areas_.end(), Text{}) != areas_.end();
    for (RecordStorage::FolderIndex i = 1; i < folders.size(); ++i) {
        Traits traits = entering(traits_[folders[i].parent], storage_.nameOf(folders[i]));
        traits.isInArea = traits.isInArea || areas.contain(storage_, i);
        traits.isInCloudDrive = traits.isInCloudDrive || cloudDrives.contain(storage_, i);
        traits_[i] = traits;
    }
}

LibraryFolders::Traits LibraryFolders::entering(const Traits& parent, std::string_view name) const {
    const auto matches = [&](std::string_view wanted) { return name == wanted; };
    const auto endsSo = [&](std::string_view suffix) { return name.ends_with(suffix); };
    Traits traits = parent;
    traits.isDotted = parent.isDotted || beginsWithDot(name);
    traits.isInLibrary = parent.isInLibrary || matches("Library");
    traits.isExcluded = parent.isExcluded || std::any_of(exclusion_.names.begin(), exclusion_.names.end(), matches) ||
                        std::any_of(exclusion_.suffixes.begin(), exclusion_.suffixes.end(), endsSo) ||
                        (parent.endsInInsideSuffix && matches(exclusion_.insideName));
    traits.endsInInsideSuffix = !exclusion_.insideSuffix.empty() && endsSo(exclusion_.insideSuffix);
    return traits;
}

bool LibraryFolders::admits(const Traits& traits) const {
    const bool isPrivate = traits.isInLibrary && !(exclusion_.admitsCloudDrives && traits.isInCloudDrive);
    return traits.isInArea && !traits.isDotted && !traits.isExcluded && !isPrivate;
}

bool LibraryFolders::admitsPath(const Text& path) const {
    const Text folder = Path::deletingLastComponent(path);
    Traits traits;
    std::string_view rest = folder.view();
    // Excluded names stand between two slashes: the first component of a relative path does not.
    bool isBetweenSlashes = rest.starts_with('/');
    while (!rest.empty()) {
        const std::size_t length = std::min(rest.find('/'), rest.size());
        if (length > 0) {
            const Traits parent = std::exchange(traits, entering(traits, rest.substr(0, length)));
            if (!isBetweenSlashes) {
                traits.isInLibrary = parent.isInLibrary;
                traits.isExcluded = parent.isExcluded;
            }
        }
        isBetweenSlashes = true;
        rest.remove_prefix(std::min(length + 1, rest.size()));
    }
    traits.isInArea = (countsRootItself_ && path == root_) || isBelowOneOf(path, areas_);
    traits.isInCloudDrive = isBelowOneOf(path, cloudDrives_);
    return admits(traits);
}

bool LibraryFolders::admits(std::size_t index) const {
    const RecordStorage::Row& row = storage_.row(index);
    if (row.isIrregular) return admitsPath(storage_.irregular(row).path);
    Traits traits = traits_[row.folder];
    // The root's own record lies in a folder above the area.
    if (!traits.isInArea) traits.isInArea = countsRootItself_ && storage_.hasPath(row, root_);
    return admits(traits);
}

}  // namespace KestrelCore
