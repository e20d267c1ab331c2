#include "Snapshot/SnapshotTree.hpp"

#include <utility>

namespace KestrelCore {

namespace {

std::int64_t lengthOf(const RecordStorage::Row& row) {
    return ContentLengths::counted(row.logicalBytes, row.isHardLinkDuplicate != 0);
}

}  // namespace

SnapshotTree::SnapshotTree(const RecordStorage& storage) : storage_{storage}, order_{storage} {
    const std::vector<TreeOrder::Folder>& folders = order_.folders();
    auto lengths = std::make_shared<FolderLengths>();
    lengths->files.resize(folders.size());
    lengths->own.resize(folders.size());
    for (std::size_t i = 0; i < folders.size(); ++i) {
        const TreeOrder::Folder& folder = folders[i];
        for (std::uint32_t file = folder.firstFile; file < folder.firstFile + folder.files; ++file) {
            ContentLengths::add(lengths->files[i], lengthOf(storage.row(order_.files()[file])));
        }
        if (folder.row != TreeOrder::none) lengths->own[i] = lengthOf(storage.row(folder.row));
    }
    lengths_ = std::move(lengths);

    std::vector<Irregular> irregular;
    irregular.reserve(order_.irregular().size());
    for (const std::uint32_t index : order_.irregular()) {
        const RecordStorage::Row& row = storage.row(index);
        const RecordStorage::Irregular& texts = storage.irregular(row);
        irregular.push_back({.path = texts.path,
                             .parentPath = texts.parentPath,
                             .isContainer = row.isContainer(),
                             .length = lengthOf(row),
                             .folder = none});
    }
    irregular_ = std::make_unique<const Irregulars>(*this, std::move(irregular));
}

std::uint32_t SnapshotTree::folderCount() const { return static_cast<std::uint32_t>(order_.folders().size()); }

std::uint32_t SnapshotTree::end(std::uint32_t folder) const { return order_.folders()[folder].end; }

std::string_view SnapshotTree::name(std::uint32_t folder) const { return order_.nameOf(order_.folders()[folder]); }

bool SnapshotTree::hasRecord(std::uint32_t folder) const { return order_.folders()[folder].row != TreeOrder::none; }

ListedTree::Range SnapshotTree::files(std::uint32_t folder) const {
    const TreeOrder::Folder& each = order_.folders()[folder];
    return {each.firstFile, each.firstFile + each.files};
}

ListedTree::Range SnapshotTree::filesBelow(std::uint32_t folder) const {
    const TreeOrder::Folder& each = order_.folders()[folder];
    const auto endOfFiles = each.end < folderCount() ? order_.folders()[each.end].firstFile
                                                     : static_cast<std::uint32_t>(order_.files().size());
    return {each.firstFile, endOfFiles};
}

std::shared_ptr<const FolderLengths> SnapshotTree::lengths(std::uint32_t) const { return lengths_; }

std::vector<FileRecord> SnapshotTree::records(std::uint32_t, const Places& places) const {
    std::vector<FileRecord> records;
    for (const std::uint32_t folder : places.folders) records.push_back(storage_.record(order_.folders()[folder].row));
    for (const auto& [first, end] : places.files) {
        for (std::uint32_t file = first; file < end; ++file) records.push_back(storage_.record(order_.files()[file]));
    }
    for (const std::uint32_t i : places.irregular) records.push_back(storage_.record(order_.irregular()[i]));
    return records;
}

}  // namespace KestrelCore
