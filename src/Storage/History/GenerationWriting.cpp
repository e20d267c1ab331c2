#include "Storage/History/GenerationWriting.hpp"

#include "Base/Parallel.hpp"
#include "Storage/History/FolderTable.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>
#include <vector>

// A difference is found in one walk through both generations at once. Folders that have the same path are compared:
// their subfolders and their files stand sorted by name on both sides, so what is gone, new or still there shows as the
// two lists are merged; a folder that is gone or new takes the whole range of what lies below along. The runs that
// come of it are in the order of the rows, since that order depends on paths alone.

namespace KestrelCore {

namespace {

constexpr std::uint8_t number(HistoryField field) { return static_cast<std::uint8_t>(field); }

using PackedColumns = std::vector<std::pair<ColumnKey, std::string>>;

/// The columns of a block; one that holds only zeros is left out.
PackedColumns packed(const RowBlock& block, ColumnKey key, IdentifierForm identifiers) {
    PackedColumns columns;
    for (unsigned field = 0; field < rowFieldCount; ++field) {
        const std::vector<std::uint64_t>& values = block.values[field];
        if (std::ranges::all_of(values, [](std::uint64_t value) { return value == 0; })) continue;
        key.field = static_cast<std::uint8_t>(field);
        columns.emplace_back(key, Column::pack(values, isInSteps(static_cast<HistoryField>(field), identifiers)));
    }
    key.field = number(HistoryField::names);
    columns.emplace_back(key, Column::pack(std::string_view{block.names}));
    return columns;
}

void hand(PackedColumns&& columns, const ColumnSink& sink) {
    for (auto& [key, bytes] : columns) sink(key, std::move(bytes));
}

/// Reads the rows of a snapshot as a `RowReader` does those of a view.
class SnapshotReader {
public:
    SnapshotReader(const SnapshotRows& rows, HistoryStream stream) : rows_{rows}, stream_{stream} {}

    [[nodiscard]] RowReader::Piece at(std::uint32_t position) {
        constexpr std::uint32_t rowsAtOnce = 4096;
        if (position < first_ || position - first_ >= block_.count) {
            first_ = position - position % rowsAtOnce;
            block_ = rows_.block(stream_, first_, std::min(rows_.size(stream_) - first_, rowsAtOnce));
        }
        const std::uint32_t row = position - first_;
        return {&block_, row, static_cast<std::uint32_t>(block_.count) - row, position};
    }

private:
    const SnapshotRows& rows_;
    HistoryStream stream_;
    std::uint32_t first_ = 0;
    RowBlock block_;
};

/// Collects how one stream differs.
class StreamDifference {
public:
    StreamDifference(const SnapshotRows& rows, const StreamView& base)
        : rows_{rows}, stream_{base.stream()}, baseReader_{base, comparedFields(base.stream()), true},
          newReader_{rows, base.stream()} {}

    void gone(std::uint32_t count) {
        if (count == 0) return;
        if (fresh_ > 0) endRun();
        gone_ += count;
    }
    void inserted(std::uint32_t first, std::uint32_t count) {
        if (count == 0) return;
        fresh_ += count;
        if (!ranges_.empty() && ranges_.back().first + ranges_.back().second == first) {
            ranges_.back().second += count;
        } else {
            ranges_.emplace_back(first, count);
        }
    }
    /// The row at `position` of the base stays, as the row `now`.
    void kept(std::uint32_t position, std::uint32_t now) {
        if (gone_ > 0 || fresh_ > 0) endRun();
        ++kept_;
        const RowReader::Piece before = baseReader_.at(position);
        const RowReader::Piece after = newReader_.at(now);
        HistoryFields changed = 0;
        for (unsigned field = 0; field < rowFieldCount; ++field) {
            if ((comparedFields(stream_) >> field & 1) == 0) continue;
            const std::uint64_t value = after.block->values[field][after.row];
            if (value == before.block->values[field][before.row]) continue;
            changed |= HistoryFields{1} << field;
            values_[field].push_back(value);
        }
        if (changed == 0) return;
        changedRows_.push_back(changedRows_.empty() ? position : position - lastChanged_);
        lastChanged_ = position;
        changedFields_.push_back(changed);
    }
    [[nodiscard]] std::string_view baseName(std::uint32_t position) {
        const RowReader::Piece piece = baseReader_.at(position);
        return piece.block->name(piece.row);
    }
    [[nodiscard]] std::string_view newName(std::uint32_t position) {
        const RowReader::Piece piece = newReader_.at(position);
        return piece.block->name(piece.row);
    }

    StreamLayout write(std::int64_t generation, const ColumnSink& sink) {
        if (gone_ > 0 || fresh_ > 0) endRun();
        const auto key = [&](std::uint8_t field) {
            return ColumnKey{.generation = generation, .stream = stream_, .field = field, .chunk = 0};
        };
        writeNumbers(keptRuns_, key(number(HistoryField::keptRuns)), sink);
        writeNumbers(goneRuns_, key(number(HistoryField::goneRuns)), sink);
        writeNumbers(newRuns_, key(number(HistoryField::newRuns)), sink);
        writeNumbers(changedRows_, key(number(HistoryField::changedRows)), sink);
        writeNumbers(changedFields_, key(number(HistoryField::changedFields)), sink);
        for (unsigned field = 0; field < rowFieldCount; ++field) {
            writeNumbers(values_[field], key(static_cast<std::uint8_t>(number(HistoryField::changedValues) + field)),
                         sink);
        }
        return {.rows = writeInserted(generation, sink),
                .runs = static_cast<std::uint32_t>(keptRuns_.size()),
                .changes = static_cast<std::uint32_t>(changedRows_.size())};
    }

private:
    /// Identifiers are derived in every generation that has differences.
    static constexpr HistoryFields comparedFields(HistoryStream stream) { return fieldsOf(stream) & ~idFields; }

    void endRun() {
        keptRuns_.push_back(std::exchange(kept_, 0));
        goneRuns_.push_back(std::exchange(gone_, 0));
        newRuns_.push_back(std::exchange(fresh_, 0));
    }

    std::uint32_t writeInserted(std::int64_t generation, const ColumnSink& sink) {
        std::uint32_t rows = 0;
        RowBlock block;
        ColumnKey key{.generation = generation, .stream = stream_, .field = 0, .chunk = 0};
        const auto flush = [&] {
            if (block.count == 0) return;
            hand(packed(block, key, IdentifierForm::inPlace), sink);
            ++key.chunk;
            block = RowBlock{};
        };
        SnapshotReader reader{rows_, stream_};
        for (const auto& [first, count] : ranges_) {
            for (std::uint32_t position = first; position < first + count; ++position) {
                const RowReader::Piece piece = reader.at(position);
                for (unsigned field = 0; field < rowFieldCount; ++field) {
                    if ((comparedFields(stream_) >> field & 1) == 0) continue;
                    block.values[field].push_back(piece.block->values[field][piece.row]);
                }
                block.addName(piece.block->name(piece.row));
                ++rows;
                if (++block.count == rowsInChunk(stream_)) flush();
            }
        }
        flush();
        return rows;
    }

    const SnapshotRows& rows_;
    HistoryStream stream_;
    RowReader baseReader_;
    SnapshotReader newReader_;
    std::uint64_t kept_ = 0;  ///< of the run that goes on
    std::uint64_t gone_ = 0;
    std::uint64_t fresh_ = 0;
    std::vector<std::uint64_t> keptRuns_;
    std::vector<std::uint64_t> goneRuns_;
    std::vector<std::uint64_t> newRuns_;
    std::vector<std::uint64_t> changedRows_;
    std::vector<std::uint64_t> changedFields_;
    std::array<std::vector<std::uint64_t>, rowFieldCount> values_;
    std::uint32_t lastChanged_ = 0;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> ranges_;  ///< new rows: first and count
};

/// The walk through both.
class Comparison {
public:
    Comparison(const SnapshotRows& rows, const GenerationRows& base)
        : now_{rows.order().folders()}, order_{rows.order()}, before_{base, treeFields}, folders_{rows, base.folders()},
          files_{rows, base.files()} {}

    void run() {
        // Pairs of folders with one path, and single ones of either side: the next one last.
        std::vector<Step> waiting{{0, 0}};
        std::vector<Step> found;
        while (!waiting.empty()) {
            const Step step = waiting.back();
            waiting.pop_back();
            if (step.now == TreeOrder::none) {
                folders_.gone(before_.end(step.before) - step.before);
                files_.gone(before_.endOfFilesBelow(step.before) - before_.firstFile(step.before));
                continue;
            }
            if (step.before == FolderTable::none) {
                const std::uint32_t end = now_[step.now].end;
                const auto fileEnd =
                    end == now_.size() ? static_cast<std::uint32_t>(order_.files().size()) : now_[end].firstFile;
                folders_.inserted(step.now, end - step.now);
                files_.inserted(now_[step.now].firstFile, fileEnd - now_[step.now].firstFile);
                continue;
            }
            folders_.kept(step.before, step.now);
            compareFiles(step);
            found.clear();
            compareSubfolders(step, found);
            waiting.insert(waiting.end(), found.rbegin(), found.rend());
        }
    }

    StreamDifference& folders() { return folders_; }
    StreamDifference& files() { return files_; }

private:
    struct Step {
        std::uint32_t before;
        std::uint32_t now;
    };

    void compareFiles(const Step& step) {
        std::uint32_t before = before_.firstFile(step.before);
        const std::uint32_t beforeEnd = before + before_.fileCount(step.before);
        std::uint32_t now = now_[step.now].firstFile;
        const std::uint32_t nowEnd = now + now_[step.now].files;
        while (before < beforeEnd && now < nowEnd) {
            const std::string_view name = files_.baseName(before);
            const std::string_view newName = files_.newName(now);
            if (name == newName) {
                files_.kept(before++, now++);
            } else if (compareNames(name, newName) < 0) {
                files_.gone(1);
                ++before;
            } else {
                files_.inserted(now++, 1);
            }
        }
        files_.gone(beforeEnd - before);
        files_.inserted(now, nowEnd - now);
    }

    void compareSubfolders(const Step& step, std::vector<Step>& found) {
        std::uint32_t before = step.before + 1;
        const std::uint32_t beforeEnd = before_.end(step.before);
        std::uint32_t now = step.now + 1;
        const std::uint32_t nowEnd = now_[step.now].end;
        while (before < beforeEnd || now < nowEnd) {
            std::strong_ordering order = std::strong_ordering::equal;
            if (before >= beforeEnd) {
                order = std::strong_ordering::greater;
            } else if (now >= nowEnd) {
                order = std::strong_ordering::less;
            } else {
                order = compareNames(before_.name(before), order_.nameOf(now_[now]));
            }
            found.push_back({order <= 0 ? before : FolderTable::none, order >= 0 ? now : TreeOrder::none});
            if (order <= 0) before = before_.end(before);
            if (order >= 0) now = now_[now].end;
        }
    }

    const std::vector<TreeOrder::Folder>& now_;
    const TreeOrder& order_;
    FolderTable before_;
    StreamDifference folders_;
    StreamDifference files_;
};

/// Irregular records stay where their texts do, at the same place; there are few.
void compareIrregular(const SnapshotRows& rows, const StreamView& base, StreamDifference& difference) {
    const std::uint32_t before = base.size();
    const std::uint32_t now = rows.size(HistoryStream::irregular);
    std::uint32_t position = 0;
    for (; position < std::min(before, now); ++position) {
        if (difference.baseName(position) == difference.newName(position)) {
            difference.kept(position, position);
        } else {
            difference.gone(1);
            difference.inserted(position, 1);
        }
    }
    difference.gone(before - position);
    difference.inserted(position, now - position);
}

}  // namespace

void writeNumbers(const std::vector<std::uint64_t>& numbers, ColumnKey key, const ColumnSink& sink) {
    for (std::size_t first = 0; first < numbers.size(); first += Column::mostRows, ++key.chunk) {
        const std::size_t count = std::min(numbers.size() - first, Column::mostRows);
        sink(key, Column::pack(std::span{numbers}.subspan(first, count)));
    }
}

GenerationLayout writeFull(const SnapshotRows& rows, std::int64_t generation, const ColumnSink& sink) {
    GenerationLayout layout{.generation = generation, .identifiers = rows.identifiers(), .streams = {}};
    struct Chunk {
        ColumnKey key;
        std::uint32_t first;
        std::uint32_t count;
    };
    std::vector<Chunk> chunks;
    for (const HistoryStream stream : everyHistoryStream) {
        const std::uint32_t count = rows.size(stream);
        layout.streams[static_cast<std::size_t>(stream)].rows = count;
        const auto perChunk = static_cast<std::uint32_t>(rowsInChunk(stream));
        for (std::uint32_t first = 0; first < count; first += perChunk) {
            chunks.push_back({{.generation = generation, .stream = stream, .field = 0, .chunk = first / perChunk},
                              first,
                              std::min(count - first, perChunk)});
        }
    }
    // Two at a time, so that no more than two are held.
    for (std::size_t i = 0; i < chunks.size(); i += 2) {
        std::array<PackedColumns, 2> columns;
        const auto pack = [&](std::size_t which) {
            if (i + which >= chunks.size()) return;
            const auto& [key, first, count] = chunks[i + which];
            columns[which] = packed(rows.block(key.stream, first, count), key, rows.identifiers());
        };
        inParallel([&] { pack(0); }, [&] { pack(1); });
        for (PackedColumns& each : columns) hand(std::move(each), sink);
    }
    return layout;
}

GenerationLayout writeDifference(const SnapshotRows& rows, const GenerationRows& base, std::int64_t generation,
                                 const ColumnSink& sink) {
    Comparison comparison{rows, base};
    comparison.run();
    StreamDifference irregular{rows, base.irregular()};
    compareIrregular(rows, base.irregular(), irregular);
    GenerationLayout layout{.generation = generation, .identifiers = IdentifierForm::inPlace, .streams = {}};
    layout.streams[0] = comparison.folders().write(generation, sink);
    layout.streams[1] = comparison.files().write(generation, sink);
    layout.streams[2] = irregular.write(generation, sink);
    return layout;
}

}  // namespace KestrelCore
