#include "Snapshot/SnapshotLookup.hpp"

#include "Base/Parallel.hpp"

#include <algorithm>
#include <limits>

// Three tables, each filled once:
//
//     slots_         hash of a path -> position of the record with that path
//     folderSlots_   hash of a path -> folder that records name as their parent, its leader where there are twins
//     firstChild_    folder -> where its children begin in `children_`; they end where the next folder's begin
//
// Most parents are folders of the storage, and their numbers serve as group numbers. A parent that is none, which only
// irregular records can name, is a stray and gets the next number behind them. Records are met in their order and
// sorted by size within each group only, so that building costs two passes over them and many short sorts.
//
// Open addressing with linear probing: a slot is four bytes, and with four of five taken the next slots to look at are
// mostly in the same cache line. A table has just the slots it needs, and no power of two, which would leave up to half
// of them empty: where a search begins is a fraction of the table that the hash says. Hashes are seeded, so that nobody
// can choose names that all meet in one slot.

namespace KestrelCore {

namespace {

constexpr std::uint32_t empty = std::numeric_limits<std::uint32_t>::max();
/// From this many records on, the two halves of the index are built on two threads.
constexpr std::size_t manyRecords = 50'000;

/// Slots for `count` entries, one of five free.
std::size_t slotCount(std::size_t count) { return count + count / 4 + 1; }

/// Where the search for a hash begins. The product has room: entries are counted in 32 bits.
std::size_t firstSlot(std::uint64_t hash, std::size_t slots) { return (hash >> 33) * slots >> 31; }
std::size_t slotAfter(std::size_t slot, std::size_t slots) { return slot + 1 == slots ? 0 : slot + 1; }

/// A byte of the hash that the slot's number does not hold: 255 of 256 strangers are passed over without a look at
/// them.
std::uint8_t tag(std::uint64_t hash) { return static_cast<std::uint8_t>(hash); }

}  // namespace

SnapshotLookup::SnapshotLookup(const RecordStorage& storage) {
    indexFolders(storage);
    if (storage.size() < manyRecords) {
        indexChildren(storage);
        indexRecords(storage);
        return;
    }
    inParallel([&] { indexChildren(storage); }, [&] { indexRecords(storage); });
}

/// Finds folders with canonically equal paths. Only twins in different normal forms, or a name listed twice, make any.
void SnapshotLookup::indexFolders(const RecordStorage& storage) {
    const auto& folders = storage.folders();
    const std::size_t slots = slotCount(folders.size());
    folderSlots_.assign(slots, empty);
    for (Index i = 0; i < folders.size(); ++i) {
        std::size_t slot = firstSlot(folders[i].pathHash, slots);
        Index found = empty;
        for (; folderSlots_[slot] != empty; slot = slotAfter(slot, slots)) {
            const Index other = folderSlots_[slot];
            // Parents come first, so their leaders are known.
            if (folders[other].pathHash == folders[i].pathHash && i != RecordStorage::topFolder &&
                other != RecordStorage::topFolder && leader(folders[other].parent) == leader(folders[i].parent) &&
                RecordStorage::equalNames(storage.nameOf(folders[other]), folders[other].isNormalized != 0,
                                          storage.nameOf(folders[i]), folders[i].isNormalized != 0)) {
                found = other;
                break;
            }
        }
        if (found == empty) {
            folderSlots_[slot] = i;
            if (!leaders_.empty()) leaders_[i] = i;
            continue;
        }
        if (leaders_.empty()) {
            leaders_.resize(folders.size());
            for (Index k = 0; k < i; ++k) leaders_[k] = k;
        }
        leaders_[i] = found;
    }
}

std::optional<SnapshotLookup::Index> SnapshotLookup::group(const RecordStorage& storage, const Text& path) const {
    // The top folder is called "/" as a parent, though it hashes as the empty prefix that it is in paths.
    if (path.view() == "/") return RecordStorage::topFolder;
    const std::size_t slots = folderSlots_.size();
    const std::uint64_t hash = RecordStorage::pathHash(path.view());
    for (std::size_t slot = firstSlot(hash, slots); folderSlots_[slot] != empty; slot = slotAfter(slot, slots)) {
        const Index folder = folderSlots_[slot];
        if (folder != RecordStorage::topFolder && storage.folders()[folder].pathHash == hash &&
            storage.hasPath(folder, path)) {
            return folder;
        }
    }
    const auto stray = strayParents_.find(path);
    return stray == strayParents_.end() ? std::nullopt : std::optional{stray->second};
}

SnapshotLookup::Index SnapshotLookup::groupOfIrregular(const Text& parentPath, const RecordStorage& storage) {
    if (const auto known = group(storage, parentPath)) return *known;
    const auto fresh = static_cast<Index>(storage.folders().size() + strayParents_.size());
    strayParents_.emplace(parentPath, fresh);
    return fresh;
}

void SnapshotLookup::indexChildren(const RecordStorage& storage) {
    const std::size_t count = storage.size();
    // Counting sort by group: counts, then first positions, then each record at its group's next place. The
    // records' order stays within each group.
    std::vector<std::pair<Index, Index>> irregular;  // position, group
    firstChild_.assign(storage.folders().size() + 1, 0);
    for (Index i = 0; i < count; ++i) {
        const RecordStorage::Row& row = storage.row(i);
        if (!row.isIrregular) {
            ++firstChild_[leader(row.folder)];
            continue;
        }
        const std::optional<Text>& parent = storage.irregular(row).parentPath;
        if (!parent) {
            roots_.push_back(i);
            continue;
        }
        const Index group = groupOfIrregular(*parent, storage);
        if (group + std::size_t{1} >= firstChild_.size()) firstChild_.resize(group + std::size_t{2}, 0);
        ++firstChild_[group];
        irregular.emplace_back(i, group);
    }
    Index sum = 0;
    for (Index& first : firstChild_) sum += std::exchange(first, sum);
    children_.resize(sum);
    std::vector<Index> next{firstChild_.begin(), firstChild_.end()};
    auto nextIrregular = irregular.begin();
    for (Index i = 0; i < count; ++i) {
        const RecordStorage::Row& row = storage.row(i);
        if (!row.isIrregular) {
            children_[next[leader(row.folder)]++] = i;
        } else if (nextIrregular != irregular.end() && nextIrregular->first == i) {
            children_[next[nextIrregular->second]++] = i;
            ++nextIrregular;
        }
    }
    // Sizes are fetched once: the comparisons of a large folder would miss the cache on every row.
    struct Sized {
        std::int64_t bytes;
        Index index;
    };
    std::vector<Sized> sized;
    const auto sortRange = [&](std::span<Index> range) {
        if (range.size() < 2) return;
        sized.clear();
        for (const Index i : range) sized.push_back({storage.row(i).displayBytes(), i});
        std::sort(sized.begin(), sized.end(), [](const Sized& a, const Sized& b) {
            return a.bytes != b.bytes ? a.bytes > b.bytes : a.index < b.index;
        });
        std::transform(sized.begin(), sized.end(), range.begin(), [](const Sized& s) { return s.index; });
    };
    for (std::size_t group = 0; group + 1 < firstChild_.size(); ++group) {
        sortRange(std::span{children_}.subspan(firstChild_[group], firstChild_[group + 1] - firstChild_[group]));
    }
    sortRange(roots_);
}

void SnapshotLookup::indexRecords(const RecordStorage& storage) {
    const std::size_t slots = slotCount(storage.size());
    slots_.assign(slots, empty);
    tags_.assign(slots, 0);
    for (Index i = 0; i < storage.size(); ++i) {
        const RecordStorage::Row& row = storage.row(i);
        const std::uint64_t hash = storage.pathHash(row);
        std::size_t slot = firstSlot(hash, slots);
        // Of records with one path the later one takes the slot.
        for (; slots_[slot] != empty; slot = slotAfter(slot, slots)) {
            if (tags_[slot] == tag(hash) && storage.haveEqualPaths(storage.row(slots_[slot]), row)) {
                hasDuplicatePaths_ = true;
                break;
            }
        }
        slots_[slot] = i;
        tags_[slot] = tag(hash);
    }
}

std::optional<std::uint32_t> SnapshotLookup::record(const RecordStorage& storage, const Text& path) const {
    const std::size_t slots = slots_.size();
    const std::uint64_t hash = RecordStorage::pathHash(path.view());
    for (std::size_t slot = firstSlot(hash, slots); slots_[slot] != empty; slot = slotAfter(slot, slots)) {
        if (tags_[slot] == tag(hash) && storage.hasPath(storage.row(slots_[slot]), path)) return slots_[slot];
    }
    return std::nullopt;
}

std::span<const std::uint32_t> SnapshotLookup::range(Index group) const {
    return std::span{children_}.subspan(firstChild_[group], firstChild_[group + 1] - firstChild_[group]);
}

std::span<const std::uint32_t> SnapshotLookup::children(const RecordStorage& storage, const Text& path) const {
    const auto found = group(storage, path);
    if (!found || *found + std::size_t{1} >= firstChild_.size()) return {};
    return range(*found);
}

std::span<const std::uint32_t> SnapshotLookup::children(RecordStorage::FolderIndex folder) const {
    return range(leader(folder));
}

std::size_t SnapshotLookup::memoryBytes() const {
    return (slots_.capacity() + folderSlots_.capacity() + leaders_.capacity() + firstChild_.capacity() +
            children_.capacity() + roots_.capacity()) *
               sizeof(Index) +
           tags_.capacity();
}

}  // namespace KestrelCore
