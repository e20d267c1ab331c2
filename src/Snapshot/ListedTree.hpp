#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Snapshot/FolderListing.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace KestrelCore {

/// Lengths of contents as they are summed up: none is below 0, and no sum goes beyond a bound, since a sparse
/// file may claim any.
struct ContentLengths {
    static constexpr std::int64_t most = std::int64_t{1} << 62;

    /// What an item adds to the folders above it: a further hard link has its length with the first.
    [[nodiscard]] static std::int64_t counted(std::int64_t logicalBytes, bool isHardLinkDuplicate) {
        if (isHardLinkDuplicate || logicalBytes < 0) return 0;
        return logicalBytes < most ? logicalBytes : most;
    }
    static void add(std::int64_t& sum, std::int64_t length) { sum = sum > most - length ? most : sum + length; }
};

/// Lengths of some folders that follow each other.
struct FolderLengths {
    std::uint32_t first = 0;
    std::vector<std::int64_t> files;  ///< of each folder: of the files right inside together
    std::vector<std::int64_t> own;    ///< of each folder: of its record
};

/// A tree whose folders can be listed, however it is kept: folders and files in the order of `TreeOrder`, which gives
/// them their numbers, and the records that have no place in it. Read-only; any thread.
class ListedTree {
public:
    static constexpr std::uint32_t none = 0xFFFFFFFF;
    /// The first, and one behind the last.
    using Range = std::pair<std::uint32_t, std::uint32_t>;

    struct Irregular {
        Text path;
        std::optional<Text> parentPath;
        bool isContainer = false;
        std::int64_t length = 0;      ///< as `ContentLengths::counted`
        std::uint32_t folder = none;  ///< one that stands at its parent path; filled in by `Irregulars`
    };
    /// The irregular records as the tree has them, and in the order of the folders that hold them.
    struct Irregulars {
        Irregulars(const ListedTree& tree, std::vector<Irregular> found);

        std::vector<Irregular> all;
        std::vector<std::uint32_t> byFolder;  ///< positions in `all`; only those in a folder
    };
    /// What is to be made into records, in this order.
    struct Places {
        std::vector<std::uint32_t> folders;  ///< all have a record
        std::vector<Range> files;
        std::vector<std::uint32_t> irregular;  ///< positions
    };

    virtual ~ListedTree() = default;

    [[nodiscard]] virtual std::uint32_t folderCount() const = 0;
    /// One behind the last folder that lies below.
    [[nodiscard]] virtual std::uint32_t end(std::uint32_t folder) const = 0;
    [[nodiscard]] virtual std::string_view name(std::uint32_t folder) const = 0;
    [[nodiscard]] virtual bool hasRecord(std::uint32_t folder) const = 0;
    /// The files right inside.
    [[nodiscard]] virtual Range files(std::uint32_t folder) const = 0;
    /// The files in or below the folder.
    [[nodiscard]] virtual Range filesBelow(std::uint32_t folder) const = 0;
    [[nodiscard]] virtual const Irregulars& irregular() const = 0;
    /// Lengths of this folder and all below it, or of more.
    [[nodiscard]] virtual std::shared_ptr<const FolderLengths> lengths(std::uint32_t folder) const = 0;
    /// The records of these places. All folders and files lie in or below `folder`, where there are any.
    [[nodiscard]] virtual std::vector<FileRecord> records(std::uint32_t folder, const Places& places) const = 0;

    /// All folders with that path under canonical equivalence: mostly one, or none.
    [[nodiscard]] std::vector<std::uint32_t> foldersAt(std::string_view path) const;
    /// The folder as a person looks into it; empty for a path that no container of the tree has, and no record names
    /// as its parent.
    [[nodiscard]] std::optional<FolderListing> listing(const Text& path) const;

private:
    struct Child {
        std::uint32_t folder;
        const FolderLengths* lengths;
    };
    struct Entries {
        Places places;
        std::vector<FolderSums> below;  ///< of the places, as far as they are folders
    };
    using SharedLengths = std::vector<std::shared_ptr<const FolderLengths>>;

    /// Items and lengths below `path`, where all these folders stand; the allocation is left out.
    [[nodiscard]] FolderSums below(const std::vector<std::uint32_t>& folders, const SharedLengths& lengths,
                                   const Text& path) const;
    void addBelow(FolderSums& sums, std::uint32_t folder, const FolderLengths& lengths) const;
    [[nodiscard]] SharedLengths lengthsOf(const std::vector<std::uint32_t>& folders) const;
    [[nodiscard]] Entries entriesIn(const std::vector<std::uint32_t>& folders, const SharedLengths& lengths,
                                    const Text& path) const;
    [[nodiscard]] std::optional<FileRecord> ownRecord(const std::vector<std::uint32_t>& folders,
                                                      const Text& path) const;
};

/// Sorts the entries as listings have them: largest `displayBytes` first, equal sizes by name, equal names as they
/// come.
void sortEntries(std::vector<FolderEntry>& entries);

}  // namespace KestrelCore
