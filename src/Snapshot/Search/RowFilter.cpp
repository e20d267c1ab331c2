#include "Snapshot/Search/RowFilter.hpp"

#include "KestrelCore/Base/Path.hpp"

#include <algorithm>

namespace KestrelCore {

namespace {

bool isAtOrBelow(const Text& path, const Text& place) { return path == place || Path::isBeneath(path, place); }

bool isBelowOne(const Text& path, const std::vector<Text>& places) {
    return std::ranges::any_of(places, [&](const Text& place) { return Path::isBeneath(path, place); });
}

}  // namespace

RowFilter::RowFilter(const RecordStorage& storage, const SearchFilter& filter)
    : storage_{storage}, filter_{filter}, hasTypes_{!filter.kinds.empty() || !filter.categories.empty()} {
    if (hasTypes_) answerKinds();
    wanted_ = within(filter.inFolders);
    unwanted_ = within(filter.notInFolders);
}

void RowFilter::answerKinds() {
    for (const FileKind kind : filter_.kinds) kinds_[static_cast<std::size_t>(kind)] = Answer::yes;
    Answer& packages = kinds_[static_cast<std::size_t>(FileKind::package)];
    if (filter_.categories.contains(ItemCategory::applications)) packages = Answer::yes;
    Answer& files = kinds_[static_cast<std::size_t>(FileKind::file)];
    if (filter_.categories.empty() || files == Answer::yes) return;
    files = Answer::byExtension;
    for (const Text& extension : storage_.extensions())
        extensions_.push_back(filter_.categories.contains(ItemCategories::of(extension)));
}

std::vector<std::uint8_t> RowFilter::within(const std::vector<Text>& places) const {
    if (places.empty()) return {};
    const std::vector<RecordStorage::Folder>& folders = storage_.folders();
    std::vector<std::uint8_t> result(folders.size(), 0);
    // Parents come before children.
    for (RecordStorage::FolderIndex i = 0; i < folders.size(); ++i) {
        result[i] = (i != RecordStorage::topFolder && result[folders[i].parent] != 0) ||
                    std::ranges::any_of(places, [&](const Text& place) { return storage_.hasPath(i, place); });
    }
    return result;
}

bool RowFilter::isBelowWanted(const RecordStorage::Row& row) const {
    if (wanted_.empty()) return false;
    return row.isIrregular ? isBelowOne(storage_.irregular(row).path, filter_.inFolders) : wanted_[row.folder] != 0;
}

bool RowFilter::isUnwanted(const RecordStorage::Row& row) const {
    if (unwanted_.empty()) return false;
    if (row.isIrregular) {
        const Text& path = storage_.irregular(row).path;
        return std::ranges::any_of(filter_.notInFolders, [&](const Text& place) { return isAtOrBelow(path, place); });
    }
    return unwanted_[row.folder] != 0 ||
           std::ranges::any_of(filter_.notInFolders, [&](const Text& place) { return storage_.hasPath(row, place); });
}

}  // namespace KestrelCore
