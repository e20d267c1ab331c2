#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "Snapshot/RecordStorage.hpp"

#include <cstdint>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

namespace KestrelCore {

/// The path index of one snapshot: which record has a path, and which records name a path as their parent. Filled once
/// over records that no longer change, then read by any number of threads. Positions are those of the records.
///
/// Paths are found in an open hash table of positions: they are not stored again, the record itself is asked. A byte of
/// the hash beside each slot keeps strangers from being looked at. The children of all folders lie in one array, each
/// folder's largest first; folders whose paths are canonically equal share one range.
class SnapshotLookup {
public:
    explicit SnapshotLookup(const RecordStorage& storage);

    /// The position of the last record with that path; empty when there is none.
    [[nodiscard]] std::optional<std::uint32_t> record(const RecordStorage& storage, const Text& path) const;
    /// Positions of the records whose parent is `path`, largest `displayBytes` first, equal ones in ascending order.
    [[nodiscard]] std::span<const std::uint32_t> children(const RecordStorage& storage, const Text& path) const;
    /// The same for a folder of the storage, without a search.
    [[nodiscard]] std::span<const std::uint32_t> children(RecordStorage::FolderIndex folder) const;
    /// Positions of the records without a parent, in the same order.
    [[nodiscard]] std::span<const std::uint32_t> roots() const { return roots_; }
    /// A folder of the storage that stands for all with a canonically equal path.
    [[nodiscard]] RecordStorage::FolderIndex leader(RecordStorage::FolderIndex folder) const {
        return leaders_.empty() ? folder : leaders_[folder];
    }
    /// Whether two records share a path.
    [[nodiscard]] bool hasDuplicatePaths() const { return hasDuplicatePaths_; }
    [[nodiscard]] std::size_t memoryBytes() const;

private:
    using Index = std::uint32_t;

    void indexFolders(const RecordStorage& storage);
    void indexChildren(const RecordStorage& storage);
    void indexRecords(const RecordStorage& storage);
    [[nodiscard]] std::optional<Index> group(const RecordStorage& storage, const Text& path) const;
    [[nodiscard]] Index groupOfIrregular(const Text& parentPath, const RecordStorage& storage);
    [[nodiscard]] std::span<const Index> range(Index group) const;

    std::vector<Index> slots_;                      ///< positions of records; `empty` where free
    std::vector<std::uint8_t> tags_;                ///< a byte of the hash of each slot's path
    std::vector<Index> folderSlots_;                ///< folders (leaders only) by path hash
    std::vector<Index> leaders_;                    ///< folder → folder; empty when every folder is its own
    std::unordered_map<Text, Index> strayParents_;  ///< groups of parent paths that no folder stands for
    std::vector<Index>
        firstChild_;  ///< group → position in `children_`; one more at the end. Groups: folders, then strays
    std::vector<Index> children_;
    std::vector<Index> roots_;
    bool hasDuplicatePaths_ = false;
};

}  // namespace KestrelCore
