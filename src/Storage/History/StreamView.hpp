#pragma once

#include "Storage/History/RowBlock.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace KestrelCore {

/// Names one column of one chunk.
struct ColumnKey {
    std::int64_t generation = 0;
    HistoryStream stream = HistoryStream::folders;
    std::uint8_t field = 0;  ///< a `HistoryField`, or `changedValues` and a field's number
    std::uint32_t chunk = 0;

    bool operator==(const ColumnKey&) const = default;
};

/// Where columns are read from. Any thread.
class ColumnSource {
public:
    virtual ~ColumnSource() = default;
    /// The column as it was packed, checked against its hash; empty where none is kept, which stands for zeros. Throws
    /// `KestrelError::unavailable` when it can't be read or is damaged.
    [[nodiscard]] virtual std::optional<std::string> column(const ColumnKey& key) const = 0;
    /// The same into a text that was there before, for who reads many; false where none is kept.
    [[nodiscard]] virtual bool read(const ColumnKey& key, std::string& packed) const;
};

/// What one generation keeps of one stream.
struct StreamLayout {
    std::uint32_t rows = 0;     ///< rows that stand here: of a difference the new ones
    std::uint32_t runs = 0;     ///< of a difference: lengths in each of the three columns of runs
    std::uint32_t changes = 0;  ///< of a difference: changed rows

    bool operator==(const StreamLayout&) const = default;
};
struct GenerationLayout {
    std::int64_t generation = 0;
    IdentifierForm identifiers = IdentifierForm::inPlace;
    std::array<StreamLayout, everyHistoryStream.size()> streams;

    [[nodiscard]] const StreamLayout& of(HistoryStream stream) const {
        return streams[static_cast<std::size_t>(stream)];
    }
};

/// Rows of a chunk in this stream.
[[nodiscard]] constexpr std::size_t rowsInChunk(HistoryStream stream) {
    // Texts of irregular records may be long.
    if (stream == HistoryStream::irregular) return 256;
    // For a folder's children one chunk or two are expanded; with smaller ones the columns would take more room.
    return std::size_t{1} << 14;
}

/// Throws that the generation is damaged.
[[noreturn]] void throwDamaged(std::int64_t generation);

/// Bytes of names that have just been expanded.
struct NameBytes {
    std::shared_ptr<char[]> bytes;
    std::size_t size = 0;

    [[nodiscard]] std::string_view view() const { return {bytes.get(), size}; }
};

/// One stream of one generation, put together from the full generation at the start and the differences after it:
/// which rows of which of them follow each other, and what has changed in them. Rows are read when they are asked for.
/// Making one takes as long as there are differences; any number of threads may read.
class StreamView {
public:
    /// The first of `layers` is a full generation, each further one a difference to the one before it. `source` must
    /// outlive this. Throws what reading throws.
    StreamView(const ColumnSource& source, HistoryStream stream, std::span<const GenerationLayout> layers);

    [[nodiscard]] std::uint32_t size() const { return size_; }
    [[nodiscard]] HistoryStream stream() const { return stream_; }
    /// How many places there were in the generation that identifiers come from.
    [[nodiscard]] std::uint32_t placeCount() const { return placeCount_; }

    /// Rows that follow each other in one layer.
    struct Segment {
        std::uint32_t start;  ///< position of the first in this stream
        std::uint32_t count;
        std::uint32_t layer;
        std::uint32_t first;  ///< position of the first among the layer's rows
        std::uint32_t place;  ///< of the first, in the stream of the generation that identifiers come from
    };
    [[nodiscard]] const std::vector<Segment>& segments() const { return segments_; }
    /// The segment that `position` (below `size()`) lies in.
    [[nodiscard]] std::size_t segmentAt(std::uint32_t position) const;
    /// A row as its position among those of a layer.
    struct LayerRow {
        std::uint32_t layer;
        std::uint32_t index;
    };
    [[nodiscard]] LayerRow rowAt(std::uint32_t position) const {
        const Segment& segment = segments_[segmentAt(position)];
        return {segment.layer, segment.first + (position - segment.start)};
    }

    [[nodiscard]] std::uint32_t layerCount() const { return static_cast<std::uint32_t>(layers_.size()); }
    /// The generation that has the layer's rows.
    [[nodiscard]] std::int64_t generationOf(std::uint32_t layer) const { return layers_[layer].generation; }
    /// Of each layer the rows in which layer `from` or a later one has changed one of `fields`, ascending.
    [[nodiscard]] std::vector<std::vector<std::uint32_t>> changedRows(std::uint32_t from, HistoryFields fields) const;

    /// Rows of one chunk that follow each other in this stream.
    struct Span {
        std::uint32_t position;  ///< of the first in this stream
        std::uint32_t count;
        std::uint32_t row;    ///< of the first in the chunk
        std::uint32_t place;  ///< as of `Segment`
    };
    /// A chunk that rows of this stream stand in.
    struct ChunkUse {
        std::uint32_t layer;
        std::uint32_t chunk;
        std::vector<Span> spans;  ///< ascending by position and by row
    };
    /// All chunks that this stream is put together from, each once.
    [[nodiscard]] std::vector<ChunkUse> chunks() const;

    // Parts of a chunk, for who reads them in a way of their own.

    /// How many rows a chunk of a layer has. Throws when there is no such chunk.
    [[nodiscard]] std::uint32_t rowsIn(std::uint32_t layer, std::uint32_t chunk) const;
    /// Reads one column of a chunk as it was packed; false where none is kept, which stands for zeros.
    [[nodiscard]] bool readPacked(std::uint32_t layer, std::uint32_t chunk, HistoryField field,
                                  std::string& packed) const;
    /// The names of a chunk, each with a "/" behind it; how many they are has not been looked at.
    [[nodiscard]] NameBytes names(std::uint32_t layer, std::uint32_t chunk) const;
    /// A row among the layer's, and the value that a later layer has given it.
    using NewValue = std::pair<std::uint32_t, std::uint64_t>;
    /// New values of a layer's rows from `first` to `first + count`, ascending.
    [[nodiscard]] std::span<const NewValue> changes(std::uint32_t layer, HistoryField field, std::uint32_t first,
                                                    std::uint32_t count) const;

private:
    using Index = std::uint32_t;
    /// A changed row, as its place in the layer that has it.
    struct Change {
        std::uint32_t layer;
        Index index;
        HistoryFields fields;
    };
    /// New values of one field, by layer, ascending by the row's index.
    using Overlay = std::vector<std::vector<NewValue>>;

    void apply(std::uint32_t layer);
    [[nodiscard]] std::vector<Change> placesOfChanges(std::uint32_t layer) const;
    [[nodiscard]] std::vector<std::uint64_t> numbers(std::uint32_t layer, std::uint8_t field, std::size_t count,
                                                     bool mayBeMissing) const;
    [[nodiscard]] const Overlay& overlay(unsigned field) const;

    const ColumnSource& source_;
    HistoryStream stream_;
    std::vector<GenerationLayout> layers_;
    std::vector<Segment> segments_;
    std::uint32_t size_ = 0;
    std::uint32_t placeCount_ = 0;
    std::vector<std::vector<Change>> changes_;  ///< of each layer, in its order
    mutable std::mutex mutex_;
    mutable std::array<std::unique_ptr<Overlay>, rowFieldCount> overlays_;  ///< made when asked for; under `mutex_`
};

/// All streams of one generation.
class GenerationRows {
public:
    /// As of `StreamView`.
    GenerationRows(const ColumnSource& source, std::span<const GenerationLayout> layers);

    [[nodiscard]] const StreamView& folders() const { return folders_; }
    [[nodiscard]] const StreamView& files() const { return files_; }
    [[nodiscard]] const StreamView& irregular() const { return irregular_; }
    [[nodiscard]] const StreamView& of(HistoryStream stream) const;
    [[nodiscard]] std::int64_t generation() const { return generation_; }
    /// How identifiers are kept: never `inherited`.
    [[nodiscard]] IdentifierForm identifiers() const { return identifiers_; }
    /// The number of the row at the first place of the stream, where identifiers are `inPlace`.
    [[nodiscard]] std::uint32_t firstNumber(HistoryStream stream) const;

private:
    StreamView folders_;
    StreamView files_;
    StreamView irregular_;
    std::int64_t generation_;
    IdentifierForm identifiers_;
};

}  // namespace KestrelCore
