#pragma once

#include "Base/ByteBudget.hpp"
#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Model/FileKind.hpp"
#include "Scanning/ExtensionTable.hpp"
#include "Scanning/ScannedTree.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// What a file says of one item, but its name. Sizes are 0 or above.
struct ImportedItem {
    FileKind kind = FileKind::file;
    std::int64_t logicalBytes = 0;
    std::int64_t allocatedBytes = 0;
    std::optional<Date> modifiedAt{};
    bool isHidden = false;
    bool isCloudPlaceholder = false;
    bool isHardLinkDuplicate = false;
};

/// Items of a file on their way to a snapshot, folder by folder. What no disk can hold is refused: every call may throw
/// `ImportError` with the offset that it was given. One thread.
class ImportedTree {
public:
    static constexpr std::size_t mostLevels = 100'000;
    static constexpr std::size_t mostItems = 100'000'000;

    /// The top, a container, which comes first and once. A path that does not begin with a slash gets one.
    void beginTop(std::string_view path, const ImportedItem& item, std::uint64_t offset);
    /// A container in the open folder, which is open then.
    void beginFolder(std::string_view name, const ImportedItem& item, std::uint64_t offset);
    /// Leaves the open folder.
    void endFolder();
    /// What is no container, in the open folder.
    void addItem(std::string_view name, const ImportedItem& item, std::uint64_t offset);
    /// Bytes of what lies in the open folder and is not listed by itself.
    void addUnlisted(std::int64_t bytes, std::uint64_t offset);

    [[nodiscard]] bool hasTop() const { return storage_ != nullptr; }
    [[nodiscard]] const Text& top() const { return top_; }
    /// How many folders are open.
    [[nodiscard]] std::size_t depth() const { return levels_.size(); }
    /// Of the open folder, as a prefix: "" of "/".
    [[nodiscard]] const std::string& path() const { return path_; }

    /// All folders must be left.
    [[nodiscard]] std::shared_ptr<const RecordStorage> finish();

private:
    struct Level {
        std::size_t pathLength;  ///< of `path_` up to and with this folder
        std::uint32_t row;
        ScannedTree::FolderIndex folder;  ///< `ScannedTree::none` until something lies in it
        std::size_t firstName;            ///< in `names_`
    };
    /// A name that was met in an open folder. Its bytes are not kept: two of a hash pass for equal.
    struct Name {
        std::uint64_t hash;
        std::uint64_t offset;
    };

    std::uint32_t add(std::string_view rawName, const ImportedItem& item, std::uint64_t offset);
    void take(std::int64_t bytes, std::uint64_t offset);
    [[nodiscard]] ScannedTree::FolderIndex folder(Level& level);
    [[nodiscard]] RecordStorage::Fields fields(const ImportedItem& item, std::string_view name);

    ScannedTree tree_;
    RecordStorage* storage_ = nullptr;  ///< of the tree, once there is a top
    ExtensionTable extensions_;
    ByteBudget budget_;
    Text top_;
    std::string path_;
    std::string name_;  ///< the one that was added last, well-formed
    std::vector<Level> levels_;
    std::vector<Name> names_;  ///< of all open folders, one after the other
};

}  // namespace KestrelCore
