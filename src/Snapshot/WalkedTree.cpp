#include "Snapshot/WalkedTree.hpp"

#include "Snapshot/TreeOrder.hpp"

#include <boost/unordered/unordered_flat_map.hpp>

#include <algorithm>
#include <string>
#include <utility>

namespace KestrelCore {

namespace {

std::int64_t foldedIn(const RecordStorage::Row& row, std::uint64_t content) {
    // Modulo 2^64, as the sums of a snapshot from anywhere are; what makes no sense there is nothing.
    const auto folded = static_cast<std::int64_t>(static_cast<std::uint64_t>(row.aggregateAllocatedBytes) -
                                                  static_cast<std::uint64_t>(row.allocatedBytes) - content);
    return std::max<std::int64_t>(folded, 0);
}

/// The tree of records in the compact form.
class StoredTree final : public WalkedTree {
public:
    explicit StoredTree(const RecordStorage& storage)
        : storage_{storage}, order_{storage}, contents_(order_.folders().size(), 0) {
        const auto& folders = order_.folders();
        for (std::size_t i = folders.size(); i-- > 0;) {
            const TreeOrder::Folder& folder = folders[i];
            for (std::uint32_t k = folder.firstFile; k < folder.firstFile + folder.files; ++k) {
                const RecordStorage::Row& row = storage_.row(order_.files()[k]);
                if (row.isHardLinkDuplicate == 0) contents_[i] += static_cast<std::uint64_t>(row.allocatedBytes);
            }
            if (folder.parent == TreeOrder::none) continue;
            contents_[folder.parent] +=
                folder.row == TreeOrder::none
                    ? contents_[i]
                    : static_cast<std::uint64_t>(storage_.row(folder.row).aggregateAllocatedBytes);
        }
    }

    std::uint32_t find(const Text& path) const override { return order_.folderAt(path.view()); }
    std::uint32_t end(std::uint32_t folder) const override { return order_.folders()[folder].end; }
    std::uint32_t firstFile(std::uint32_t folder) const override { return order_.folders()[folder].firstFile; }
    std::uint32_t endOfFiles(std::uint32_t folder) const override {
        return order_.folders()[folder].firstFile + order_.folders()[folder].files;
    }
    std::uint32_t endOfFilesBelow(std::uint32_t folder) const override {
        const std::uint32_t behind = end(folder);
        return behind == order_.folders().size() ? static_cast<std::uint32_t>(order_.files().size())
                                                 : firstFile(behind);
    }
    bool hasRecord(std::uint32_t folder) const override { return order_.folders()[folder].row != TreeOrder::none; }
    std::string_view name(std::uint32_t folder) const override { return order_.nameOf(order_.folders()[folder]); }
    WalkedItem folder(std::uint32_t folder) override {
        WalkedItem item = itemAt(order_.folders()[folder].row);
        item.foldedBytes = foldedIn(item.row, contents_[folder]);
        return item;
    }
    WalkedItem file(std::uint32_t file) override { return itemAt(order_.files()[file]); }
    std::vector<Irregular> irregular() override {
        std::vector<Irregular> found;
        for (const std::uint32_t index : order_.irregular()) {
            const RecordStorage::Irregular& texts = storage_.irregular(storage_.row(index));
            Irregular each{
                .parentPath = texts.parentPath, .path = texts.path, .name = texts.name, .item = itemAt(index)};
            if (each.item.row.isContainer()) {
                const std::uint32_t at = find(texts.path);
                each.item.foldedBytes = foldedIn(each.item.row, at == none ? 0 : contents_[at]);
            }
            found.push_back(std::move(each));
        }
        return found;
    }
    void eachIdentity(std::uint32_t first, std::uint32_t end, const LinkUse& use) override {
        for (std::uint32_t i = first; i < end; ++i) {
            const RecordStorage::Row& row = storage_.row(order_.files()[i]);
            if (const auto identity = storage_.identityOf(row)) use(*identity, row.isHardLinkDuplicate != 0);
        }
    }

private:
    [[nodiscard]] WalkedItem itemAt(std::uint32_t index) const {
        const RecordStorage::Row& row = storage_.row(index);
        return {.name = storage_.nameOf(row),
                .extension = storage_.extensions()[row.extension].view(),
                .row = row,
                .identity = storage_.identityOf(row)};
    }

    const RecordStorage& storage_;
    TreeOrder order_;
    std::vector<std::uint64_t> contents_;  ///< of each folder, its own allocation left out
};

/// The irregular records of a tree by where they belong.
class IrregularPlaces {
public:
    explicit IrregularPlaces(std::vector<WalkedTree::Irregular> found) : found_{std::move(found)} {
        for (std::size_t i = 0; i < found_.size(); ++i) {
            byPath_.emplace(found_[i].path.string(), i);
            if (found_[i].parentPath) byParent_[found_[i].parentPath->string()].push_back(i);
        }
    }

    [[nodiscard]] const WalkedTree::Irregular* at(const std::string& path) const {
        const auto found = byPath_.find(path);
        return found == byPath_.end() ? nullptr : &found_[found->second];
    }
    /// Whether any lies in a folder: mostly there is only the top of the scan, which lies in none.
    [[nodiscard]] bool areInFolders() const { return !byParent_.empty(); }
    template <typename Use>
    void in(const std::string& folder, const Use& use) const {
        const auto found = byParent_.find(folder);
        if (found == byParent_.end()) return;
        for (const std::size_t i : found->second) use(found_[i]);
    }

private:
    std::vector<WalkedTree::Irregular> found_;
    boost::unordered_flat_map<std::string, std::size_t> byPath_;
    boost::unordered_flat_map<std::string, std::vector<std::size_t>> byParent_;
};

/// One walk. The path is joined only where irregular records lie in folders.
class Walk {
public:
    Walk(WalkedTree& tree, TreeVisitor& visitor) : tree_{tree}, visitor_{visitor}, irregular_{tree.irregular()} {}

    bool run(const Text& path) {
        const std::uint32_t top = tree_.find(path);
        const WalkedTree::Irregular* record = irregular_.at(path.string());
        if (top == WalkedTree::none) {
            if (record == nullptr || !record->item.row.isContainer()) return false;
            visit(*record);
            return true;
        }
        path_ = path == Text{"/"} ? "" : path.string();
        visitor_.beginFolder(itemOf(top, record));
        enter(top);
        for (std::uint32_t folder = top + 1; folder < tree_.end(top); ++folder) {
            leaveTo(folder);
            path_ += '/';
            path_ += tree_.name(folder);
            visitor_.beginFolder(itemOf(folder, tree_.hasRecord(folder) ? nullptr : irregular_.at(path_)));
            enter(folder);
        }
        leaveTo(tree_.end(top));
        return true;
    }

private:
    struct Level {
        std::uint32_t end;
        std::size_t pathLength;  ///< with the folder
    };

    WalkedItem itemOf(std::uint32_t folder, const WalkedTree::Irregular* record) {
        if (tree_.hasRecord(folder)) return tree_.folder(folder);
        WalkedItem item;
        if (record != nullptr) item = record->item;
        if (!item.row.isContainer()) item.row.kindValue = static_cast<std::uint32_t>(FileKind::directory) & 7U;
        item.name = tree_.name(folder);
        return item;
    }

    void enter(std::uint32_t folder) {
        levels_.push_back({.end = tree_.end(folder), .pathLength = path_.size()});
        for (std::uint32_t file = tree_.firstFile(folder); file < tree_.endOfFiles(folder); ++file)
            visitor_.item(tree_.file(file));
        if (!irregular_.areInFolders()) return;
        irregular_.in(path_.empty() ? "/" : path_, [this](const WalkedTree::Irregular& each) {
            if (!each.item.row.isContainer() || tree_.find(each.path) == WalkedTree::none) visit(each);
        });
    }

    /// Leaves the folders that `folder` does not lie in.
    void leaveTo(std::uint32_t folder) {
        while (!levels_.empty() && levels_.back().end <= folder) {
            visitor_.endFolder();
            levels_.pop_back();
        }
        if (!levels_.empty()) path_.resize(levels_.back().pathLength);
    }

    void visit(const WalkedTree::Irregular& record) {
        WalkedItem item = record.item;
        item.name = record.name.view();
        if (!item.row.isContainer()) return visitor_.item(item);
        visitor_.beginFolder(item);
        visitor_.endFolder();
    }

    WalkedTree& tree_;
    TreeVisitor& visitor_;
    IrregularPlaces irregular_;
    std::vector<Level> levels_;
    std::string path_;  ///< of the folder entered last; empty for "/"
};

}  // namespace

bool walkTree(WalkedTree& tree, const Text& path, TreeVisitor& visitor) { return Walk{tree, visitor}.run(path); }

std::unique_ptr<WalkedTree> walkedTree(const RecordStorage& storage) { return std::make_unique<StoredTree>(storage); }

}  // namespace KestrelCore
