#include "Storage/History/StreamView.hpp"

#include "KestrelCore/Model/KestrelError.hpp"

#include <algorithm>
#include <limits>
#include <string>

namespace KestrelCore {

namespace {

constexpr std::uint8_t number(HistoryField field) { return static_cast<std::uint8_t>(field); }

/// What the names of a chunk may take, before they are looked at.
std::size_t mostNameBytes(HistoryStream stream, std::size_t rows) {
    constexpr std::size_t longestName = 4096;
    constexpr std::size_t irregular = std::size_t{1} << 30;
    return stream == HistoryStream::irregular ? irregular : rows * longestName;
}

}  // namespace

void throwDamaged(std::int64_t generation) {
    throw KestrelError::unavailable("Generation " + std::to_string(generation) +
                                    " of the history is damaged and can't be read.");
}

bool ColumnSource::read(const ColumnKey& key, std::string& packed) const {
    auto found = column(key);
    if (found) packed = std::move(*found);
    return found.has_value();
}

StreamView::StreamView(const ColumnSource& source, HistoryStream stream, std::span<const GenerationLayout> layers)
    : source_{source}, stream_{stream}, layers_{layers.begin(), layers.end()}, changes_(layers.size()) {
    size_ = layers_.front().of(stream).rows;
    placeCount_ = size_;
    if (size_ > 0) segments_.push_back({.start = 0, .count = size_, .layer = 0, .first = 0, .place = 0});
    for (std::uint32_t layer = 1; layer < layers_.size(); ++layer) apply(layer);
}

std::vector<std::uint64_t> StreamView::numbers(std::uint32_t layer, std::uint8_t field, std::size_t count,
                                               bool mayBeMissing) const {
    std::vector<std::uint64_t> all;
    std::vector<std::uint64_t> some;
    const std::int64_t generation = layers_[layer].generation;
    for (std::uint32_t chunk = 0; all.size() < count; ++chunk) {
        const std::size_t rows = std::min(count - all.size(), Column::mostRows);
        const auto packed =
            source_.column({.generation = generation, .stream = stream_, .field = field, .chunk = chunk});
        if (packed) {
            if (!Column::unpack(*packed, rows, some)) throwDamaged(generation);
            all.insert(all.end(), some.begin(), some.end());
        } else if (mayBeMissing) {
            all.resize(all.size() + rows, 0);
        } else {
            throwDamaged(generation);
        }
    }
    return all;
}

std::vector<StreamView::Change> StreamView::placesOfChanges(std::uint32_t layer) const {
    const std::int64_t generation = layers_[layer].generation;
    const std::size_t count = layers_[layer].of(stream_).changes;
    const auto steps = numbers(layer, number(HistoryField::changedRows), count, false);
    const auto fields = numbers(layer, number(HistoryField::changedFields), count, false);
    std::vector<Change> changes;
    changes.reserve(count);
    auto segment = segments_.begin();
    std::uint64_t position = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (steps[i] >= size_ || (i > 0 && steps[i] == 0)) throwDamaged(generation);
        position += steps[i];
        if (position >= size_ || (fields[i] & ~std::uint64_t{fieldsOf(stream_)}) != 0) throwDamaged(generation);
        while (position >= segment->start + std::uint64_t{segment->count}) ++segment;
        changes.push_back({.layer = segment->layer,
                           .index = segment->first + static_cast<Index>(position - segment->start),
                           .fields = static_cast<HistoryFields>(fields[i])});
    }
    return changes;
}

void StreamView::apply(std::uint32_t layer) {
    const std::int64_t generation = layers_[layer].generation;
    const StreamLayout& layout = layers_[layer].of(stream_);
    changes_[layer] = placesOfChanges(layer);
    const auto kept = numbers(layer, number(HistoryField::keptRuns), layout.runs, false);
    const auto gone = numbers(layer, number(HistoryField::goneRuns), layout.runs, false);
    const auto fresh = numbers(layer, number(HistoryField::newRuns), layout.runs, false);
    std::vector<Segment> result;
    result.reserve(segments_.size() + 2 * kept.size());
    std::uint64_t size = 0;
    const bool inherits = layers_[layer].identifiers == IdentifierForm::inherited;
    if (inherits && layout.rows > 0) throwDamaged(generation);
    const auto append = [&](std::uint32_t of, std::uint32_t first, std::uint32_t count, std::uint32_t place) {
        if (count == 0) return;
        if (size + count >= std::numeric_limits<std::uint32_t>::max()) throwDamaged(generation);
        const auto start = static_cast<std::uint32_t>(size);
        if (!inherits) place = start;
        Segment* last = result.empty() ? nullptr : &result.back();
        if (last != nullptr && last->layer == of && last->first + last->count == first &&
            last->place + last->count == place) {
            last->count += count;
        } else {
            result.push_back({.start = start, .count = count, .layer = of, .first = first, .place = place});
        }
        size += count;
    };
    auto segment = segments_.begin();
    std::uint32_t used = 0;  // of the segment
    const auto take = [&](std::uint64_t count, bool keeps) {
        while (count > 0) {
            if (segment == segments_.end()) throwDamaged(generation);
            const auto part = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, segment->count - used));
            if (keeps) append(segment->layer, segment->first + used, part, segment->place + used);
            count -= part;
            used += part;
            if (used == segment->count) {
                ++segment;
                used = 0;
            }
        }
    };
    std::uint32_t inserted = 0;
    for (std::size_t i = 0; i < layout.runs; ++i) {
        take(kept[i], true);
        take(gone[i], false);
        if (fresh[i] > layout.rows - inserted) throwDamaged(generation);
        append(layer, inserted, static_cast<std::uint32_t>(fresh[i]), 0);
        inserted += static_cast<std::uint32_t>(fresh[i]);
    }
    // What no run names any more stays.
    while (segment != segments_.end()) take(segment->count - used, true);
    if (inserted != layout.rows) throwDamaged(generation);
    segments_ = std::move(result);
    size_ = static_cast<std::uint32_t>(size);
    if (!inherits) placeCount_ = size_;
}

std::size_t StreamView::segmentAt(std::uint32_t position) const {
    const auto after = std::upper_bound(segments_.begin(), segments_.end(), position,
                                        [](std::uint32_t p, const Segment& segment) { return p < segment.start; });
    return static_cast<std::size_t>(after - segments_.begin()) - 1;
}

const StreamView::Overlay& StreamView::overlay(unsigned field) const {
    const std::lock_guard guard{mutex_};
    std::unique_ptr<Overlay>& known = overlays_[field];
    if (known != nullptr) return *known;
    auto fresh = std::make_unique<Overlay>(layers_.size());
    for (std::uint32_t layer = 1; layer < layers_.size(); ++layer) {
        const auto isOfField = [&](const Change& change) { return (change.fields >> field & 1) != 0; };
        const auto count = static_cast<std::size_t>(std::ranges::count_if(changes_[layer], isOfField));
        const auto column = static_cast<std::uint8_t>(number(HistoryField::changedValues) + field);
        const auto values = numbers(layer, column, count, true);
        auto value = values.begin();
        for (const Change& change : changes_[layer]) {
            if (isOfField(change)) (*fresh)[change.layer].emplace_back(change.index, *value++);
        }
    }
    // What several differences have changed has the value of the last.
    for (auto& values : *fresh) {
        std::ranges::stable_sort(values, {}, [](const auto& value) { return value.first; });
        std::size_t kept = 0;
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (i + 1 == values.size() || values[i + 1].first != values[i].first) values[kept++] = values[i];
        }
        values.resize(kept);
    }
    known = std::move(fresh);
    return *known;
}

std::vector<std::vector<std::uint32_t>> StreamView::changedRows(std::uint32_t from, HistoryFields fields) const {
    std::vector<std::vector<std::uint32_t>> rows(layers_.size());
    for (std::uint32_t layer = from; layer < layers_.size(); ++layer) {
        for (const Change& change : changes_[layer]) {
            if ((change.fields & fields) != 0) rows[change.layer].push_back(change.index);
        }
    }
    for (std::vector<std::uint32_t>& each : rows) {
        std::ranges::sort(each);
        each.erase(std::ranges::unique(each).begin(), each.end());
    }
    return rows;
}

std::vector<StreamView::ChunkUse> StreamView::chunks() const {
    const auto perChunk = static_cast<std::uint32_t>(rowsInChunk(stream_));
    std::vector<ChunkUse> uses;
    // A layer's rows stay in their order, so the chunk that was met last is the only one that may be met again.
    std::vector<std::size_t> lastOfLayer(layers_.size(), 0);
    for (const Segment& segment : segments_) {
        for (std::uint32_t done = 0; done < segment.count;) {
            const std::uint32_t index = segment.first + done;
            const std::uint32_t chunk = index / perChunk;
            const std::uint32_t row = index % perChunk;
            const std::uint32_t count = std::min(perChunk - row, segment.count - done);
            std::size_t& last = lastOfLayer[segment.layer];
            if (last == 0 || uses[last - 1].chunk != chunk) {
                uses.push_back({.layer = segment.layer, .chunk = chunk, .spans = {}});
                last = uses.size();
            }
            uses[last - 1].spans.push_back(
                {.position = segment.start + done, .count = count, .row = row, .place = segment.place + done});
            done += count;
        }
    }
    return uses;
}

std::uint32_t StreamView::rowsIn(std::uint32_t layer, std::uint32_t chunk) const {
    const std::uint64_t perChunk = rowsInChunk(stream_);
    const std::uint64_t rows = layers_[layer].of(stream_).rows;
    if (chunk * perChunk >= rows) throwDamaged(layers_[layer].generation);
    return static_cast<std::uint32_t>(std::min(rows - chunk * perChunk, perChunk));
}

bool StreamView::readPacked(std::uint32_t layer, std::uint32_t chunk, HistoryField field, std::string& packed) const {
    return source_.read({.generation = layers_[layer].generation,
                         .stream = stream_,
                         .field = static_cast<std::uint8_t>(field),
                         .chunk = chunk},
                        packed);
}

NameBytes StreamView::names(std::uint32_t layer, std::uint32_t chunk) const {
    const std::int64_t generation = layers_[layer].generation;
    std::string packed;
    // Names are never left out, so that no number of rows can be claimed that has nothing behind it.
    if (!readPacked(layer, chunk, HistoryField::names, packed)) throwDamaged(generation);
    const auto size = Column::unpackedSize(packed, mostNameBytes(stream_, rowsIn(layer, chunk)));
    if (!size) throwDamaged(generation);
    NameBytes names{.bytes = std::make_shared_for_overwrite<char[]>(*size), .size = *size};
    if (!Column::unpackTo(names.bytes.get(), names.size, packed)) throwDamaged(generation);
    return names;
}

std::span<const StreamView::NewValue> StreamView::changes(std::uint32_t layer, HistoryField field, std::uint32_t first,
                                                          std::uint32_t count) const {
    if (layers_.size() == 1) return {};
    const auto& changed = overlay(static_cast<unsigned>(field))[layer];
    const auto isBefore = [](const NewValue& value, std::uint32_t index) { return value.first < index; };
    const auto begin = std::lower_bound(changed.begin(), changed.end(), first, isBefore);
    return {begin, std::lower_bound(begin, changed.end(), first + count, isBefore)};
}

GenerationRows::GenerationRows(const ColumnSource& source, std::span<const GenerationLayout> layers)
    : folders_{source, HistoryStream::folders, layers}, files_{source, HistoryStream::files, layers},
      irregular_{source, HistoryStream::irregular, layers}, generation_{layers.back().generation} {
    std::size_t layer = layers.size() - 1;
    while (layer > 0 && layers[layer].identifiers == IdentifierForm::inherited) --layer;
    identifiers_ = layers[layer].identifiers;
    // Differences with new rows number by place.
    if (identifiers_ == IdentifierForm::inherited || (layer > 0 && identifiers_ != IdentifierForm::inPlace)) {
        throwDamaged(layers[layer].generation);
    }
    const std::uint64_t rows = std::uint64_t{folders_.placeCount()} + files_.placeCount() + irregular_.placeCount();
    if (rows >= std::numeric_limits<std::uint32_t>::max()) throwDamaged(generation_);
}

const StreamView& GenerationRows::of(HistoryStream stream) const {
    switch (stream) {
    case HistoryStream::folders: return folders_;
    case HistoryStream::files: return files_;
    case HistoryStream::irregular:
    case HistoryStream::lists: break;
    }
    return irregular_;
}

std::uint32_t GenerationRows::firstNumber(HistoryStream stream) const {
    switch (stream) {
    case HistoryStream::folders: return 0;
    case HistoryStream::files: return folders_.placeCount();
    case HistoryStream::irregular:
    case HistoryStream::lists: break;
    }
    return folders_.placeCount() + files_.placeCount();
}

}  // namespace KestrelCore
