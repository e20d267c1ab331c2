#pragma once

#include "Snapshot/TreeOrder.hpp"
#include "Storage/History/StreamView.hpp"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// All folders of a generation, whole: some eight of a hundred records. Read-only; any thread.
class FolderTable {
public:
    static constexpr std::uint32_t none = TreeOrder::none;

    /// Reads the fields as bits, and what hangs the folders together. Throws when they contradict each other.
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
    [[nodiscard]] std::uint64_t value(HistoryField field, std::uint32_t folder) const {
        return rows_.value(field, folder);
    }
    [[nodiscard]] bool hasRecord(std::uint32_t folder) const {
        return (value(HistoryField::shape, folder) & RowShape::noRecord) == 0;
    }
    /// The folder with this path, byte for byte; none where there is none.
    [[nodiscard]] std::uint32_t at(std::string_view path) const;
    /// The same under canonical equivalence, where there is none byte for byte.
    [[nodiscard]] std::uint32_t find(std::string_view path) const;
    [[nodiscard]] std::string path(std::uint32_t folder) const;

    /// What each folder's record has as its aggregate; of a folder without a record what its content sums up to.
    /// Needs the fields logical, allocated, aggregate and fileBytes.
    [[nodiscard]] std::vector<std::int64_t> aggregates() const;
    /// What lies below each folder, its own allocation left out, as `aggregates` counts it.
    [[nodiscard]] static std::vector<std::uint64_t> contents(const FolderTable& table,
                                                             const std::vector<std::int64_t>& aggregates);

    /// What lies below each folder from `first` on up to its end, their own allocations left out; of a folder above
    /// them nothing. `rows` are those folders', with the fields shape, logical, allocated, aggregate and fileBytes.
    [[nodiscard]] std::vector<std::uint64_t> contentsBelow(std::uint32_t first, const RowBlock& rows) const;

    [[nodiscard]] const RowBlock& rows() const { return rows_; }
    /// As of `StreamView::Segment`.
    [[nodiscard]] std::uint32_t place(std::uint32_t folder) const { return places_[folder]; }

private:
    template <typename Equal>
    [[nodiscard]] std::uint32_t walk(std::string_view path, const Equal& areEqual) const;

    RowBlock rows_;
    std::vector<std::uint32_t> places_;
    std::vector<std::uint32_t> end_;
    std::vector<std::uint32_t> parent_;
    std::vector<std::uint32_t> firstFile_;  ///< one more at the end
};

}  // namespace KestrelCore
