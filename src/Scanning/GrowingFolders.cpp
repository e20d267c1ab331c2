#include "Scanning/GrowingFolders.hpp"

#include "Snapshot/ListedTree.hpp"
#include "Snapshot/TreeOrder.hpp"

#include <algorithm>
#include <iterator>
#include <optional>
#include <unordered_map>

// A walk of a million entries has no time for this: of each entry one number is kept, and three are added to the sums
// of the folder it lies in. What lies deeper reaches the folders above when a folder is left; until then it stands with
// the open folders, which are a stack, and whoever looks adds up what is below the folder that is looked into.
//
// A look copies rows and then leaves the walk alone; texts are made of them afterwards.

namespace KestrelCore {

namespace {

void addSums(FolderSums& sums, const FolderSums& further) {
    sums.items += further.items;
    sums.allocatedBytes += further.allocatedBytes;
    ContentLengths::add(sums.apparentBytes, further.apparentBytes);
}

FileRecord recordOf(const Text& parent, const FolderGlimpse::Item& item, const Text* extension,
                    const FolderSums& below) {
    const RecordStorage::Row& row = item.row;
    // All texts are parts of the path.
    const std::string_view above = parent == Text{"/"} ? std::string_view{} : parent.view();
    Text path = Text::concatenating({above, "/", item.name});
    Text name = path.slice(above.size() + 1, item.name.size());
    Text ending =
        extension != nullptr ? *extension : path.slice(path.byteCount() - item.extensionLength, item.extensionLength);
    std::optional<FileIdentity> identity;
    if (row.hasIdentity != 0) identity = FileIdentity{.device = item.device, .inode = row.inode};
    return FileRecord{UUID{},
                      identity,
                      parent,
                      std::move(path),
                      std::move(name),
                      row.kind(),
                      row.logicalBytes,
                      row.allocatedBytes,
                      row.aggregateAllocatedBytes + below.allocatedBytes,
                      row.hasModified != 0 ? std::optional{Date{row.modifiedAt}} : std::nullopt,
                      std::move(ending),
                      row.isHidden != 0,
                      row.isCloudPlaceholder != 0,
                      row.isHardLinkDuplicate != 0,
                      row.risk()};
}

/// Of entries whose names are canonically equal the first stays, which is the later one, with what lies below all.
void mergeTwins(std::vector<FolderEntry>& entries) {
    std::unordered_map<Text, std::size_t> known;
    std::vector<FolderEntry> kept;
    for (FolderEntry& entry : entries) {
        const auto [found, isNew] = known.try_emplace(entry.record.name(), kept.size());
        if (isNew) {
            kept.push_back(std::move(entry));
            continue;
        }
        FolderEntry& first = kept[found->second];
        if (!first.record.isContainer()) continue;
        addSums(first.below, entry.below);
        first.isComplete = first.isComplete && entry.isComplete;
        first.record.setAggregateAllocatedBytes(first.record.aggregateAllocatedBytes() + entry.below.allocatedBytes);
    }
    entries = std::move(kept);
}

}  // namespace

FolderListing listingOf(const Text& path, const FolderGlimpse& glimpse) {
    FolderListing listing{.path = path, .below = glimpse.below, .isComplete = glimpse.isComplete, .entries = {}};
    listing.entries.reserve(glimpse.items.size());
    auto folder = glimpse.folders.begin();
    auto extension = glimpse.extensions.begin();
    bool mayHaveTwins = glimpse.paths.size() > 1;
    for (std::uint32_t i = 0; i < glimpse.items.size(); ++i) {
        const FolderGlimpse::Item& item = glimpse.items[i];
        // Two names in normal form are equal in all bytes or not at all.
        mayHaveTwins = mayHaveTwins || item.row.isNormalized == 0;
        FolderSums below;
        bool isComplete = true;
        if (folder != glimpse.folders.end() && folder->item == i) {
            below = folder->sums;
            isComplete = folder->isComplete;
            ++folder;
        }
        const Text* ending = nullptr;
        if (extension != glimpse.extensions.end() && extension->first == i) ending = &(extension++)->second;
        listing.entries.push_back({.record = recordOf(glimpse.paths[item.parent], item, ending, below),
                                   .below = below,
                                   .isComplete = isComplete});
    }
    if (mayHaveTwins) mergeTwins(listing.entries);
    sortEntries(listing.entries);
    return listing;
}

void GrowingFolders::setRoot(const Text& path, std::shared_ptr<const RecordStorage> storage, std::uint32_t row,
                             FolderIndex folder) {
    rootPath_ = path;
    storage_ = std::move(storage);
    root_ = folder;
    previousRow_.assign(row + std::size_t{1}, none);
    node(folder).row = row;
    open_.assign(1, Open{.row = row, .folder = folder});
}

GrowingFolders::Node& GrowingFolders::node(FolderIndex folder) {
    if (folder >= nodes_.size()) nodes_.resize(folder + std::size_t{1});
    return nodes_[folder];
}

void GrowingFolders::add(FolderIndex folder, std::uint32_t row) {
    const RecordStorage::Row& added = storage_->row(row);
    Node& holder = node(folder);
    previousRow_.push_back(std::exchange(holder.lastRow, row));
    ++holder.rows;
    ++holder.sums.items;
    const bool isDuplicate = added.isHardLinkDuplicate != 0;
    if (!isDuplicate) holder.sums.allocatedBytes += added.allocatedBytes;
    ContentLengths::add(holder.sums.apparentBytes, ContentLengths::counted(added.logicalBytes, isDuplicate));
}

void GrowingFolders::addFolder(FolderIndex parent, FolderIndex folder) {
    Open& directory = open_.back();
    directory.folder = folder;
    Node& fresh = node(folder);
    fresh.row = directory.row;
    fresh.previous = std::exchange(node(parent).lastFolder, folder);
}

void GrowingFolders::leaveTo(std::size_t levels) {
    while (open_.size() > levels) {
        const Open left = open_.back();
        open_.pop_back();
        // A folder lies in one that has been made already.
        if (left.folder != none && !open_.empty()) addSums(nodes_[open_.back().folder].sums, nodes_[left.folder].sums);
    }
}

GrowingFolders::Found GrowingFolders::find(std::string_view path) const {
    // The root's own path first, component by component, then down from it.
    std::string_view root = rootPath_ == Text{"/"} ? std::string_view{} : rootPath_.view();
    const auto next = [](std::string_view& rest) {
        rest.remove_prefix(1);
        const std::string_view name = rest.substr(0, rest.find('/'));
        rest.remove_prefix(name.size());
        return name;
    };
    if (root_ == none || !path.starts_with('/')) return {};
    Found found{.folders = {root_}, .emptyRow = none};
    if (path == "/") return root.empty() ? found : Found{};
    while (!root.empty()) {
        if (path.empty() || !areEqualNames(next(root), next(path))) return {};
    }
    while (!path.empty()) {
        const std::string_view wanted = next(path);
        std::vector<FolderIndex> inside;
        for (const FolderIndex folder : found.folders) {
            for (FolderIndex child = nodes_[folder].lastFolder; child != none; child = nodes_[child].previous) {
                if (areEqualNames(storage_->nameOf(storage_->folders()[child]), wanted)) inside.push_back(child);
            }
        }
        if (!inside.empty() || !path.empty()) {
            found.folders = std::move(inside);
            continue;
        }
        for (const FolderIndex folder : std::exchange(found.folders, {})) {
            for (std::uint32_t row = nodes_[folder].lastRow; row != none; row = previousRow_[row]) {
                const RecordStorage::Row& each = storage_->row(row);
                if (each.isContainer() && areEqualNames(storage_->nameOf(each), wanted)) found.emptyRow = row;
            }
        }
    }
    return found;
}

FolderSums GrowingFolders::below(FolderIndex folder) const {
    FolderSums sums = nodes_[folder].sums;
    auto open = std::ranges::find(open_, folder, &Open::folder);
    if (open == open_.end()) return sums;
    for (++open; open != open_.end() && open->folder != none; ++open) addSums(sums, nodes_[open->folder].sums);
    return sums;
}

bool GrowingFolders::isOpen(FolderIndex folder) const {
    return std::ranges::find(open_, folder, &Open::folder) != open_.end();
}

void GrowingFolders::addItems(FolderIndex folder, FolderGlimpse& glimpse) const {
    const auto parent = static_cast<std::uint32_t>(glimpse.paths.size());
    glimpse.paths.push_back(storage_->folderPath(folder));
    // Of what lies in the folder, only the next directory on the way can be open.
    const auto open = std::ranges::find(open_, folder, &Open::folder);
    const std::uint32_t openRow = open != open_.end() && std::next(open) != open_.end() ? std::next(open)->row : none;
    // Both lists have the order of the walk.
    FolderIndex child = nodes_[folder].lastFolder;
    glimpse.items.reserve(glimpse.items.size() + nodes_[folder].rows);
    for (std::uint32_t row = nodes_[folder].lastRow; row != none; row = previousRow_[row]) {
        const RecordStorage::Row& each = storage_->row(row);
        const auto position = static_cast<std::uint32_t>(glimpse.items.size());
        const std::string_view name = storage_->nameOf(each);
        const Text& extension = storage_->extensions()[each.extension];
        const bool endsInIt = name.ends_with(extension.view());
        if (!endsInIt) glimpse.extensions.emplace_back(position, extension);
        const auto identity = storage_->identityOf(each);
        glimpse.items.push_back({.row = each,
                                 .name = name,
                                 .device = identity ? identity->device : 0,
                                 .parent = parent,
                                 .extensionLength = endsInIt ? static_cast<std::uint32_t>(extension.byteCount()) : 0U});
        if (!each.isContainer()) continue;
        FolderGlimpse::Below below{.item = position, .sums = {}, .isComplete = row != openRow};
        if (child != none && nodes_[child].row == row) {
            below.sums = this->below(child);
            child = nodes_[child].previous;
        }
        glimpse.folders.push_back(below);
    }
}

std::optional<FolderGlimpse> GrowingFolders::look(const Text& path) const {
    const Found found = find(path.view());
    if (found.folders.empty() && found.emptyRow == none) return std::nullopt;
    FolderGlimpse glimpse;
    glimpse.storage = storage_;
    if (found.emptyRow != none) {
        glimpse.isComplete = std::ranges::find(open_, found.emptyRow, &Open::row) == open_.end();
        return glimpse;
    }
    for (const FolderIndex folder : found.folders) {
        addSums(glimpse.below, below(folder));
        glimpse.isComplete = glimpse.isComplete && !isOpen(folder);
        addItems(folder, glimpse);
    }
    return glimpse;
}

}  // namespace KestrelCore
