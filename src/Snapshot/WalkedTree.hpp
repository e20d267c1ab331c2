#pragma once

#include "KestrelCore/Base/FileIdentity.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "Snapshot/RecordStorage.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// An item on the way through a tree. Valid until the next one is asked for.
struct WalkedItem {
    std::string_view name;
    std::string_view extension;
    /// All that is no text. Where it lies means nothing here; zeros of a folder that no record stands for.
    RecordStorage::Row row{};
    std::optional<FileIdentity> identity{};
    /// Of a container: what its aggregate has beside its own allocation and what is listed below it, such as small
    /// files that a scan did not list. 0 or above.
    std::int64_t foldedBytes = 0;
};

/// Gets the items of a tree: each folder, the files in it, then the folders in it, each with what lies below.
class TreeVisitor {
public:
    virtual ~TreeVisitor() = default;
    virtual void beginFolder(const WalkedItem& folder) = 0;
    virtual void endFolder() = 0;
    /// What is no container.
    virtual void item(const WalkedItem& item) = 0;
};

/// Items of a tree one after the other, however it is kept, in the order of `TreeOrder`, which gives folders and files
/// their numbers. One thread; what ascends is read fastest.
class WalkedTree {
public:
    static constexpr std::uint32_t none = 0xFFFFFFFF;

    /// A record that has no place among folders and files: the top of a scan, a name that is too long, and the like.
    struct Irregular {
        std::optional<Text> parentPath;
        Text path;
        Text name;
        WalkedItem item;  ///< but its name
    };

    virtual ~WalkedTree() = default;
    [[nodiscard]] virtual std::uint32_t find(const Text& path) const = 0;
    [[nodiscard]] virtual std::uint32_t end(std::uint32_t folder) const = 0;
    [[nodiscard]] virtual std::uint32_t firstFile(std::uint32_t folder) const = 0;
    [[nodiscard]] virtual std::uint32_t endOfFiles(std::uint32_t folder) const = 0;
    [[nodiscard]] virtual std::uint32_t endOfFilesBelow(std::uint32_t folder) const = 0;
    [[nodiscard]] virtual bool hasRecord(std::uint32_t folder) const = 0;
    [[nodiscard]] virtual std::string_view name(std::uint32_t folder) const = 0;
    /// Of a folder that has a record.
    [[nodiscard]] virtual WalkedItem folder(std::uint32_t folder) = 0;
    [[nodiscard]] virtual WalkedItem file(std::uint32_t file) = 0;
    [[nodiscard]] virtual std::vector<Irregular> irregular() = 0;
    /// Calls `use` with the identity of each file from `first` to `end` that has one, and whether it is a further hard
    /// link.
    using LinkUse = std::function<void(const FileIdentity& identity, bool isDuplicate)>;
    virtual void eachIdentity(std::uint32_t first, std::uint32_t end, const LinkUse& use) = 0;
};

/// Goes through the container at `path`, itself first. False, and nothing is visited, where there is none.
[[nodiscard]] bool walkTree(WalkedTree& tree, const Text& path, TreeVisitor& visitor);

/// The tree of a snapshot's records, which must outlive it.
[[nodiscard]] std::unique_ptr<WalkedTree> walkedTree(const RecordStorage& storage);

}  // namespace KestrelCore
