#include "Storage/History/ChunkColumns.hpp"

#include <algorithm>

namespace KestrelCore {

ChunkColumns::ChunkColumns(const StreamView& view, HistoryFields fields) : view_{view} {
    for (unsigned number = 0; number < rowFieldCount; ++number) {
        if ((fields >> number & 1) == 0) continue;
        fields_.push_back(std::make_unique<Field>());
        fields_.back()->field = static_cast<HistoryField>(number);
        columns_.values[number] = fields_.back()->values.data();
    }
}

void ChunkColumns::open(std::uint32_t layer, std::uint32_t chunk) {
    rows_ = view_.rowsIn(layer, chunk);
    firstIndex_ = static_cast<std::uint32_t>(chunk * rowsInChunk(view_.stream()));
    block_ = 0;
    for (const auto& field : fields_) {
        field->isKept = view_.readPacked(layer, chunk, field->field, packed_);
        if (field->isKept && !field->column.open(packed_, rows_)) throwDamaged(view_.generationOf(layer));
        field->changes = view_.changes(layer, field->field, firstIndex_, rows_);
    }
}

void ChunkColumns::fill(std::uint32_t block) {
    const std::uint32_t first = (block - 1) * rowsAtOnce;
    const std::size_t count = std::min(rows_ - first, rowsAtOnce);
    const std::uint32_t firstIndex = firstIndex_ + first;
    for (const auto& field : fields_) {
        const std::span values = std::span{field->values}.first(count);
        if (field->isKept) {
            field->column.read(first, values);
        } else {
            std::ranges::fill(values, 0);
        }
        if (field->changes.empty()) continue;
        const auto isBefore = [](const StreamView::NewValue& value, std::uint32_t index) {
            return value.first < index;
        };
        for (auto at = std::lower_bound(field->changes.begin(), field->changes.end(), firstIndex, isBefore);
             at != field->changes.end() && at->first - firstIndex < count; ++at) {
            values[at->first - firstIndex] = at->second;
        }
    }
    block_ = block;
}

ChunkColumns::Rows ChunkColumns::at(std::uint32_t row) {
    const std::uint32_t block = row / rowsAtOnce + 1;
    if (block != block_) fill(block);
    const std::uint32_t first = row % rowsAtOnce;
    return {&columns_, first, std::min(rows_ - (block - 1) * rowsAtOnce, rowsAtOnce) - first};
}

namespace {

/// The chunk of one layer that was read last.
struct OpenChunk {
    OpenChunk(const StreamView& view, HistoryFields fields) : columns{view, fields} {}

    std::uint32_t chunk = 0;
    ChunkColumns columns;
    NameBytes names;
    std::vector<std::uint32_t> nameEnds;
};

}  // namespace

RowBlock readRows(const StreamView& view, std::uint32_t first, std::uint32_t count, HistoryFields fields,
                  bool withNames, std::vector<std::uint32_t>* places) {
    const auto perChunk = static_cast<std::uint32_t>(rowsInChunk(view.stream()));
    RowBlock rows;
    rows.count = count;
    if (count == 0) return rows;
    // What is claimed is not believed at once: room for more than some chunks is made as the rows come.
    const std::size_t expected = std::min<std::size_t>(count, std::size_t{8} * perChunk);
    for (unsigned field = 0; field < rowFieldCount; ++field) {
        if ((fields >> field & 1) != 0) rows.values[field].reserve(expected);
    }
    if (withNames) rows.nameEnds.reserve(expected);
    if (places != nullptr) places->reserve(expected);
    std::vector<std::unique_ptr<OpenChunk>> open;  // by layer
    auto segment = view.segments().begin() + static_cast<std::ptrdiff_t>(view.segmentAt(first));
    for (std::uint32_t done = 0; done < count;) {
        while (first + done - segment->start >= segment->count) ++segment;
        const std::uint32_t inSegment = first + done - segment->start;
        const std::uint32_t index = segment->first + inSegment;
        const std::uint32_t row = index % perChunk;
        if (open.size() <= segment->layer) open.resize(segment->layer + std::size_t{1});
        std::unique_ptr<OpenChunk>& at = open[segment->layer];
        const bool isNew = at == nullptr;
        if (isNew) at = std::make_unique<OpenChunk>(view, fields);
        if (isNew || at->chunk != index / perChunk) {
            at->chunk = index / perChunk;
            at->columns.open(segment->layer, at->chunk);
            if (withNames) {
                at->names = view.names(segment->layer, at->chunk);
                if (!findNameEnds(at->names.view(), at->columns.rows(), at->nameEnds)) {
                    throwDamaged(view.generationOf(segment->layer));
                }
            }
        }
        std::uint32_t length = std::min({segment->count - inSegment, count - done, at->columns.rows() - row});
        if (fields != 0) {
            const ChunkColumns::Rows some = at->columns.at(row);
            length = std::min(length, some.count);
            for (unsigned field = 0; field < rowFieldCount; ++field) {
                if ((fields >> field & 1) == 0) continue;
                const std::uint64_t* const values = some.columns->values[field] + some.first;
                rows.values[field].insert(rows.values[field].end(), values, values + length);
            }
        }
        if (withNames) rows.addNames(at->names.view(), at->nameEnds, row, length);
        for (std::uint32_t i = 0; places != nullptr && i < length; ++i) {
            places->push_back(segment->place + inSegment + i);
        }
        done += length;
    }
    return rows;
}

}  // namespace KestrelCore
