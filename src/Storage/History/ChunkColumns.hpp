#pragma once

#include "Storage/History/Column.hpp"
#include "Storage/History/RowBlock.hpp"
#include "Storage/History/StreamView.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace KestrelCore {

/// The columns of one chunk after the other, expanded, and made into numbers some hundred rows at a time: so few that
/// all columns of them stay near the processor. One thread.
class ChunkColumns {
public:
    /// `view` must outlive this.
    ChunkColumns(const StreamView& view, HistoryFields fields);

    /// Goes to a chunk. Throws what reading throws.
    void open(std::uint32_t layer, std::uint32_t chunk);
    [[nodiscard]] std::uint32_t rows() const { return rows_; }

    /// Rows that are at hand: of `columns` those from `first` to `first + count`.
    struct Rows {
        const RowColumns* columns;
        std::uint32_t first;
        std::uint32_t count;
    };
    /// As many rows of the chunk from `row` on as are at hand. Ascending rows are read fastest. Valid until the next
    /// call.
    [[nodiscard]] Rows at(std::uint32_t row);

private:
    static constexpr std::uint32_t rowsAtOnce = 512;

    /// One field's numbers, and which of them have changed.
    struct Field {
        HistoryField field{};
        bool isKept = false;  ///< or all are zero, but for those that have changed
        NumberColumn column;
        std::span<const StreamView::NewValue> changes;
        std::array<std::uint64_t, rowsAtOnce> values;
    };

    void fill(std::uint32_t block);

    const StreamView& view_;
    std::vector<std::unique_ptr<Field>> fields_;
    RowColumns columns_{};
    std::string packed_;            ///< a column as it is kept
    std::uint32_t firstIndex_ = 0;  ///< of the chunk's first row among the layer's
    std::uint32_t rows_ = 0;
    std::uint32_t block_ = 0;  ///< the one at hand, counted from 1
};

/// The rows `first` to `first + count` of a view, as one block of any length. `places`, where it is not null, gets
/// their places, as of `StreamView::Segment`.
[[nodiscard]] RowBlock readRows(const StreamView& view, std::uint32_t first, std::uint32_t count, HistoryFields fields,
                                bool withNames, std::vector<std::uint32_t>* places = nullptr);

}  // namespace KestrelCore
