#include "Scanning/ScannedTree.hpp"

#include "Base/Checked.hpp"
#include "Base/TextScan.hpp"
#include "Snapshot/TreeOrder.hpp"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

// Sorting joined paths would compare their long common beginnings again and again, and hold all of them at once.
// Instead each folder's names are sorted by themselves. Since paths order by bytes, and "/" has its place among them, a
// folder's record and its content are two items that others may come between:
//
//     items of /a, sorted     handed out
//     "b"     record          /a/b
//     "b!"    record          /a/b!          "!" sorts before "/"
//     "b/"    content         /a/b/x …       the frame of /a/b is opened, and handed out before the next item
//     "b0"    record          /a/b0          "0" sorts after it
//
// Open frames are a stack, so a tree of any depth takes no recursion; an item's first eight bytes lie beside it, so
// most comparisons touch no name. Time: n log n over the names of each folder.
//
// Sizes are rolled up afterwards, folders backwards: a folder was always made after the one that holds it, so each is
// complete before it is added to its parent.

namespace KestrelCore {

namespace {

constexpr std::string_view sourceFile = "KestrelCore/Scanning/DiskScanner";

/// The first eight bytes as a number that orders as they do; missing ones are zero, which no name holds.
std::uint64_t leadingBytes(std::string_view name) {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, name.data(), std::min<std::size_t>(name.size(), sizeof bytes));
    return std::endian::native == std::endian::little ? __builtin_bswap64(bytes) : bytes;
}

/// Turns counts at [i] into first positions, with the total behind them.
void accumulate(std::vector<std::uint32_t>& counts) {
    std::uint32_t sum = 0;
    for (std::uint32_t& count : counts) sum += std::exchange(count, sum);
    counts.push_back(sum);
}

}  // namespace

void ScannedTree::setRoot(std::uint32_t row, FolderIndex folder) {
    rootRow_ = row;
    rootFolder_ = folder;
    rowOfFolder_.assign(storage_->folders().size(), none);
    rowOfFolder_[folder] = row;
}

ScannedTree::FolderIndex ScannedTree::addFolder(FolderIndex parent, std::uint32_t row) {
    const FolderIndex folder = storage_->addFolder(parent, storage_->row(row));
    rowOfFolder_.push_back(row);
    return folder;
}

void ScannedTree::addFoldedBytes(FolderIndex folder, std::int64_t bytes) {
    if (foldedBytes_.size() <= folder) foldedBytes_.resize(folder + std::size_t{1}, 0);
    foldedBytes_[folder] = Checked::add(foldedBytes_[folder], bytes, sourceFile);
}

std::shared_ptr<const RecordStorage> ScannedTree::finish() {
    if (rootRow_ != none) {
        listByFolder();
        sortByPath();
        rollUp();
        storage_->reorder(order_);
    }
    // Numbered as a history keeps them, which then keeps no number.
    storage_->deriveIdentifiers(UUID::random(), TreeOrder{*storage_}.places());
    storage_->finishBuilding();
    return std::move(storage_);
}

void ScannedTree::listByFolder() {
    const auto& folders = storage_->folders();
    const auto rowCount = static_cast<std::uint32_t>(storage_->size());
    firstRow_.assign(folders.size(), 0);
    for (std::uint32_t i = 0; i < rowCount; ++i) {
        if (i != rootRow_) ++firstRow_[storage_->row(i).folder];
    }
    accumulate(firstRow_);
    rows_.resize(firstRow_.back());
    std::vector<std::uint32_t> next = firstRow_;
    for (std::uint32_t i = 0; i < rowCount; ++i) {
        if (i != rootRow_) rows_[next[storage_->row(i).folder]++] = i;
    }
    // Folders above the root, and the root's own, are nobody's content.
    const auto isContent = [&](FolderIndex i) { return rowOfFolder_[i] != none && i != rootFolder_; };
    firstFolder_.assign(folders.size(), 0);
    for (FolderIndex i = 0; i < folders.size(); ++i) {
        if (isContent(i)) ++firstFolder_[folders[i].parent];
    }
    accumulate(firstFolder_);
    folders_.resize(firstFolder_.back());
    next = firstFolder_;
    for (FolderIndex i = 0; i < folders.size(); ++i) {
        if (isContent(i)) folders_[next[folders[i].parent]++] = i;
    }
}

std::string_view ScannedTree::nameOf(const Item& item, std::string& buffer) const {
    std::string_view name;
    bool isNormalized = true;
    if (item.isFolder != 0) {
        const RecordStorage::Folder& folder = storage_->folders()[item.index];
        name = storage_->nameOf(folder);
        isNormalized = folder.isNormalized != 0;
    } else {
        const RecordStorage::Row& row = storage_->row(item.index);
        name = storage_->nameOf(row);
        isNormalized = row.isNormalized != 0;
    }
    if (isNormalized) return name;
    buffer = normalizedUTF8(name);
    return buffer;
}

ScannedTree::Item ScannedTree::item(std::uint32_t index, bool isFolder) const {
    Item result{.prefix = 0, .index = index, .isFolder = isFolder ? 1U : 0U};
    std::string buffer;
    const std::string_view name = nameOf(result, buffer);
    result.prefix = leadingBytes(name);
    if (isFolder && name.size() < sizeof result.prefix) {
        result.prefix |= std::uint64_t{'/'} << (8 * (sizeof result.prefix - 1 - name.size()));
    }
    return result;
}

bool ScannedTree::comesBefore(const Item& a, const Item& b) const {
    if (a.prefix != b.prefix) return a.prefix < b.prefix;
    std::string bufferA;
    std::string bufferB;
    const std::string_view nameA = nameOf(a, bufferA);
    const std::string_view nameB = nameOf(b, bufferB);
    const std::size_t common = std::min(nameA.size(), nameB.size());
    if (const int difference = std::memcmp(nameA.data(), nameB.data(), common); difference != 0) return difference < 0;
    if (nameA.size() != nameB.size()) {
        // What follows the shorter name: nothing, or the "/" of a folder's content against the longer name's next byte.
        const bool isShorterA = nameA.size() < nameB.size();
        const Item& shorter = isShorterA ? a : b;
        const auto nextByte = static_cast<unsigned char>(isShorterA ? nameB[common] : nameA[common]);
        const bool shorterFirst = shorter.isFolder == 0 || '/' < nextByte;
        return shorterFirst == isShorterA;
    }
    return a.isFolder != b.isFolder ? a.isFolder < b.isFolder : a.index < b.index;
}

bool ScannedTree::haveEqualNames(const Item& a, const Item& b) const {
    if (a.prefix != b.prefix || a.isFolder != b.isFolder) return false;
    std::string bufferA;
    std::string bufferB;
    return nameOf(a, bufferA) == nameOf(b, bufferB);
}

void ScannedTree::beginFrame(const std::vector<FolderIndex>& twins) {
    const std::size_t begin = items_.size();
    for (const FolderIndex folder : twins) {
        for (std::uint32_t i = firstRow_[folder]; i < firstRow_[folder + 1]; ++i) {
            items_.push_back(item(rows_[i], false));
        }
        for (std::uint32_t i = firstFolder_[folder]; i < firstFolder_[folder + 1]; ++i) {
            items_.push_back(item(folders_[i], true));
        }
    }
    std::sort(items_.begin() + static_cast<std::ptrdiff_t>(begin), items_.end(),
              [this](const Item& a, const Item& b) { return comesBefore(a, b); });
    frames_.push_back(Frame{.begin = begin, .next = begin, .end = items_.size()});
}

void ScannedTree::sortByPath() {
    order_.reserve(storage_->size());
    order_.push_back(rootRow_);
    std::vector<FolderIndex> twins{rootFolder_};
    beginFrame(twins);
    while (!frames_.empty()) {
        Frame& frame = frames_.back();
        if (frame.next == frame.end) {
            items_.resize(frame.begin);
            frames_.pop_back();
            continue;
        }
        const Item first = items_[frame.next++];
        if (first.isFolder == 0) {
            // Equal names come in the order of the walk: the last one stays.
            std::uint32_t row = first.index;
            while (frame.next < frame.end && haveEqualNames(first, items_[frame.next])) {
                const std::uint32_t later = items_[frame.next++].index;
                replacedBy_.emplace(row, later);
                row = later;
            }
            order_.push_back(row);
            continue;
        }
        twins.assign(1, first.index);
        while (frame.next < frame.end && haveEqualNames(first, items_[frame.next])) {
            const FolderIndex twin = items_[frame.next++].index;
            if (leaders_.empty()) {
                leaders_.resize(storage_->folders().size());
                for (FolderIndex i = 0; i < leaders_.size(); ++i) leaders_[i] = i;
            }
            leaders_[twin] = first.index;
            twins.push_back(twin);
        }
        beginFrame(twins);
    }
    for (auto* list : {&rows_, &firstRow_, &folders_, &firstFolder_}) std::vector<std::uint32_t>{}.swap(*list);
    std::vector<Item>{}.swap(items_);
}

void ScannedTree::rollUp() {
    const auto& folders = storage_->folders();
    const auto add = [](std::int64_t& sum, std::int64_t bytes) { sum = Checked::add(sum, bytes, sourceFile); };
    // The row that stands at each folder's path.
    std::vector<std::uint32_t> rowAt(folders.size(), none);
    std::vector<bool> waitsForContent(storage_->size(), false);
    for (FolderIndex i = 0; i < folders.size(); ++i) {
        if (rowOfFolder_[i] == none || leader(i) != i) continue;
        std::uint32_t row = rowOfFolder_[i];
        for (auto later = replacedBy_.find(row); later != replacedBy_.end(); later = replacedBy_.find(row)) {
            row = later->second;
        }
        rowAt[i] = row;
        waitsForContent[row] = storage_->row(row).isContainer();
    }
    std::vector<std::int64_t> content(folders.size(), 0);
    for (const std::uint32_t index : order_) {
        const RecordStorage::Row& row = storage_->row(index);
        if (index == rootRow_ || waitsForContent[index]) continue;
        if (row.isContainer())
            add(content[leader(row.folder)], row.aggregateAllocatedBytes);
        else if (!row.isHardLinkDuplicate)
            add(content[leader(row.folder)], row.allocatedBytes);
    }
    for (FolderIndex i = 0; i < foldedBytes_.size(); ++i) add(content[leader(i)], foldedBytes_[i]);
    // Folders come after the folders that hold them, so backwards each one is complete before it is added to its
    // parent.
    for (auto i = static_cast<FolderIndex>(folders.size()); i-- > 0;) {
        if (rowAt[i] == none) continue;
        RecordStorage::Row& row = storage_->row(rowAt[i]);
        add(row.aggregateAllocatedBytes, content[i]);
        if (rowAt[i] != rootRow_ && row.isContainer()) add(content[leader(row.folder)], row.aggregateAllocatedBytes);
    }
}

}  // namespace KestrelCore
