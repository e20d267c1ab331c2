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

struct RowReader::OpenChunk {
    OpenChunk(const StreamView& view, HistoryFields fields) : columns{view, fields} {}

    std::uint32_t chunk = 0;
    ChunkColumns columns;
    NameBytes names;
    std::vector<std::uint32_t> nameEnds;
};

RowReader::RowReader(const StreamView& view, HistoryFields fields, bool withNames)
    : view_{view}, fields_{fields}, withNames_{withNames}, open_(view.layerCount()) {}

RowReader::~RowReader() = default;

RowReader::Rows RowReader::at(std::uint32_t position) {
    const auto& segments = view_.segments();
    const auto holds = [&](std::size_t index) {
        return index < segments.size() && position >= segments[index].start &&
               position - segments[index].start < segments[index].count;
    };
    if (!holds(segment_)) segment_ = holds(segment_ + 1) ? segment_ + 1 : view_.segmentAt(position);
    const StreamView::Segment& segment = segments[segment_];
    const std::uint32_t inSegment = position - segment.start;
    Rows rows = inLayer(segment.layer, segment.first + inSegment);
    rows.count = std::min(rows.count, segment.count - inSegment);
    rows.place = segment.place + inSegment;
    return rows;
}

RowReader::Rows RowReader::inLayer(std::uint32_t layer, std::uint32_t index) {
    const auto perChunk = static_cast<std::uint32_t>(rowsInChunk(view_.stream()));
    const std::uint32_t chunk = index / perChunk;
    const std::uint32_t row = index % perChunk;
    std::unique_ptr<OpenChunk>& open = open_[layer];
    if (open == nullptr || open->chunk != chunk) {
        auto next = open == nullptr ? std::make_unique<OpenChunk>(view_, fields_) : std::move(open);
        next->chunk = chunk;
        next->columns.open(layer, chunk);
        if (withNames_) {
            next->names = view_.names(layer, chunk);
            if (!findNameEnds(next->names.view(), next->columns.rows(), next->nameEnds)) {
                throwDamaged(view_.generationOf(layer));
            }
        }
        open = std::move(next);
    }
    Rows rows{.count = open->columns.rows() - row,
              .place = 0,
              .columns = nullptr,
              .firstColumn = 0,
              .names = open->names.view(),
              .nameEnds = withNames_ ? open->nameEnds.data() + row : nullptr,
              .nameBegin = !withNames_ || row == 0 ? 0 : open->nameEnds[row - 1] + 1};
    if (fields_ != 0) {
        const ChunkColumns::Rows some = open->columns.at(row);
        rows.count = std::min(rows.count, some.count);
        rows.columns = some.columns;
        rows.firstColumn = some.first;
    }
    return rows;
}

}  // namespace KestrelCore
