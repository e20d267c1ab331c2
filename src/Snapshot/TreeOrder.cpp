#include "Snapshot/TreeOrder.hpp"

#include "Base/Parallel.hpp"
#include "Base/SeededHash.hpp"
#include "Base/TextScan.hpp"

#include <boost/unordered/unordered_flat_map.hpp>
#include <boost/unordered/unordered_flat_set.hpp>

#include <algorithm>
#include <array>
#include <numeric>
#include <ranges>
#include <utility>

namespace KestrelCore {

namespace {

using FolderIndex = RecordStorage::FolderIndex;

/// The name in normal form C, in `buffer` where that is another text.
std::string_view normalForm(std::string_view name, std::string& buffer) {
    if (isASCII(name) || isNormalizedUTF8(name)) return name;
    buffer = normalizedUTF8(name);
    return buffer;
}

struct FolderKey {
    FolderIndex parent;
    std::string_view name;
    bool operator==(const FolderKey&) const = default;
};
struct FolderKeyHash {
    std::size_t operator()(const FolderKey& key) const {
        return static_cast<std::size_t>(seededHash(key.parent, seededHash(key.name)));
    }
};

/// Whether two folders may have the same path.
bool mayHaveTwins(const RecordStorage& storage) {
    boost::unordered_flat_set<std::uint64_t> hashes;
    hashes.reserve(storage.folders().size());
    return !std::ranges::all_of(storage.folders(),
                                [&](const auto& folder) { return hashes.insert(folder.pathHash).second; });
}

/// For each folder the first one with the same path, byte for byte: a name that a disk lists twice makes two.
std::vector<FolderIndex> firstOfEach(const RecordStorage& storage) {
    const auto& folders = storage.folders();
    std::vector<FolderIndex> first(folders.size());
    std::iota(first.begin(), first.end(), FolderIndex{0});
    if (!mayHaveTwins(storage)) return first;
    boost::unordered_flat_map<FolderKey, FolderIndex, FolderKeyHash> known;
    known.reserve(folders.size());
    for (FolderIndex i = 1; i < folders.size(); ++i) {
        first[i] = known.try_emplace({first[folders[i].parent], storage.nameOf(folders[i])}, i).first->second;
    }
    return first;
}

/// Items of each group, in the order in which they come: group → range of `items`.
struct Grouped {
    std::vector<std::uint32_t> first;
    std::vector<std::uint32_t> items;

    template <typename GroupOf>
    Grouped(std::size_t groups, const std::vector<std::uint32_t>& all, const GroupOf& groupOf)
        : first(groups + 1, 0), items(all.size()) {
        for (const std::uint32_t item : all) ++first[groupOf(item) + 1];
        for (std::size_t i = 1; i < first.size(); ++i) first[i] += first[i - 1];
        std::vector<std::uint32_t> next{first.begin(), first.end() - 1};
        for (const std::uint32_t item : all) items[next[groupOf(item)]++] = item;
    }
    [[nodiscard]] std::span<std::uint32_t> of(std::uint32_t group) {
        return std::span{items}.subspan(first[group], first[group + 1] - first[group]);
    }
};

/// Sorts by name where that is not the order already, as it is in a scan. `itemOf` gives what has the name: a row or a
/// folder of the storage.
template <typename ItemOf>
void sortByName(const RecordStorage& storage, std::span<std::uint32_t> items, const ItemOf& itemOf) {
    const auto comesBefore = [&](std::uint32_t a, std::uint32_t b) {
        const auto& itemA = itemOf(a);
        const auto& itemB = itemOf(b);
        // What is in normal form compares by its bytes.
        if (itemA.isNormalized != 0 && itemB.isNormalized != 0) return storage.nameOf(itemA) < storage.nameOf(itemB);
        return compareNames(storage.nameOf(itemA), storage.nameOf(itemB)) < 0;
    };
    if (!std::ranges::is_sorted(items, comesBefore)) std::ranges::stable_sort(items, comesBefore);
}

/// What one pass over some of the rows finds.
struct RowsFound {
    std::vector<std::uint32_t> files;  ///< how many, of each folder; then where the next one goes
    std::vector<std::uint32_t> containers;
    std::vector<std::uint32_t> irregular;
};

/// Below this many a second thread is not worth its start.
constexpr std::size_t fewRows = std::size_t{1} << 14;

}  // namespace

std::strong_ordering compareNames(std::string_view a, std::string_view b) {
    if (isASCII(a) && isASCII(b)) return a <=> b;
    std::string bufferA;
    std::string bufferB;
    const auto order = normalForm(a, bufferA) <=> normalForm(b, bufferB);
    return order != 0 ? order : a <=> b;
}

bool areEqualNames(std::string_view a, std::string_view b) {
    if (a == b) return true;
    if (isASCII(a) && isASCII(b)) return false;
    std::string bufferA;
    std::string bufferB;
    return normalForm(a, bufferA) == normalForm(b, bufferB);
}

bool contentComesBefore(std::string_view folder, std::string_view next) {
    std::string bufferA;
    std::string bufferB;
    folder = normalForm(folder, bufferA);
    next = normalForm(next, bufferB);
    // `next` comes behind "folder", so it does behind "folder/" unless it goes on with a byte below the slash.
    if (!next.starts_with(folder)) return true;
    return next.size() > folder.size() && static_cast<unsigned char>(next[folder.size()]) > '/';
}

TreeOrder::TreeOrder(const RecordStorage& storage) : storage_{storage} {
    const std::vector<FolderIndex> first = firstOfEach(storage);
    const auto& storedFolders = storage.folders();
    // Two threads take half of the rows each, and what they find is put together in the order of the rows.
    const auto size = static_cast<std::uint32_t>(storage.size());
    const unsigned threads = size < fewRows ? 1 : 2;
    const auto halfOf = [&](unsigned thread) { return size / threads * thread; };
    const auto endOf = [&](unsigned thread) { return thread + 1 == threads ? size : halfOf(thread + 1); };
    std::array<RowsFound, 2> found;
    std::vector<FolderIndex> folderOfFile(size, none);
    onThreads(threads, [&](unsigned thread) {
        RowsFound& mine = found[thread];
        mine.files.assign(storedFolders.size(), 0);
        for (std::uint32_t i = halfOf(thread); i < endOf(thread); ++i) {
            const RecordStorage::Row& row = storage.row(i);
            if (row.isIrregular != 0) {
                mine.irregular.push_back(i);
            } else if (row.isContainer()) {
                mine.containers.push_back(i);
            } else {
                ++mine.files[folderOfFile[i] = first[row.folder]];
            }
        }
    });
    if (threads == 1) found[1].files.assign(storedFolders.size(), 0);
    irregular_ = std::move(found[0].irregular);
    irregular_.insert(irregular_.end(), found[1].irregular.begin(), found[1].irregular.end());
    std::vector<std::uint32_t> containers = std::move(found[0].containers);
    containers.insert(containers.end(), found[1].containers.begin(), found[1].containers.end());

    placeFolders(first, containers, found[0].files, found[1].files);
    onThreads(threads, [&](unsigned thread) {
        std::vector<std::uint32_t>& next = found[thread].files;
        for (std::uint32_t i = halfOf(thread); i < endOf(thread); ++i) {
            if (folderOfFile[i] != none) files_[next[folderOfFile[i]]++] = i;
        }
    });
    const auto middle = static_cast<std::size_t>(
        std::ranges::lower_bound(folders_, files_.size() / 2, {}, &Folder::firstFile) - folders_.begin());
    onThreads(threads, [&](unsigned thread) {
        const auto begin = folders_.begin() + static_cast<std::ptrdiff_t>(thread == 0 ? 0 : middle);
        const auto end =
            threads == 2 && thread == 0 ? folders_.begin() + static_cast<std::ptrdiff_t>(middle) : folders_.end();
        for (const Folder& folder : std::ranges::subrange{begin, end}) {
            sortByName(storage, std::span{files_}.subspan(folder.firstFile, folder.files),
                       [&](std::uint32_t row) -> const RecordStorage::Row& { return storage.row(row); });
        }
    });
}

void TreeOrder::placeFolders(const std::vector<FolderIndex>& first, const std::vector<std::uint32_t>& containers,
                             std::vector<std::uint32_t>& filesOfFirst, std::vector<std::uint32_t>& filesOfSecond) {
    const auto& storedFolders = storage_.folders();
    const auto folderCount = static_cast<std::uint32_t>(storedFolders.size());
    Grouped rows{folderCount, containers, [&](std::uint32_t row) { return first[storage_.row(row).folder]; }};
    std::vector<FolderIndex> leaders;
    leaders.reserve(folderCount);
    for (FolderIndex i = 0; i < folderCount; ++i) {
        if (i != RecordStorage::topFolder && first[i] == i) leaders.push_back(i);
    }
    Grouped subfolders{folderCount, leaders, [&](FolderIndex i) { return first[storedFolders[i].parent]; }};

    const auto rowName = [&](std::uint32_t row) { return storage_.nameOf(storage_.row(row)); };
    const auto folderName = [&](FolderIndex folder) { return storage_.nameOf(storedFolders[folder]); };
    // Folders that are known, and not yet reached: the next one last.
    std::vector<Folder> waiting{Folder{.folder = RecordStorage::topFolder}};
    std::vector<Folder> found;
    std::uint32_t files = 0;
    folders_.reserve(std::max<std::size_t>(folderCount, containers.size()) + 1);
    while (!waiting.empty()) {
        const auto position = static_cast<std::uint32_t>(folders_.size());
        Folder folder = waiting.back();
        waiting.pop_back();
        folder.firstFile = files;
        found.clear();
        if (folder.folder != none) {
            files += std::exchange(filesOfFirst[folder.folder], files);
            files += std::exchange(filesOfSecond[folder.folder], files);
            const auto inside = rows.of(folder.folder);
            sortByName(storage_, inside,
                       [&](std::uint32_t row) -> const RecordStorage::Row& { return storage_.row(row); });
            const auto namedInside = subfolders.of(folder.folder);
            sortByName(storage_, namedInside,
                       [&](FolderIndex each) -> const RecordStorage::Folder& { return storedFolders[each]; });
            // A record and the folder with its name are one.
            auto named = namedInside.begin();
            for (const std::uint32_t row : inside) {
                while (named != namedInside.end() && folderName(*named) != rowName(row) &&
                       compareNames(folderName(*named), rowName(row)) < 0) {
                    found.push_back({.row = none, .folder = *named++, .parent = position});
                }
                const bool isNamed = named != namedInside.end() && folderName(*named) == rowName(row);
                found.push_back({.row = row, .folder = isNamed ? *named++ : none, .parent = position});
            }
            for (; named != namedInside.end(); ++named) {
                found.push_back({.row = none, .folder = *named, .parent = position});
            }
        }
        folder.files = files - folder.firstFile;
        folder.subfolders = static_cast<std::uint32_t>(found.size());
        folders_.push_back(folder);
        waiting.insert(waiting.end(), found.rbegin(), found.rend());
    }
    files_.resize(files);
    for (auto i = static_cast<std::uint32_t>(folders_.size()); i-- > 0;) {
        Folder& folder = folders_[i];
        folder.end = std::max(folder.end, i + 1);
        if (folder.parent != none) {
            folders_[folder.parent].end = std::max(folders_[folder.parent].end, folder.end);
        }
    }
}

std::string_view TreeOrder::nameOf(const Folder& folder) const {
    if (folder.row != none) return storage_.nameOf(storage_.row(folder.row));
    return folder.folder == none ? std::string_view{} : storage_.nameOf(storage_.folders()[folder.folder]);
}

std::vector<std::uint32_t> TreeOrder::places() const {
    std::vector<std::uint32_t> result(storage_.size());
    std::uint32_t place = 0;
    for (const Folder& folder : folders_) {
        if (folder.row != none) result[folder.row] = place;
        ++place;
    }
    for (const std::uint32_t row : files_) result[row] = place++;
    for (const std::uint32_t row : irregular_) result[row] = place++;
    return result;
}

std::uint32_t TreeOrder::folderAt(std::string_view path) const {
    if (!path.starts_with('/')) return none;
    std::uint32_t position = 0;
    for (std::size_t start = 1; start < path.size();) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        const std::string_view name = path.substr(start, end - start);
        std::uint32_t child = position + 1;
        while (child < folders_[position].end && nameOf(folders_[child]) != name) child = folders_[child].end;
        if (child >= folders_[position].end) return none;
        position = child;
        start = end + 1;
    }
    return position;
}

std::vector<ScanOrderRun> scanOrder(const ScanOrderSource& source) {
    struct Frame {
        std::uint32_t folder;
        std::uint32_t nextFolder;  ///< the next folder right inside
        std::uint32_t nextFile;
        std::size_t waiting;  ///< how many contents waited when the frame began
    };
    std::vector<ScanOrderRun> order;
    if (source.folderCount() == 0) return order;
    std::vector<Frame> frames;
    // Folders of open frames whose record has come and whose content has not. Of several in one frame each one's name
    // begins with that of the one before, since else its content would have come already: the last is the first to go.
    std::vector<std::uint32_t> waiting;
    const auto begin = [&](std::uint32_t folder) {
        frames.push_back({folder, folder + 1, source.firstFile(folder), waiting.size()});
    };
    const auto emitFiles = [&](std::uint32_t first, std::uint32_t count) {
        if (!order.empty() && !order.back().isFolder && order.back().first + order.back().count == first) {
            order.back().count += count;
        } else {
            order.push_back({first, count, false});
        }
    };
    begin(0);
    while (!frames.empty()) {
        Frame& frame = frames.back();
        const std::uint32_t folderEnd = source.folderEnd(frame.folder);
        const std::uint32_t fileEnd = source.firstFile(frame.folder) + source.fileCount(frame.folder);
        const bool hasFolder = frame.nextFolder < folderEnd;
        const bool hasFile = frame.nextFile < fileEnd;
        const bool isFolderNext = hasFolder && (!hasFile || compareNames(source.folderName(frame.nextFolder),
                                                                         source.fileName(frame.nextFile)) <= 0);
        if (waiting.size() > frame.waiting) {
            const std::uint32_t content = waiting.back();
            if ((!hasFolder && !hasFile) ||
                contentComesBefore(source.folderName(content), isFolderNext ? source.folderName(frame.nextFolder)
                                                                            : source.fileName(frame.nextFile))) {
                waiting.pop_back();
                begin(content);
                continue;
            }
        }
        if (isFolderNext) {
            const std::uint32_t folder = frame.nextFolder;
            frame.nextFolder = source.folderEnd(folder);
            if (source.hasRecord(folder)) order.push_back({folder, 1, true});
            if (source.folderEnd(folder) > folder + 1 || source.fileCount(folder) > 0) waiting.push_back(folder);
        } else if (hasFile && !hasFolder && waiting.size() == frame.waiting) {
            emitFiles(frame.nextFile, fileEnd - frame.nextFile);
            frame.nextFile = fileEnd;
        } else if (hasFile) {
            emitFiles(frame.nextFile++, 1);
        } else {
            frames.pop_back();
        }
    }
    return order;
}

}  // namespace KestrelCore
