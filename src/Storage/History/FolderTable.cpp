#include "Storage/History/FolderTable.hpp"

#include "Storage/History/ChunkColumns.hpp"
#include "Storage/History/RowValues.hpp"

#include <algorithm>
#include <ranges>

namespace KestrelCore {

FolderTable::FolderTable(const GenerationRows& rows, HistoryFields fields) {
    const StreamView& folders = rows.folders();
    const StreamView& files = rows.files();
    const std::int64_t generation = rows.generation();
    const std::uint32_t count = folders.size();
    fields |= treeFields | bit(HistoryField::shape);
    rows_ = readRows(folders, 0, count, fields, true, &places_);

    if (count > 0 && hasRecord(0)) throwDamaged(generation);

    // Each folder is followed by as many as it says, each with all that lies below it.
    struct Open {
        std::uint32_t folder;
        std::uint64_t missing;
    };
    std::vector<Open> open;
    end_.resize(count);
    parent_.resize(count, none);
    firstFile_.resize(count + std::size_t{1});
    std::uint64_t fileSum = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        while (!open.empty() && open.back().missing == 0) {
            end_[open.back().folder] = i;
            open.pop_back();
        }
        if (open.empty() != (i == 0)) throwDamaged(generation);
        if (!open.empty()) {
            parent_[i] = open.back().folder;
            --open.back().missing;
        }
        open.push_back({i, rows_.value(HistoryField::subfolders, i)});
        firstFile_[i] = static_cast<std::uint32_t>(fileSum);
        const std::uint64_t inside = rows_.value(HistoryField::files, i);
        if (inside > files.size() - fileSum) throwDamaged(generation);
        fileSum += inside;
    }
    for (; !open.empty(); open.pop_back()) {
        if (open.back().missing != 0) throwDamaged(generation);
        end_[open.back().folder] = count;
    }
    firstFile_[count] = static_cast<std::uint32_t>(fileSum);
    if (fileSum != files.size()) throwDamaged(generation);
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

std::vector<std::int64_t> FolderTable::aggregates() const {
    std::vector<std::uint64_t> content(size(), 0);
    std::vector<std::int64_t> result(size(), 0);
    for (std::uint32_t i = size(); i-- > 0;) {
        content[i] += value(HistoryField::fileBytes, i);
        std::uint64_t aggregate = content[i];
        if (hasRecord(i)) {
            const StoredAllocation stored{.allocated = value(HistoryField::allocated, i),
                                          .shape = value(HistoryField::shape, i)};
            aggregate += static_cast<std::uint64_t>(
                allocationOf(stored, static_cast<std::int64_t>(value(HistoryField::logical, i))));
            aggregate += unzigzag(value(HistoryField::aggregate, i));
        }
        result[i] = static_cast<std::int64_t>(aggregate);
        if (i > 0) content[parent_[i]] += aggregate;
    }
    return result;
}

std::vector<std::uint64_t> FolderTable::contents(const FolderTable& table,
                                                 const std::vector<std::int64_t>& aggregates) {
    std::vector<std::uint64_t> content(table.size(), 0);
    for (std::uint32_t i = table.size(); i-- > 0;) {
        content[i] += table.value(HistoryField::fileBytes, i);
        if (i > 0) content[table.parent(i)] += static_cast<std::uint64_t>(aggregates[i]);
    }
    return content;
}

std::vector<std::uint64_t> FolderTable::contentsBelow(std::uint32_t first, const RowBlock& rows) const {
    std::vector<std::uint64_t> content(end_[first] - first, 0);
    for (std::uint32_t i = end_[first]; i-- > first;) {
        const std::uint32_t row = i - first;
        content[row] += rows.value(HistoryField::fileBytes, row);
        if (i == first) break;
        std::uint64_t aggregate = content[row];
        const std::uint64_t shape = rows.value(HistoryField::shape, row);
        if ((shape & RowShape::noRecord) == 0) {
            aggregate += static_cast<std::uint64_t>(
                allocationOf({.allocated = rows.value(HistoryField::allocated, row), .shape = shape},
                             static_cast<std::int64_t>(rows.value(HistoryField::logical, row))));
            aggregate += unzigzag(rows.value(HistoryField::aggregate, row));
        }
        content[parent_[i] - first] += aggregate;
    }
    return content;
}

}  // namespace KestrelCore
