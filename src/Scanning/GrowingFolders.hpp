#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Snapshot/FolderListing.hpp"
#include "Snapshot/RecordStorage.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace KestrelCore {

/// What of a folder was there when somebody looked: so much that a listing can be made of it while the walk goes on.
struct FolderGlimpse {
    struct Item {
        RecordStorage::Row row;
        std::string_view name;     ///< as long as `storage`
        std::uint64_t device = 0;  ///< where the row has an identity
        std::uint32_t parent = 0;  ///< position in `paths`
        std::uint32_t extensionLength = 0;
    };
    /// Of an item that is a folder.
    struct Below {
        std::uint32_t item;  ///< position in `items`
        FolderSums sums{};
        bool isComplete = true;
    };
    std::shared_ptr<const RecordStorage> storage;
    std::vector<Text> paths;  ///< of the folders that are looked into: one, but for twins
    FolderSums below{};
    bool isComplete = true;
    std::vector<Item> items;     ///< of each folder, later ones first
    std::vector<Below> folders;  ///< ascending by item
    /// Extensions of items whose names do not end in them, but in another spelling.
    std::vector<std::pair<std::uint32_t, Text>> extensions;
};

/// The listing of what was seen at `path`.
[[nodiscard]] FolderListing listingOf(const Text& path, const FolderGlimpse& glimpse);

/// The folders of a walk that is under way: what lies in each, and the sums of what lies below. One thread at a time.
class GrowingFolders {
public:
    using FolderIndex = RecordStorage::FolderIndex;
    static constexpr std::uint32_t none = 0xFFFFFFFF;

    // The walk tells what it finds.

    /// `storage` is that of the walk; the root's row and folder have just been made.
    void setRoot(const Text& path, std::shared_ptr<const RecordStorage> storage, std::uint32_t row, FolderIndex folder);
    /// A row that has just been added to `folder`.
    void add(FolderIndex folder, std::uint32_t row);
    void addFoldedBytes(FolderIndex folder, std::int64_t bytes) { node(folder).sums.allocatedBytes += bytes; }
    /// The walk goes on in the directory at `row`.
    void enter(std::uint32_t row) { open_.push_back({.row = row, .folder = none}); }
    /// The directory that was entered last has got a folder for its content.
    void addFolder(FolderIndex parent, FolderIndex folder);
    /// All directories that were entered are left, but for the first `levels`.
    void leaveTo(std::size_t levels);

    /// What is there of the folder at `path`; empty where there is none.
    [[nodiscard]] std::optional<FolderGlimpse> look(const Text& path) const;

private:
    /// A directory on the way to the current entry.
    struct Open {
        std::uint32_t row;
        FolderIndex folder;  ///< none until something lies in it
    };
    /// Rows and folders of a folder hang together as lists, the last one first.
    struct Node {
        FolderSums sums{};  ///< of what lies in it and in the folders in it that have been left
        std::uint32_t row = none;
        std::uint32_t rows = 0;  ///< how many right inside
        std::uint32_t lastRow = none;
        FolderIndex lastFolder = none;
        FolderIndex previous = none;  ///< the folder before it in the same one
    };

    [[nodiscard]] Node& node(FolderIndex folder);
    /// All folders with that path: mostly one. Where the directory is there but nothing in it, none, and its row.
    struct Found {
        std::vector<FolderIndex> folders;
        std::uint32_t emptyRow = none;
    };
    [[nodiscard]] Found find(std::string_view path) const;
    [[nodiscard]] FolderSums below(FolderIndex folder) const;
    [[nodiscard]] bool isOpen(FolderIndex folder) const;
    void addItems(FolderIndex folder, FolderGlimpse& glimpse) const;

    std::shared_ptr<const RecordStorage> storage_;
    Text rootPath_;
    FolderIndex root_ = none;
    std::vector<Node> nodes_;                 ///< of each folder
    std::vector<std::uint32_t> previousRow_;  ///< of each row: the one before it in its folder
    std::vector<Open> open_;
};

}  // namespace KestrelCore
