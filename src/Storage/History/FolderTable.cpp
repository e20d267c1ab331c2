#include "Storage/History/FolderTable.hpp"

#include "Storage/History/ChunkColumns.hpp"
#include "Storage/History/RowValues.hpp"

#include <algorithm>
#include <ranges>

namespace KestrelCore {

namespace {

/// What is claimed is not believed at once: room for more than some chunks is made as the rows come.
std::size_t roomFor(std::uint32_t rows) {
    return std::min<std::size_t>(rows, 8 * rowsInChunk(HistoryStream::folders)) + 1;
}

}  // namespace

FolderTable::FolderTable(const GenerationRows& rows, HistoryFields fields) : folders_{rows.folders()} {
    const StreamView& files = rows.files();
    const std::int64_t generation = rows.generation();
    const std::uint32_t count = folders_.size();
    for (unsigned field = 0; field < rowFieldCount; ++field) {
        if ((fields >> field & 1) != 0) rows_.values[field].reserve(roomFor(count));
    }
    rows_.nameEnds.reserve(roomFor(count));
    end_.reserve(roomFor(count));
    parent_.reserve(roomFor(count));
    firstFile_.reserve(roomFor(count));
    hasRecord_.reserve(roomFor(count));

    // Each folder is followed by as many as it says, each with all that lies below it.
    struct Open {
        std::uint32_t folder;
        std::uint64_t missing;
    };
    std::vector<Open> open;
    std::uint64_t fileSum = 0;
    RowReader reader{folders_, fields | treeFields | bit(HistoryField::shape), true};
    while (end_.size() < count) {
        const RowReader::Rows some = reader.at(static_cast<std::uint32_t>(end_.size()));
        keep(some, fields);
        for (std::uint32_t row = 0; row < some.count; ++row) {
            const auto i = static_cast<std::uint32_t>(end_.size());
            while (!open.empty() && open.back().missing == 0) {
                end_[open.back().folder] = i;
                open.pop_back();
            }
            if (open.empty() != (i == 0)) throwDamaged(generation);
            parent_.push_back(open.empty() ? none : open.back().folder);
            if (!open.empty()) --open.back().missing;
            open.push_back({i, some.value(HistoryField::subfolders, row)});
            end_.push_back(count);
            hasRecord_.push_back((some.value(HistoryField::shape, row) & RowShape::noRecord) == 0);
            firstFile_.push_back(static_cast<std::uint32_t>(fileSum));
            const std::uint64_t inside = some.value(HistoryField::files, row);
            if (inside > files.size() - fileSum) throwDamaged(generation);
            fileSum += inside;
        }
    }
    rows_.count = count;
    if (count > 0 && hasRecord(0)) throwDamaged(generation);
    for (; !open.empty(); open.pop_back()) {
        if (open.back().missing != 0) throwDamaged(generation);
    }
    firstFile_.push_back(static_cast<std::uint32_t>(fileSum));
    if (fileSum != files.size()) throwDamaged(generation);
}

void FolderTable::keep(const RowReader::Rows& some, HistoryFields fields) {
    for (unsigned field = 0; field < rowFieldCount; ++field) {
        if ((fields >> field & 1) == 0) continue;
        const std::uint64_t* const values = some.columns->values[field] + some.firstColumn;
        rows_.values[field].insert(rows_.values[field].end(), values, values + some.count);
    }
    for (std::uint32_t i = 0; i < some.count; ++i) rows_.addName(some.name(i));
}

std::uint32_t FolderTable::place(std::uint32_t folder) const {
    const StreamView::Segment& segment = folders_.segments()[folders_.segmentAt(folder)];
    return segment.place + (folder - segment.start);
}

std::uint32_t FolderTable::folderOf(std::uint32_t file) const {
    // Of folders that begin at one place the last is the one that is not empty.
    return static_cast<std::uint32_t>(std::ranges::upper_bound(firstFile_, file) - firstFile_.begin()) - 1;
}

std::uint32_t FolderTable::at(std::string_view path) const {
    return walk(path, [](std::string_view name, std::string_view wanted) { return name == wanted; });
}

std::uint32_t FolderTable::find(std::string_view path) const {
    const std::uint32_t exact = at(path);
    if (exact != none) return exact;
    return walk(path, [](std::string_view name, std::string_view wanted) { return areEqualNames(name, wanted); });
}

template <typename Equal>
std::uint32_t FolderTable::walk(std::string_view path, const Equal& areEqual) const {
    if (size() == 0 || !path.starts_with('/')) return none;
    std::uint32_t folder = 0;
    for (std::size_t start = 1; start < path.size();) {
        const std::size_t slash = std::min(path.find('/', start), path.size());
        const std::string_view wanted = path.substr(start, slash - start);
        std::uint32_t child = folder + 1;
        while (child < end_[folder] && !areEqual(name(child), wanted)) child = end_[child];
        if (child >= end_[folder]) return none;
        folder = child;
        start = slash + 1;
    }
    return folder;
}

std::string FolderTable::path(std::uint32_t folder) const {
    if (folder == 0) return "/";
    std::vector<std::uint32_t> chain;
    for (; folder != 0; folder = parent_[folder]) chain.push_back(folder);
    std::string path;
    for (const std::uint32_t each : std::ranges::reverse_view{chain}) {
        path += '/';
        path += name(each);
    }
    return path;
}

FolderContents::FolderContents(const FolderTable& table, const StreamView& folders, std::uint32_t first)
    : table_{table}, first_{first} {
    // What a folder holds is all its files, and what each folder below has beside its own: only sums along the rows.
    constexpr HistoryFields fields = bit(HistoryField::shape) | bit(HistoryField::logical) |
                                     bit(HistoryField::allocated) | bit(HistoryField::aggregate) |
                                     bit(HistoryField::fileBytes);
    const std::uint32_t end = table.size() == 0 ? first : table.end(first);
    own_.reserve(end - first);
    sums_.reserve(end - first + std::size_t{1});
    sums_.push_back(0);
    RowReader reader{folders, fields, false};
    for (std::uint32_t position = first; position < end;) {
        const RowReader::Rows some = reader.at(position);
        const std::uint32_t count = std::min(some.count, end - position);
        for (std::uint32_t i = 0; i < count; ++i) {
            std::uint64_t own = 0;
            if (table.hasRecord(position + i)) {
                own = static_cast<std::uint64_t>(
                          allocationOf({.allocated = some.value(HistoryField::allocated, i),
                                        .shape = some.value(HistoryField::shape, i)},
                                       static_cast<std::int64_t>(some.value(HistoryField::logical, i)))) +
                      unzigzag(some.value(HistoryField::aggregate, i));
            }
            own_.push_back(own);
            sums_.push_back(sums_.back() + own + some.value(HistoryField::fileBytes, i));
        }
        position += count;
    }
}

}  // namespace KestrelCore
