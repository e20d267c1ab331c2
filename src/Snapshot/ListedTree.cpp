#include "Snapshot/ListedTree.hpp"

#include "Snapshot/TreeOrder.hpp"

#include <algorithm>
#include <numeric>
#include <span>

// What lies below a folder is a range of folders and a range of files, so its sums are those of the ranges. Siblings
// stand by name, so folders whose names are canonically equal stand side by side: they are one folder to whoever looks,
// and what lies below one lies below each of them. A listing of such a folder is that of all of them together.

namespace KestrelCore {

namespace {

/// What an item of a folder shows, as the folder counts it.
std::int64_t countedBytes(const FileRecord& record) {
    return record.isHardLinkDuplicate() && !record.isContainer() ? 0 : record.displayBytes();
}

/// Modulo 2^64: the sizes of a snapshot may be anything, and then so may this be.
std::int64_t sum(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}
std::int64_t contentOf(const FileRecord& record) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(record.aggregateAllocatedBytes()) -
                                     static_cast<std::uint64_t>(record.allocatedBytes()));
}

}  // namespace

ListedTree::Irregulars::Irregulars(const ListedTree& tree, std::vector<Irregular> found) : all{std::move(found)} {
    for (std::uint32_t i = 0; i < all.size(); ++i) {
        if (!all[i].parentPath) continue;
        const std::vector<std::uint32_t> folders = tree.foldersAt(all[i].parentPath->view());
        if (folders.empty()) continue;
        all[i].folder = folders.front();
        byFolder.push_back(i);
    }
    std::ranges::stable_sort(byFolder, {}, [this](std::uint32_t i) { return all[i].folder; });
}

std::vector<std::uint32_t> ListedTree::foldersAt(std::string_view path) const {
    if (folderCount() == 0 || !path.starts_with('/')) return {};
    std::vector<std::uint32_t> found{0};
    if (path == "/") return found;
    for (std::size_t start = 1; start <= path.size() && !found.empty();) {
        const std::size_t slash = std::min(path.find('/', start), path.size());
        const std::string_view wanted = path.substr(start, slash - start);
        std::vector<std::uint32_t> next;
        for (const std::uint32_t folder : found) {
            for (std::uint32_t child = folder + 1; child < end(folder); child = end(child)) {
                if (areEqualNames(name(child), wanted)) next.push_back(child);
            }
        }
        found = std::move(next);
        start = slash + 1;
    }
    return found;
}

ListedTree::SharedLengths ListedTree::lengthsOf(const std::vector<std::uint32_t>& folders) const {
    SharedLengths result;
    for (const std::uint32_t folder : folders) result.push_back(lengths(folder));
    return result;
}

void ListedTree::addBelow(FolderSums& sums, std::uint32_t folder, const FolderLengths& lengths) const {
    const auto [firstFile, endOfFiles] = filesBelow(folder);
    sums.items += endOfFiles - firstFile;
    for (std::uint32_t i = folder; i < end(folder); ++i) {
        ContentLengths::add(sums.apparentBytes, lengths.files[i - lengths.first]);
        if (i == folder || !hasRecord(i)) continue;
        ++sums.items;
        ContentLengths::add(sums.apparentBytes, lengths.own[i - lengths.first]);
    }
    const Irregulars& others = irregular();
    const auto folderOf = [&](std::uint32_t i) { return others.all[i].folder; };
    for (auto each = std::ranges::lower_bound(others.byFolder, folder, {}, folderOf);
         each != others.byFolder.end() && folderOf(*each) < end(folder); ++each) {
        ++sums.items;
        ContentLengths::add(sums.apparentBytes, others.all[*each].length);
    }
}

FolderSums ListedTree::below(const std::vector<std::uint32_t>& folders, const SharedLengths& lengths,
                             const Text& path) const {
    FolderSums sums;
    for (std::size_t i = 0; i < folders.size(); ++i) addBelow(sums, folders[i], *lengths[i]);
    if (!folders.empty()) return sums;
    for (const Irregular& each : irregular().all) {
        if (each.parentPath != path) continue;
        ++sums.items;
        ContentLengths::add(sums.apparentBytes, each.length);
    }
    return sums;
}

ListedTree::Entries ListedTree::entriesIn(const std::vector<std::uint32_t>& folders, const SharedLengths& lengths,
                                          const Text& path) const {
    Entries entries;
    std::vector<Child> children;
    for (std::size_t i = 0; i < folders.size(); ++i) {
        const std::uint32_t folder = folders[i];
        for (std::uint32_t child = folder + 1; child < end(folder); child = end(child)) {
            children.push_back({child, lengths[i].get()});
        }
        if (const Range inside = files(folder); inside.first != inside.second) entries.places.files.push_back(inside);
    }
    if (folders.size() > 1) {
        std::ranges::stable_sort(children, [this](const Child& a, const Child& b) {
            return compareNames(name(a.folder), name(b.folder)) < 0;
        });
    }
    for (auto begin = children.begin(); begin != children.end();) {
        FolderSums sums;
        auto next = begin;
        for (; next != children.end() && areEqualNames(name(begin->folder), name(next->folder)); ++next) {
            addBelow(sums, next->folder, *next->lengths);
        }
        for (; begin != next; ++begin) {
            if (!hasRecord(begin->folder)) continue;
            entries.places.folders.push_back(begin->folder);
            entries.below.push_back(sums);
        }
    }
    const std::vector<Irregular>& others = irregular().all;
    for (std::uint32_t i = 0; i < others.size(); ++i) {
        if (others[i].parentPath == path) entries.places.irregular.push_back(i);
    }
    return entries;
}

std::optional<FileRecord> ListedTree::ownRecord(const std::vector<std::uint32_t>& folders, const Text& path) const {
    Places places;
    const std::vector<Irregular>& others = irregular().all;
    for (auto i = static_cast<std::uint32_t>(others.size()); i-- > 0;) {
        if (!others[i].isContainer || others[i].path != path) continue;
        places.irregular.push_back(i);
        return records(0, places).front();
    }
    for (const std::uint32_t folder : folders) {
        if (hasRecord(folder)) places.folders.assign(1, folder);
    }
    if (places.folders.empty()) return std::nullopt;
    return records(places.folders.front(), places).front();
}

std::optional<FolderListing> ListedTree::listing(const Text& path) const {
    const std::vector<std::uint32_t> folders = foldersAt(path.view());
    const SharedLengths lengths = lengthsOf(folders);
    const Entries inside = entriesIn(folders, lengths, path);
    const std::optional<FileRecord> own = ownRecord(folders, path);
    std::vector<FileRecord> records = this->records(folders.size() == 1 ? folders.front() : 0, inside.places);
    if (!own && records.empty()) return std::nullopt;

    FolderListing listing{.path = path, .below = below(folders, lengths, path), .isComplete = true, .entries = {}};
    listing.entries.reserve(records.size());
    const std::size_t firstIrregular = records.size() - inside.places.irregular.size();
    for (std::size_t i = 0; i < records.size(); ++i) {
        FolderEntry entry{.record = std::move(records[i]), .below = {}, .isComplete = true};
        listing.below.allocatedBytes = sum(listing.below.allocatedBytes, countedBytes(entry.record));
        if (i < inside.below.size()) {
            entry.below = inside.below[i];
        } else if (i >= firstIrregular && entry.record.isContainer()) {
            const std::vector<std::uint32_t> itsFolders = foldersAt(entry.record.path().view());
            entry.below = below(itsFolders, lengthsOf(itsFolders), entry.record.path());
        }
        if (entry.record.isContainer()) entry.below.allocatedBytes = contentOf(entry.record);
        listing.entries.push_back(std::move(entry));
    }
    // A folder knows more than what lies in it shows: small files of a whole disk are its bytes, and no records.
    if (own) listing.below.allocatedBytes = contentOf(*own);
    sortEntries(listing.entries);
    return listing;
}

void sortEntries(std::vector<FolderEntry>& entries) {
    // Entries are large: their places are sorted, and each is moved once.
    std::vector<std::uint32_t> order(entries.size());
    std::iota(order.begin(), order.end(), 0U);
    std::ranges::stable_sort(order, [&](std::uint32_t a, std::uint32_t b) {
        const std::int64_t bytesA = entries[a].record.displayBytes();
        const std::int64_t bytesB = entries[b].record.displayBytes();
        if (bytesA != bytesB) return bytesA > bytesB;
        return compareNames(entries[a].record.name().view(), entries[b].record.name().view()) < 0;
    });
    std::vector<FolderEntry> sorted;
    sorted.reserve(entries.size());
    for (const std::uint32_t i : order) sorted.push_back(std::move(entries[i]));
    entries = std::move(sorted);
}

}  // namespace KestrelCore
