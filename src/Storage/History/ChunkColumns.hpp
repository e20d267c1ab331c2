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
#include <string_view>
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

/// Reads rows of a view, mostly one after the other. One thread; several readers may share a view.
class RowReader {
public:
    /// `view` must outlive this.
    RowReader(const StreamView& view, HistoryFields fields, bool withNames);
    ~RowReader();

    /// Rows that follow each other, and lie side by side. Valid until the reader is asked again.
    struct Rows {
        std::uint32_t count;
        std::uint32_t place;  ///< of the first, as of `StreamView::Segment`
        const RowColumns* columns;
        std::uint32_t firstColumn;  ///< where in `columns` the first row is
        std::string_view names;
        const std::uint32_t* nameEnds;  ///< of the first row and those behind it; null without names
        std::uint32_t nameBegin;        ///< of the first row

        [[nodiscard]] std::uint64_t value(HistoryField field, std::size_t i) const {
            return columns->value(field, firstColumn + i);
        }
        [[nodiscard]] std::string_view name(std::size_t i) const {
            const std::size_t begin = i == 0 ? nameBegin : nameEnds[i - 1] + std::size_t{1};
            return names.substr(begin, nameEnds[i] - begin);
        }
    };
    /// As many rows from `position` (below the view's size) on as are at hand.
    [[nodiscard]] Rows at(std::uint32_t position);
    /// The row `index` of a layer and some behind it, whether or not this view has them; their place has no meaning.
    [[nodiscard]] Rows inLayer(std::uint32_t layer, std::uint32_t index);

private:
    struct OpenChunk;

    const StreamView& view_;
    HistoryFields fields_;
    bool withNames_;
    std::size_t segment_ = 0;                       ///< the one asked for last
    std::vector<std::unique_ptr<OpenChunk>> open_;  ///< by layer, the chunk that was read last
};

}  // namespace KestrelCore
