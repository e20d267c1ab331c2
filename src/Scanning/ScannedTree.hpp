#pragma once

#include "Snapshot/RecordStorage.hpp"

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

namespace KestrelCore {

/// The rows of a walk on their way to a snapshot: they arrive in the order of the walk, and leave sorted by path, with
/// sizes rolled up.
///
/// Rows are what the snapshot will own. Since a folder's whole content begins with its path and "/", sorting all paths
/// means sorting each folder's names, with one more name that ends in "/" for each subfolder's content. Two names that
/// fold into one path (two normal forms, or a name listed twice) keep the later row; their contents count as one
/// folder's.
class ScannedTree {
public:
    using FolderIndex = RecordStorage::FolderIndex;
    static constexpr std::uint32_t none = 0xFFFFFFFF;

    ScannedTree() : storage_{std::make_shared<RecordStorage>()} {}

    [[nodiscard]] RecordStorage& storage() { return *storage_; }
    /// For who keeps texts of it.
    [[nodiscard]] std::shared_ptr<const RecordStorage> sharedStorage() const { return storage_; }

    /// The walk's root: the row just appended, and the folder that stands for its content.
    void setRoot(std::uint32_t row, FolderIndex folder);
    /// A folder for the content of the directory at `row`, in `parent`.
    [[nodiscard]] FolderIndex addFolder(FolderIndex parent, std::uint32_t row);
    /// Adds the bytes of a file without a row of its own to the folder that holds it.
    void addFoldedBytes(FolderIndex folder, std::int64_t bytes);

    /// Sorts, rolls up, and hands the finished rows over. Stops the process when a byte sum overflows.
    [[nodiscard]] std::shared_ptr<const RecordStorage> finish();

private:
    /// A row of the folder being sorted, or the content of a subfolder: the same name with "/" behind it.
    struct Item {
        std::uint64_t prefix;  ///< leading bytes of the normalised name
        std::uint32_t index;   ///< row or folder
        std::uint32_t isFolder;
    };
    /// A folder (or several twins) whose items are being handed out.
    struct Frame {
        std::size_t begin;
        std::size_t next;
        std::size_t end;
    };

    void listByFolder();
    void sortByPath();
    void beginFrame(const std::vector<FolderIndex>& twins);
    [[nodiscard]] bool comesBefore(const Item& a, const Item& b) const;
    [[nodiscard]] bool haveEqualNames(const Item& a, const Item& b) const;
    [[nodiscard]] Item item(std::uint32_t index, bool isFolder) const;
    [[nodiscard]] std::string_view nameOf(const Item& item, std::string& buffer) const;
    void rollUp();
    [[nodiscard]] FolderIndex leader(FolderIndex folder) const { return leaders_.empty() ? folder : leaders_[folder]; }

    std::shared_ptr<RecordStorage> storage_;
    std::uint32_t rootRow_ = none;
    FolderIndex rootFolder_ = 0;
    std::vector<std::uint32_t> rowOfFolder_;  ///< folder → row of its directory, or none
    std::vector<std::int64_t> foldedBytes_;   ///< folder → bytes; only as long as there are any

    // Rows and subfolders of each folder, in the order of the walk: folder → first position, one more at the end.
    std::vector<std::uint32_t> firstRow_;
    std::vector<std::uint32_t> rows_;
    std::vector<std::uint32_t> firstFolder_;
    std::vector<FolderIndex> folders_;

    std::vector<Item> items_;  ///< of all open frames, one after the other
    std::vector<Frame> frames_;
    std::vector<std::uint32_t> order_;
    std::vector<FolderIndex> leaders_;  ///< folder → the first with an equal path; empty while there are no twins
    std::unordered_map<std::uint32_t, std::uint32_t> replacedBy_;  ///< row → the later row with its path
};

}  // namespace KestrelCore
