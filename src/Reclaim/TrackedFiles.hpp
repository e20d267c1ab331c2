#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "Reclaim/GitIndex.hpp"

#include <boost/unordered/unordered_flat_map.hpp>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// Which items version control keeps, from the disk as it is now. No scan tells it: what a repository tracks stands in
/// the content of its index.
///
/// Reads the index of each repository above an item once, and keeps it: for one thread, and for one moment's questions.
class TrackedFiles {
public:
    /// Why the item at this path (absolute), or something below it, has to be taken for one that version control
    /// keeps, as a finished sentence; empty where nothing keeps it. Of Git the index is read. What Mercurial,
    /// Subversion and Jujutsu keep can't be told here: all below such a working copy counts, and so does what is below
    /// a repository whose index can't be read. Blocks on the disk.
    [[nodiscard]] std::optional<Text> reasonToKeep(const Text& path);
    /// Whether an item right in this folder (absolute) may have one: whether there is a working copy at all that the
    /// folder lies in, or is.
    [[nodiscard]] bool isInWorkingCopy(const Text& folder) { return nearest(folder.string()) != nullptr; }

private:
    /// A working copy, known by what lies in its top folder.
    struct WorkingCopy {
        std::string folder;
        bool isGit = false;
        std::vector<GitIndex> indexes;  ///< of Git; of a split one both parts
        bool isKnown = false;           ///< whether `indexes` have all of it

        [[nodiscard]] bool tracks(std::string_view path) const;
    };
    struct Folder {
        std::unique_ptr<WorkingCopy> copy;  ///< null where none has its top here
        const Folder* outer = nullptr;      ///< the nearest one above that has a copy
    };

    /// The folder, where it has a copy, or the nearest one above that has; null for none.
    const Folder* nearest(const std::string& folder);
    [[nodiscard]] static std::unique_ptr<WorkingCopy> look(const std::string& folder);
    static void readGit(WorkingCopy& copy);
    static void readIndex(WorkingCopy& copy, const std::string& store);

    boost::unordered_flat_map<std::string, std::unique_ptr<Folder>> known_;
};

}  // namespace KestrelCore
