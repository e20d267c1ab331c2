#include "Storage/History/GenerationWriting.hpp"

#include "Base/Parallel.hpp"
#include "Storage/History/FolderTable.hpp"

#include <algorithm>
#include <array>
#include <compare>
#include <cstring>
#include <mutex>
#include <optional>
#include <span>
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

using Range = std::pair<std::uint32_t, std::uint32_t>;  ///< of rows: first and count

/// Rows that are to stand in one chunk.
struct Chunk {
    ColumnKey key;
    std::vector<Range> rows;
    std::uint32_t count = 0;
};

/// Adds the chunks that rows of these ranges, of one stream, take; gives how many rows they are.
std::uint32_t appendChunks(std::vector<Chunk>& chunks, ColumnKey key, std::span<const Range> ranges) {
    const auto most = static_cast<std::uint32_t>(rowsInChunk(key.stream));
    std::uint32_t sum = 0;
    for (auto [first, count] : ranges) {
        for (sum += count; count > 0;) {
            if (key.chunk == 0 || chunks.back().count == most) chunks.push_back({.key = key, .rows = {}});
            if (chunks.back().rows.empty()) ++key.chunk;
            Chunk& chunk = chunks.back();
            const std::uint32_t part = std::min(count, most - chunk.count);
            chunk.rows.emplace_back(first, part);
            chunk.count += part;
            first += part;
            count -= part;
        }
    }
    return sum;
}

/// Packs chunks and hands them over one after the other, in their order. Two threads take a chunk in turn, and whoever
/// has packed the one that is next hands it over: so one packs while the other writes.
class Packing {
public:
    Packing(const SnapshotRows& rows, IdentifierForm identifiers, std::vector<Chunk> chunks, const ColumnSink& sink)
        : rows_{rows}, identifiers_{identifiers}, chunks_{std::move(chunks)}, sink_{sink}, packed_(chunks_.size()) {}

    void run() {
        onThreads(chunks_.size() < 2 ? 1 : 2, [&](unsigned) {
            try {
                RowBlock block;
                while (const auto index = take()) {
                    PackedColumns columns = pack(*index, block);
                    handOver(*index, std::move(columns));
                }
            } catch (...) {
                const std::lock_guard guard{mutex_};
                taken_ = chunks_.size();  // what the other thread would take would be for nothing
                throw;
            }
        });
    }

private:
    [[nodiscard]] std::optional<std::size_t> take() {
        const std::lock_guard guard{mutex_};
        return taken_ < chunks_.size() ? std::optional{taken_++} : std::nullopt;
    }

    [[nodiscard]] PackedColumns pack(std::size_t index, RowBlock& block) const {
        const Chunk& chunk = chunks_[index];
        block.count = 0;
        block.names.clear();
        block.nameEnds.clear();
        for (auto& values : block.values) values.clear();
        for (const auto& [first, count] : chunk.rows) {
            rows_.append(block, chunk.key.stream, first, count);
            rows_.appendNames(block, chunk.key.stream, first, count);
        }
        return packed(block, chunk.key, identifiers_);
    }

    void handOver(std::size_t index, PackedColumns&& columns) {
        std::unique_lock lock{mutex_};
        packed_[index] = std::move(columns);
        if (isHandingOver_) return;
        isHandingOver_ = true;
        while (next_ < packed_.size() && packed_[next_]) {
            PackedColumns each = std::move(*packed_[next_]);
            packed_[next_++].reset();
            lock.unlock();
            for (auto& [key, bytes] : each) sink_(key, std::move(bytes));
            lock.lock();
        }
        isHandingOver_ = false;
    }

    const SnapshotRows& rows_;
    IdentifierForm identifiers_;
    std::vector<Chunk> chunks_;
    const ColumnSink& sink_;
    std::mutex mutex_;
    std::vector<std::optional<PackedColumns>> packed_;  ///< not handed over yet; this and the rest under `mutex_`
    std::size_t taken_ = 0;
    std::size_t next_ = 0;
    bool isHandingOver_ = false;
};

/// How the rows of one stream follow from those of the base.
class RowScript {
public:
    /// Rows that stay, side by side on both sides.
    struct Kept {
        std::uint32_t before;
        std::uint32_t now;
        std::uint32_t count;
    };

    void keep(std::uint32_t before, std::uint32_t now, std::uint32_t count) {
        if (count == 0) return;
        if (gone_ > 0 || fresh_ > 0) endRun();
        runKept_ += count;
        Kept* last = kept_.empty() ? nullptr : &kept_.back();
        if (last != nullptr && last->before + last->count == before && last->now + last->count == now) {
            last->count += count;
        } else {
            kept_.push_back({before, now, count});
        }
    }
    void remove(std::uint32_t count) {
        if (count == 0) return;
        if (fresh_ > 0) endRun();
        gone_ += count;
    }
    void insert(std::uint32_t first, std::uint32_t count) {
        if (count == 0) return;
        fresh_ += count;
        if (!inserted_.empty() && inserted_.back().first + inserted_.back().second == first) {
            inserted_.back().second += count;
        } else {
            inserted_.emplace_back(first, count);
        }
    }
    /// Goes on with what comes behind.
    void append(RowScript&& next) {
        next.finish();
        for (std::size_t i = 0; i < next.keptRuns_.size(); ++i) {
            if (next.keptRuns_[i] > 0 && (gone_ > 0 || fresh_ > 0)) endRun();
            runKept_ += next.keptRuns_[i];
            remove(static_cast<std::uint32_t>(next.goneRuns_[i]));
            fresh_ += next.newRuns_[i];
        }
        kept_.insert(kept_.end(), next.kept_.begin(), next.kept_.end());
        inserted_.insert(inserted_.end(), next.inserted_.begin(), next.inserted_.end());
    }
    /// Nothing may come behind it any more. What stays at the end is said by nothing else being said.
    void finish() {
        if (gone_ > 0 || fresh_ > 0) endRun();
    }

    [[nodiscard]] const std::vector<Kept>& kept() const { return kept_; }
    [[nodiscard]] const std::vector<Range>& inserted() const { return inserted_; }
    [[nodiscard]] const std::vector<std::uint64_t>& keptRuns() const { return keptRuns_; }
    [[nodiscard]] const std::vector<std::uint64_t>& goneRuns() const { return goneRuns_; }
    [[nodiscard]] const std::vector<std::uint64_t>& newRuns() const { return newRuns_; }

private:
    void endRun() {
        keptRuns_.push_back(std::exchange(runKept_, 0));
        goneRuns_.push_back(std::exchange(gone_, 0));
        newRuns_.push_back(std::exchange(fresh_, 0));
    }

    std::uint64_t runKept_ = 0;  ///< of the run that goes on
    std::uint64_t gone_ = 0;
    std::uint64_t fresh_ = 0;
    std::vector<std::uint64_t> keptRuns_;
    std::vector<std::uint64_t> goneRuns_;
    std::vector<std::uint64_t> newRuns_;
    std::vector<Kept> kept_;
    std::vector<Range> inserted_;
};

/// Which rows that stay have changed, by their position in the base, and their new values, field by field.
struct RowChanges {
    std::vector<std::uint32_t> rows;
    std::vector<std::uint64_t> fields;  ///< of each row, as bits
    std::array<std::vector<std::uint64_t>, rowFieldCount> values;

    void append(const RowChanges& next) {
        rows.insert(rows.end(), next.rows.begin(), next.rows.end());
        fields.insert(fields.end(), next.fields.begin(), next.fields.end());
        for (unsigned field = 0; field < rowFieldCount; ++field) {
            values[field].insert(values[field].end(), next.values[field].begin(), next.values[field].end());
        }
    }
    /// The rows, each as the step from the one before.
    [[nodiscard]] std::vector<std::uint64_t> steps() const {
        std::vector<std::uint64_t> result;
        result.reserve(rows.size());
        std::uint32_t before = 0;
        for (const std::uint32_t row : rows) result.push_back(row - std::exchange(before, row));
        return result;
    }
};

/// Compares the rows that stay, column by column, some thousand rows at once.
class ChangeFinder {
public:
    ChangeFinder(const SnapshotRows& rows, const StreamView& base)
        : rows_{rows}, stream_{base.stream()}, fields_{fieldsOf(stream_) & ~idFields}, reader_{base, fields_, false} {}

    [[nodiscard]] RowChanges find(std::span<const RowScript::Kept> kept) {
        for (auto [before, now, count] : kept) {
            while (count > 0) {
                if (now < first_ || now - first_ >= block_.count) read(now);
                const RowReader::Rows piece = reader_.at(before);
                const std::uint32_t row = now - first_;
                const auto here = static_cast<std::uint32_t>(block_.count) - row;
                const std::uint32_t part = std::min({count, piece.count, here});
                compare(piece, row, part, before);
                before += part;
                now += part;
                count -= part;
            }
        }
        return std::move(changes_);
    }

private:
    static constexpr std::uint32_t rowsAtOnce = 4096;

    void read(std::uint32_t position) {
        first_ = position;
        block_.count = 0;
        for (auto& values : block_.values) values.clear();
        rows_.append(block_, stream_, first_, std::min(rows_.size(stream_) - first_, rowsAtOnce));
    }

    void compare(const RowReader::Rows& base, std::uint32_t row, std::uint32_t count, std::uint32_t position) {
        HistoryFields different = 0;
        for (unsigned field = 0; field < rowFieldCount; ++field) {
            if ((fields_ >> field & 1) == 0) continue;
            const std::uint64_t* before = base.columns->values[field] + base.firstColumn;
            const std::uint64_t* now = block_.values[field].data() + row;
            if (std::memcmp(before, now, count * sizeof *now) != 0) different |= HistoryFields{1} << field;
        }
        if (different == 0) return;
        changed_.assign(count, 0);
        for (unsigned field = 0; field < rowFieldCount; ++field) {
            if ((different >> field & 1) == 0) continue;
            const std::uint64_t* before = base.columns->values[field] + base.firstColumn;
            const std::uint64_t* now = block_.values[field].data() + row;
            for (std::uint32_t i = 0; i < count; ++i) {
                if (before[i] == now[i]) continue;
                changed_[i] |= HistoryFields{1} << field;
                changes_.values[field].push_back(now[i]);
            }
        }
        for (std::uint32_t i = 0; i < count; ++i) {
            if (changed_[i] == 0) continue;
            changes_.rows.push_back(position + i);
            changes_.fields.push_back(changed_[i]);
        }
    }

    const SnapshotRows& rows_;
    HistoryStream stream_;
    HistoryFields fields_;  ///< identifiers are derived in every generation that has differences
    RowReader reader_;
    std::uint32_t first_ = 0;
    RowBlock block_;  ///< new rows from `first_` on
    std::vector<HistoryFields> changed_;
    RowChanges changes_;
};

struct StreamDifference {
    RowScript script;
    RowChanges changes;
};

/// The walk through both.
class Comparison {
public:
    Comparison(const SnapshotRows& rows, const GenerationRows& base)
        : rows_{rows}, base_{base}, now_{rows.order().folders()}, before_{base, 0} {}

    void run() {
        alignFolders();
        folders_.script.finish();
        // Two threads, with half of the files each.
        const std::size_t half = middle();
        std::array<StreamDifference, 2> halves;
        onThreads(lots_.size() < fewLots ? 1 : 2, [&](unsigned thread) {
            const std::span all{lots_};
            halves[thread] = compareFiles(thread == 0 ? all.first(half) : all.subspan(half));
            if (thread == 0) folders_.changes = ChangeFinder{rows_, base_.folders()}.find(folders_.script.kept());
        });
        files_ = std::move(halves[0]);
        files_.script.append(std::move(halves[1].script));
        files_.script.finish();
        files_.changes.append(halves[1].changes);
    }

    const StreamDifference& folders() const { return folders_; }
    const StreamDifference& files() const { return files_; }

private:
    /// Below this many a second thread is not worth its start.
    static constexpr std::size_t fewLots = 1000;

    /// A pair of folders with one path, or a single one of either side.
    struct Step {
        std::uint32_t before;
        std::uint32_t now;
    };
    /// Files that are to be compared with each other: of one folder; or with nothing, then of all below it.
    struct Lot {
        Range before;
        Range now;
    };

    void alignFolders() {
        // The next one last.
        std::vector<Step> waiting{{0, 0}};
        std::vector<Step> found;
        while (!waiting.empty()) {
            const Step step = waiting.back();
            waiting.pop_back();
            if (step.now == TreeOrder::none) {
                const std::uint32_t first = before_.firstFile(step.before);
                folders_.script.remove(before_.end(step.before) - step.before);
                addLot({first, before_.endOfFilesBelow(step.before) - first}, {0, 0});
                continue;
            }
            const TreeOrder::Folder& now = now_[step.now];
            if (step.before == FolderTable::none) {
                const std::uint32_t fileEnd =
                    now.end == now_.size() ? rows_.size(HistoryStream::files) : now_[now.end].firstFile;
                folders_.script.insert(step.now, now.end - step.now);
                addLot({0, 0}, {now.firstFile, fileEnd - now.firstFile});
                continue;
            }
            folders_.script.keep(step.before, step.now, 1);
            addLot({before_.firstFile(step.before), before_.fileCount(step.before)}, {now.firstFile, now.files});
            found.clear();
            pairSubfolders(step, found);
            waiting.insert(waiting.end(), found.rbegin(), found.rend());
        }
    }

    void addLot(const Range& before, const Range& now) {
        if (before.second > 0 || now.second > 0) lots_.push_back({before, now});
    }

    void pairSubfolders(const Step& step, std::vector<Step>& found) {
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
                order = orderOfNames(before_.name(before), rows_.order().nameOf(now_[now]));
            }
            found.push_back({order <= 0 ? before : FolderTable::none, order >= 0 ? now : TreeOrder::none});
            if (order <= 0) before = before_.end(before);
            if (order >= 0) now = now_[now].end;
        }
    }

    /// Mostly they are equal.
    static std::strong_ordering orderOfNames(std::string_view a, std::string_view b) {
        return a == b ? std::strong_ordering::equal : compareNames(a, b);
    }

    /// Where the second half of the files begins among the lots.
    [[nodiscard]] std::size_t middle() const {
        if (lots_.size() < fewLots) return lots_.size();
        const std::uint64_t all = std::uint64_t{base_.files().size()} + rows_.size(HistoryStream::files);
        std::uint64_t sum = 0;
        std::size_t half = 0;
        while (sum < all / 2) {
            sum += std::uint64_t{lots_[half].before.second} + lots_[half].now.second;
            ++half;
        }
        return half;
    }

    [[nodiscard]] StreamDifference compareFiles(std::span<const Lot> lots) const {
        StreamDifference result;
        RowReader names{base_.files(), 0, true};
        for (const Lot& lot : lots) alignFiles(lot, names, result.script);
        result.changes = ChangeFinder{rows_, base_.files()}.find(result.script.kept());
        return result;
    }

    void alignFiles(const Lot& lot, RowReader& names, RowScript& script) const {
        std::uint32_t before = lot.before.first;
        std::uint32_t now = lot.now.first;
        const std::uint32_t beforeEnd = before + lot.before.second;
        const std::uint32_t nowEnd = now + lot.now.second;
        while (before < beforeEnd && now < nowEnd) {
            const RowReader::Rows piece = names.at(before);
            const std::uint32_t most = std::min({piece.count, beforeEnd - before, nowEnd - now});
            std::uint32_t equal = 0;
            while (equal < most && piece.name(equal) == rows_.name(HistoryStream::files, now + equal)) {
                ++equal;
            }
            script.keep(before, now, equal);
            before += equal;
            now += equal;
            if (equal == most) continue;
            if (compareNames(piece.name(equal), rows_.name(HistoryStream::files, now)) < 0) {
                script.remove(1);
                ++before;
            } else {
                script.insert(now++, 1);
            }
        }
        script.remove(beforeEnd - before);
        script.insert(now, nowEnd - now);
    }

    const SnapshotRows& rows_;
    const GenerationRows& base_;
    const std::vector<TreeOrder::Folder>& now_;
    FolderTable before_;
    std::vector<Lot> lots_;
    StreamDifference folders_;
    StreamDifference files_;
};

/// Irregular records stay where their texts do, at the same place; there are few.
StreamDifference compareIrregular(const SnapshotRows& rows, const StreamView& base) {
    StreamDifference result;
    RowReader texts{base, 0, true};
    const std::uint32_t before = base.size();
    const std::uint32_t now = rows.size(HistoryStream::irregular);
    std::uint32_t position = 0;
    for (; position < std::min(before, now); ++position) {
        const RowReader::Rows piece = texts.at(position);
        if (piece.name(0) == rows.textsOfIrregular(position)) {
            result.script.keep(position, position, 1);
        } else {
            result.script.remove(1);
            result.script.insert(position, 1);
        }
    }
    result.script.remove(before - position);
    result.script.insert(position, now - position);
    result.script.finish();
    result.changes = ChangeFinder{rows, base}.find(result.script.kept());
    return result;
}

/// Writes all but the new rows, whose chunks it adds to `chunks`.
StreamLayout write(const StreamDifference& difference, ColumnKey key, std::vector<Chunk>& chunks,
                   const ColumnSink& sink) {
    const auto of = [&](std::uint8_t field) {
        key.field = field;
        return key;
    };
    const auto& [script, changes] = difference;
    writeNumbers(script.keptRuns(), of(number(HistoryField::keptRuns)), sink);
    writeNumbers(script.goneRuns(), of(number(HistoryField::goneRuns)), sink);
    writeNumbers(script.newRuns(), of(number(HistoryField::newRuns)), sink);
    writeNumbers(changes.steps(), of(number(HistoryField::changedRows)), sink);
    writeNumbers(changes.fields, of(number(HistoryField::changedFields)), sink);
    for (unsigned field = 0; field < rowFieldCount; ++field) {
        const auto column = static_cast<std::uint8_t>(number(HistoryField::changedValues) + field);
        writeNumbers(changes.values[field], of(column), sink);
    }
    return {.rows = appendChunks(chunks, of(0), script.inserted()),
            .runs = static_cast<std::uint32_t>(script.keptRuns().size()),
            .changes = static_cast<std::uint32_t>(changes.rows.size())};
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
    std::vector<Chunk> chunks;
    for (const HistoryStream stream : everyHistoryStream) {
        const Range all{0, rows.size(stream)};
        layout.streams[static_cast<std::size_t>(stream)].rows =
            appendChunks(chunks, {.generation = generation, .stream = stream}, {&all, 1});
    }
    Packing{rows, rows.identifiers(), std::move(chunks), sink}.run();
    return layout;
}

GenerationLayout writeDifference(const SnapshotRows& rows, const GenerationRows& base, std::int64_t generation,
                                 const ColumnSink& sink) {
    Comparison comparison{rows, base};
    comparison.run();
    GenerationLayout layout{.generation = generation, .identifiers = IdentifierForm::inPlace, .streams = {}};
    std::vector<Chunk> chunks;
    const auto add = [&](HistoryStream stream, const StreamDifference& difference) {
        layout.streams[static_cast<std::size_t>(stream)] =
            write(difference, {.generation = generation, .stream = stream}, chunks, sink);
    };
    add(HistoryStream::folders, comparison.folders());
    add(HistoryStream::files, comparison.files());
    add(HistoryStream::irregular, compareIrregular(rows, base.irregular()));
    Packing{rows, IdentifierForm::inPlace, std::move(chunks), sink}.run();
    return layout;
}

}  // namespace KestrelCore
