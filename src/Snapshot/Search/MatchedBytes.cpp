#include "Snapshot/Search/MatchedBytes.hpp"

#include "Base/Checked.hpp"
#include "Base/SeededHash.hpp"

#include <boost/unordered/unordered_flat_set.hpp>

#include <string_view>
#include <utility>

// A folder of the storage has no row; what it has in common with the row that stands for it is the folder it lies in,
// and the name. So the folders among the records are noted by these two, and one pass over all folders, parents first,
// finds those that lie in one of them.

namespace KestrelCore {

namespace {

constexpr std::string_view sourceFile = "KestrelCore/Search";

using Place = std::pair<RecordStorage::FolderIndex, std::string_view>;

struct PlaceHash {
    std::size_t operator()(const Place& place) const {
        return SeededHash{}(place.second) ^ (std::size_t{place.first} * 0x9E3779B97F4A7C15U);
    }
};

/// For each folder whether it is one of the records or lies in one; empty where no record is a folder.
std::vector<bool> coveredFolders(const RecordStorage& storage, const std::vector<std::uint32_t>& records) {
    boost::unordered_flat_set<Place, PlaceHash> places;
    std::vector<Text> oddPaths;
    for (const std::uint32_t record : records) {
        const RecordStorage::Row& row = storage.row(record);
        if (!row.isContainer()) continue;
        if (row.isIrregular)
            oddPaths.push_back(storage.irregular(row).path);
        else
            places.emplace(row.folder, storage.nameOf(row));
    }
    if (places.empty() && oddPaths.empty()) return {};
    const std::vector<RecordStorage::Folder>& folders = storage.folders();
    std::vector<bool> covered(folders.size(), false);
    for (RecordStorage::FolderIndex i = 0; i < folders.size(); ++i) {
        const bool isTop = i == RecordStorage::topFolder;
        covered[i] =
            !isTop && (covered[folders[i].parent] || places.contains({folders[i].parent, storage.nameOf(folders[i])}));
        for (const Text& path : oddPaths) covered[i] = covered[i] || storage.hasPath(i, path);
    }
    return covered;
}

}  // namespace

std::int64_t bytesOnDisk(const RecordStorage& storage, const std::vector<std::uint32_t>& records) {
    const std::vector<bool> covered = coveredFolders(storage, records);
    std::int64_t sum = 0;
    for (const std::uint32_t record : records) {
        const RecordStorage::Row& row = storage.row(record);
        if (row.isHardLinkDuplicate) continue;
        if (!covered.empty() && !row.isIrregular && covered[row.folder]) continue;
        sum = Checked::add(sum, row.displayBytes(), sourceFile);
    }
    return sum;
}

}  // namespace KestrelCore
