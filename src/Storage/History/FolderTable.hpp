#pragma once

#include "Snapshot/TreeOrder.hpp"
#include "Storage/History/ChunkColumns.hpp"
#include "Storage/History/StreamView.hpp"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// All folders of a generation, some eight of a hundred records: their names, and how they hang together. Read-only;
/// any thread.
class FolderTable {
public:
    static constexpr std::uint32_t none = TreeOrder::none;

    /// `fields` are those whose values are kept, as bits. `rows` must outlive this. Throws when the folders contradict
    /// each other.
    FolderTable(const GenerationRows& rows, HistoryFields fields);

    [[nodiscard]] std::uint32_t size() const { return static_cast<std::uint32_t>(end_.size()); }
    /// One behind the last folder that lies below.
    [[nodiscard]] std::uint32_t end(std::uint32_t folder) const { return end_[folder]; }
    [[nodiscard]] std::uint32_t parent(std::uint32_t folder) const { return parent_[folder]; }
    [[nodiscard]] std::uint32_t firstFile(std::uint32_t folder) const { return firstFile_[folder]; }
    [[nodiscard]] std::uint32_t fileCount(std::uint32_t folder) const {
        return firstFile_[folder + 1] - firstFile_[folder];
    }
    /// One behind the last file right inside.
    [[nodiscard]] std::uint32_t endOfFiles(std::uint32_t folder) const { return firstFile_[folder + 1]; }
    /// The folder that the file at this position lies in.
    [[nodiscard]] std::uint32_t folderOf(std::uint32_t file) const;
    /// One behind the last file in or below the folder.
    [[nodiscard]] std::uint32_t endOfFilesBelow(std::uint32_t folder) const { return firstFile_[end_[folder]]; }
    [[nodiscard]] std::string_view name(std::uint32_t folder) const { return rows_.name(folder); }
    /// One of the fields that are kept.
    [[nodiscard]] std::uint64_t value(HistoryField field, std::uint32_t folder) const {
        return rows_.value(field, folder);
    }
    [[nodiscard]] bool hasRecord(std::uint32_t folder) const { return hasRecord_[folder]; }
    /// The folder with this path, byte for byte; none where there is none.
    [[nodiscard]] std::uint32_t at(std::string_view path) const;
    /// The same under canonical equivalence, where there is none byte for byte.
    [[nodiscard]] std::uint32_t find(std::string_view path) const;
    [[nodiscard]] std::string path(std::uint32_t folder) const;

    /// The names, and the fields that are kept.
    [[nodiscard]] const RowBlock& rows() const { return rows_; }
    /// As of `StreamView::Segment`.
    [[nodiscard]] std::uint32_t place(std::uint32_t folder) const;

private:
    void keep(const RowReader::Rows& some, HistoryFields fields);
    template <typename Equal>
    [[nodiscard]] std::uint32_t walk(std::string_view path, const Equal& areEqual) const;

    const StreamView& folders_;
    RowBlock rows_;
    std::vector<bool> hasRecord_;
    std::vector<std::uint32_t> end_;
    std::vector<std::uint32_t> parent_;
    std::vector<std::uint32_t> firstFile_;  ///< one more at the end
};

/// What lies below a folder and below each folder in it, as bytes, their own allocations left out. Read-only; any
/// thread.
class FolderContents {
public:
    /// Reads the sizes of the folder `first` and of all folders below it.
    FolderContents(const FolderTable& table, const StreamView& folders, std::uint32_t first);

    // Of `first`, or a folder below it.

    /// What it holds, its own allocation left out.
    [[nodiscard]] std::uint64_t of(std::uint32_t folder) const {
        return sums_[table_.end(folder) - first_] - sums_[folder - first_] - own_[folder - first_];
    }
    /// What its record has as its aggregate; of a folder without a record what it holds.
    [[nodiscard]] std::uint64_t aggregate(std::uint32_t folder) const {
        return sums_[table_.end(folder) - first_] - sums_[folder - first_];
    }
    /// Of the files right inside.
    [[nodiscard]] std::uint64_t inFiles(std::uint32_t folder) const {
        return sums_[folder - first_ + std::size_t{1}] - sums_[folder - first_] - own_[folder - first_];
    }

private:
    const FolderTable& table_;
    std::uint32_t first_;
    std::vector<std::uint64_t> own_;   ///< of each folder, what its aggregate has beside what it holds
    std::vector<std::uint64_t> sums_;  ///< of all folders before, what they have of their own and in files
};

}  // namespace KestrelCore
