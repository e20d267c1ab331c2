#include "Storage/History/GenerationRemoval.hpp"

#include "KestrelCore/Model/FileKind.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "Snapshot/PathAncestors.hpp"
#include "Storage/History/FolderTable.hpp"
#include "Storage/History/PathSearch.hpp"
#include "Storage/History/RowValues.hpp"

#include <boost/unordered/unordered_flat_map.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

// A removal takes rows out and changes some of the folders above them: what is right inside, what their files sum up
// to, and the aggregates. All of that stands with the folders, so of a million records some eighty thousand rows are
// read, and of files only the folders that lose one. The rows that are left keep the places they have in the base, and
// so their identifiers.

namespace KestrelCore {

namespace {

using Range = std::pair<std::uint32_t, std::uint32_t>;  // first, and one behind the last

/// What may change of a folder when something below it goes.
constexpr HistoryFields changingFields = bit(HistoryField::aggregate) | treeFields | rollUpFields;
constexpr HistoryFields fileSums = rollUpFields | bit(HistoryField::files);

bool isContainer(std::uint64_t kind) {
    const auto value = static_cast<FileKind>(kind & 7);
    return value == FileKind::directory || value == FileKind::package;
}

std::int64_t allocatedBytes(const RowReader::Rows& rows, std::size_t row) {
    return allocationOf(
        {.allocated = rows.value(HistoryField::allocated, row), .shape = rows.value(HistoryField::shape, row)},
        static_cast<std::int64_t>(rows.value(HistoryField::logical, row)));
}

/// One irregular record.
struct IrregularRow {
    Text path;
    std::uint32_t place = 0;
    std::uint64_t kind = 0;
    std::int64_t allocated = 0;
    std::int64_t aggregate = 0;
    std::uint64_t aggregateField = 0;          ///< what is kept of that
    std::uint32_t folder = FolderTable::none;  ///< what lies below it, of a container

    [[nodiscard]] std::int64_t displayBytes() const { return isContainer(kind) ? aggregate : allocated; }
};

/// A path that is taken out.
struct RemovedPath {
    Text path;
    std::int64_t bytes;                ///< as they were shown
    std::vector<std::uint32_t> above;  ///< folders
};

/// The changed rows of one stream.
class Changes {
public:
    /// `place` ascends from row to row.
    void add(std::uint32_t place, unsigned field, std::uint64_t value) {
        if (fields_.empty() || place != last_) {
            steps_.push_back(fields_.empty() ? place : place - last_);
            fields_.push_back(0);
            last_ = place;
        }
        fields_.back() |= std::uint64_t{1} << field;
        values_[field].push_back(value);
    }
    [[nodiscard]] std::uint32_t count() const { return static_cast<std::uint32_t>(steps_.size()); }
    void write(ColumnKey key, const ColumnSink& sink) const {
        const auto column = [&](std::size_t field, const std::vector<std::uint64_t>& numbers) {
            key.field = static_cast<std::uint8_t>(field);
            writeNumbers(numbers, key, sink);
        };
        column(static_cast<std::size_t>(HistoryField::changedRows), steps_);
        column(static_cast<std::size_t>(HistoryField::changedFields), fields_);
        for (std::size_t field = 0; field < rowFieldCount; ++field) {
            column(static_cast<std::size_t>(HistoryField::changedValues) + field, values_[field]);
        }
    }

private:
    std::uint32_t last_ = 0;
    std::vector<std::uint64_t> steps_;
    std::vector<std::uint64_t> fields_;
    std::array<std::vector<std::uint64_t>, rowFieldCount> values_;
};

class Removal {
public:
    explicit Removal(const OpenGeneration& generation)
        : generation_{generation}, rows_{generation.rows()}, table_{rows_, 0}, contents_{table_, rows_.folders(), 0},
          folderRows_{rows_.folders(), bit(HistoryField::shape) | changingFields, false}, isGone_(table_.size(), false),
          loss_(table_.size(), 0) {
        readAllocated();
        readIrregular();
    }

    /// Finds what goes; false for nothing.
    bool find(const std::vector<Text>& paths) {
        const std::vector<PathPlaces> places = placesOf(paths, table_, rows_);
        readFileSizes(places);
        for (std::size_t i = 0; i < paths.size(); ++i) {
            if (removed_.contains(paths[i])) continue;
            if (const auto bytes = bytesShown(paths[i], places[i])) {
                removed_.insert(paths[i]);
                removedPaths_.push_back({paths[i], *bytes, places[i].above});
                for (const std::uint32_t folder : places[i].folders) takeOut(folder);
                for (const std::uint32_t file : places[i].files) goneFiles_.emplace_back(file, file + 1);
            }
        }
        if (removed_.empty()) return false;
        if (removed_.contains(Text{"/"}) || removed_.contains(Text{})) {
            // All that has a place in the tree. Its top stays, as it does in an empty snapshot.
            std::fill(isGone_.begin() + (table_.size() > 0 ? 1 : 0), isGone_.end(), true);
            goneFiles_.assign(1, {0, rows_.files().size()});
        }
        sortRanges();
        return true;
    }

    /// Finds what `left`, a removal from this generation, lacks, but for what is at `paths`.
    RemovalRest findWhatLacks(const GenerationRows& left, const std::vector<Text>& paths) {
        std::unordered_set<Text> lacking = lackingIn(left);
        bool isAnyThere = false;
        for (const Text& path : paths) isAnyThere = lacking.erase(path) > 0 || isAnyThere;
        if (!isAnyThere) return RemovalRest::unchanged;
        return find({lacking.begin(), lacking.end()}) ? RemovalRest::some : RemovalRest::nothing;
    }

    void write(StoredGeneration& stored, const ColumnSink& sink) {
        sumUp();
        stored.layout = {.generation = stored.number, .identifiers = IdentifierForm::inherited, .streams = {}};
        stored.records = generation_.stored().records;
        const std::int64_t number = stored.number;

        Changes folders;
        const std::vector<bool> isToldAnew = changedByRemoval(rows_.folders());
        std::vector<Range> goneFolders;
        for (std::uint32_t i = 0; i < table_.size(); ++i) {
            if (isGone_[i]) {
                if (table_.hasRecord(i)) --stored.records;
                append(goneFolders, {i, i + 1});
                continue;
            }
            if (!isToldAnew[i] && isAsItWas(i)) continue;
            const RowReader::Rows row = folderRows_.at(i);
            const FolderValues* now = valuesOf(i);
            for (unsigned field = 0; field < rowFieldCount; ++field) {
                if ((changingFields >> field & 1) == 0) continue;
                const std::uint64_t old = row.value(static_cast<HistoryField>(field), 0);
                const std::uint64_t value = field == static_cast<unsigned>(HistoryField::aggregate)
                                                ? aggregateField(i, old)
                                            : now != nullptr ? (*now)[field]
                                                             : old;
                if (isToldAnew[i] || value != old) folders.add(row.place, field, value);
            }
        }
        write(rows_.folders(), goneFolders, folders, stored.layout, sink);
        for (const Range& gone : goneFiles_) stored.records -= gone.second - gone.first;
        write(rows_.files(), goneFiles_, {}, stored.layout, sink);
        writeIrregular(stored, sink);

        std::vector<ScanIssue> issues = generation_.issues();
        std::erase_if(issues, [&](const ScanIssue& issue) { return isCovered(issue.path, removed_); });
        stored.issues = static_cast<std::int64_t>(issues.size());
        writeLists({}, issues, {}, number, sink);
        stored.totalBytes = total();
    }

private:
    /// The uppermost paths of records that this generation has and `left` has not.
    [[nodiscard]] std::unordered_set<Text> lackingIn(const GenerationRows& left) const {
        // Its places are those of this one, or it is no removal from this one.
        for (const HistoryStream stream : everyHistoryStream) {
            if (left.of(stream).placeCount() != rows_.of(stream).size()) throwDamaged(rows_.generation());
        }
        std::unordered_set<Text> paths;
        std::vector<bool> isTold(table_.size(), false);  // with the folder, or with one above it
        for (const Range& range : lackingPlaces(left.folders())) {
            for (std::uint32_t i = range.first; i < range.second; ++i) {
                const bool isToldAbove = i > 0 && isTold[table_.parent(i)];
                isTold[i] = isToldAbove || table_.hasRecord(i);
                if (isTold[i] && !isToldAbove) paths.insert(Text{table_.path(i)});
            }
        }
        RowReader reader{rows_.files(), {}, true};
        for (const Range& range : lackingPlaces(left.files())) {
            std::uint32_t folder = folderOf(range.first);
            for (std::uint32_t file = range.first; file < range.second;) {
                while (file >= table_.endOfFiles(folder)) ++folder;
                const std::uint32_t end = std::min(range.second, table_.endOfFiles(folder));
                if (isTold[folder]) {
                    file = end;
                    continue;
                }
                const std::string parent = folder == 0 ? "" : table_.path(folder);
                for (; file < end; ++file) {
                    const RowReader::Rows piece = reader.at(file);
                    paths.insert(Text{parent + "/" + std::string{piece.name(0)}});
                }
            }
        }
        for (const Range& range : lackingPlaces(left.irregular())) {
            for (std::uint32_t i = range.first; i < range.second; ++i) paths.insert(irregular_[i].path);
        }
        std::erase_if(paths, [&](const Text& path) {
            return anyAncestor(path, [&](const Text& ancestor) { return paths.contains(ancestor); });
        });
        return paths;
    }

    /// The places of this generation that no row of a removal from it has.
    static std::vector<Range> lackingPlaces(const StreamView& left) {
        std::vector<Range> ranges;
        std::uint32_t done = 0;
        for (const StreamView::Segment& segment : left.segments()) {
            append(ranges, {done, segment.place});
            done = segment.place + segment.count;
        }
        append(ranges, {done, left.placeCount()});
        return ranges;
    }

    /// The rows that the removal whose place this one takes has changed: whatever they are now, that is to be told
    /// again. None where there is no such removal.
    [[nodiscard]] std::vector<bool> changedByRemoval(const StreamView& view) const {
        std::vector<bool> result(view.size(), false);
        if (!isRemoval(generation_.stored())) return result;
        const auto changed = view.changedRows(view.layerCount() - 1, ~HistoryFields{0});
        for (const StreamView::Segment& segment : view.segments()) {
            const std::vector<std::uint32_t>& rows = changed[segment.layer];
            for (auto row = std::ranges::lower_bound(rows, segment.first);
                 row != rows.end() && *row - segment.first < segment.count; ++row) {
                result[segment.start + (*row - segment.first)] = true;
            }
        }
        return result;
    }

    void readIrregular() {
        const StreamView& view = rows_.irregular();
        RowReader reader{view,
                         bit(HistoryField::kind) | bit(HistoryField::shape) | bit(HistoryField::logical) |
                             bit(HistoryField::allocated) | bit(HistoryField::aggregate),
                         true};
        for (std::uint32_t position = 0; position < view.size(); ++position) {
            const RowReader::Rows piece = reader.at(position);
            const auto bytes = withSlashes(piece.name(0));
            const auto texts = bytes ? separatedTexts(*bytes) : std::nullopt;
            if (!texts || texts->empty()) throwDamaged(rows_.generation());
            IrregularRow row{.path = Text{texts->front()}, .place = piece.place};
            row.kind = piece.value(HistoryField::kind, 0);
            row.allocated = allocatedBytes(piece, 0);
            if (isContainer(row.kind)) row.folder = table_.at(texts->front());
            row.aggregate = static_cast<std::int64_t>(
                expected(row, row.folder == FolderTable::none ? 0 : contents_.of(row.folder)) +
                unzigzag(piece.value(HistoryField::aggregate, 0)));
            irregular_.push_back(std::move(row));
        }
    }

    /// What the record's aggregate is kept as the difference to. `content` is what the folder of that path holds.
    [[nodiscard]] static std::uint64_t expected(const IrregularRow& row, std::uint64_t content) {
        const auto allocated = static_cast<std::uint64_t>(row.allocated);
        if (!isContainer(row.kind)) return bytesCounted(row.kind, allocated);
        return allocated + content;
    }

    /// Of the record with that path; empty where there is none.
    [[nodiscard]] std::optional<std::int64_t> bytesShown(const Text& path, const PathPlaces& places) const {
        std::optional<std::int64_t> bytes;
        for (const IrregularRow& row : irregular_) {
            if (row.path == path) bytes = row.displayBytes();
        }
        for (const std::uint32_t folder : places.folders) {
            if (table_.hasRecord(folder)) bytes = static_cast<std::int64_t>(contents_.aggregate(folder));
        }
        for (const std::uint32_t file : places.files) bytes = fileSizes_.at(file);
        return bytes;
    }

    /// One file after the other as they stand, so that each chunk is read once.
    void readFileSizes(const std::vector<PathPlaces>& places) {
        std::vector<std::uint32_t> files;
        for (const PathPlaces& each : places) files.insert(files.end(), each.files.begin(), each.files.end());
        std::ranges::sort(files);
        RowReader reader{rows_.files(),
                         bit(HistoryField::shape) | bit(HistoryField::logical) | bit(HistoryField::allocated), false};
        for (const std::uint32_t file : files) {
            const RowReader::Rows piece = reader.at(file);
            fileSizes_.emplace(file, allocatedBytes(piece, 0));
        }
    }

    void takeOut(std::uint32_t folder) {
        std::fill(isGone_.begin() + folder, isGone_.begin() + table_.end(folder), true);
        goneFiles_.emplace_back(table_.firstFile(folder), table_.endOfFilesBelow(folder));
    }

    static void append(std::vector<Range>& ranges, const Range& range) {
        if (range.first == range.second) return;
        if (!ranges.empty() && range.first <= ranges.back().second) {
            ranges.back().second = std::max(ranges.back().second, range.second);
        } else {
            ranges.push_back(range);
        }
    }

    void sortRanges() {
        std::ranges::sort(goneFiles_);
        std::vector<Range> joined;
        for (const Range& range : goneFiles_) append(joined, range);
        goneFiles_ = std::move(joined);
    }

    [[nodiscard]] std::int64_t added(std::int64_t a, std::int64_t b) const {
        std::int64_t sum = 0;
        if (__builtin_add_overflow(a, b, &sum)) failToSum();
        return sum;
    }
    [[nodiscard]] std::int64_t aggregateWithout(std::int64_t aggregate, std::int64_t loss,
                                                std::int64_t allocated) const {
        if (removed_.empty()) return aggregate;  // all stays as the scan has it, however odd
        std::int64_t rest = 0;
        if (__builtin_sub_overflow(aggregate, loss, &rest)) failToSum();
        return std::max(allocated, rest);
    }
    [[noreturn]] void failToSum() const {
        throw KestrelError::unavailable(fmt::format("The sizes in generation {} of the history are too large to be "
                                                    "counted.",
                                                    rows_.generation()));
    }

    void readAllocated() {
        RowReader reader{rows_.folders(),
                         bit(HistoryField::shape) | bit(HistoryField::logical) | bit(HistoryField::allocated), false};
        allocated_.reserve(table_.size());
        while (allocated_.size() < table_.size()) {
            const auto first = static_cast<std::uint32_t>(allocated_.size());
            const RowReader::Rows rows = reader.at(first);
            for (std::uint32_t i = 0; i < rows.count; ++i) {
                allocated_.push_back(table_.hasRecord(first + i) ? allocatedBytes(rows, i) : 0);
            }
        }
    }

    /// What is left of each folder that stays.
    void sumUp() {
        for (const RemovedPath& removed : removedPaths_) {
            std::vector<std::uint32_t> losing = removed.above;
            // A record with the path "/" that lies in the top folder, its name empty, is above everything.
            for (std::uint32_t i = 1; removed.path != Text{"/"} && i < table_.size(); i = table_.end(i)) {
                if (table_.name(i).empty() && std::ranges::find(losing, i) == losing.end()) losing.push_back(i);
            }
            for (const std::uint32_t folder : losing) {
                if (!isGone_[folder] && table_.hasRecord(folder)) {
                    loss_[folder] = added(loss_[folder], removed.bytes);
                }
            }
        }
        newAggregates_.resize(table_.size());
        for (std::uint32_t i = 0; i < table_.size(); ++i) {
            newAggregates_[i] = static_cast<std::int64_t>(contents_.aggregate(i));
        }
        newContents_.assign(table_.size(), 0);
        RowReader reader{rows_.files(),
                         bit(HistoryField::kind) | bit(HistoryField::shape) | bit(HistoryField::logical) |
                             bit(HistoryField::allocated) | bit(HistoryField::seconds),
                         false};
        for (const Range& gone : goneFiles_) countGoneFiles(gone, reader);
        for (std::uint32_t i = table_.size(); i-- > 0;) {
            const std::uint32_t parent = table_.parent(i);
            if (isGone_[i]) {
                if (!isGone_[parent]) --changed(parent)[static_cast<std::size_t>(HistoryField::subfolders)];
                continue;
            }
            const FolderValues* now = valuesOf(i);
            newContents_[i] +=
                now != nullptr ? (*now)[static_cast<std::size_t>(HistoryField::fileBytes)] : contents_.inFiles(i);
            if (table_.hasRecord(i)) {
                newAggregates_[i] = aggregateWithout(newAggregates_[i], loss_[i], allocated_[i]);
            } else {
                newAggregates_[i] = static_cast<std::int64_t>(newContents_[i]);
            }
            if (i > 0) newContents_[parent] += static_cast<std::uint64_t>(newAggregates_[i]);
        }
    }

    using FolderValues = std::array<std::uint64_t, rowFieldCount>;

    /// The folder's values, which are about to become others.
    FolderValues& changed(std::uint32_t folder) {
        const auto [known, isNew] = changed_.try_emplace(folder);
        if (isNew) {
            const RowReader::Rows row = folderRows_.at(folder);
            for (unsigned field = 0; field < rowFieldCount; ++field) {
                if ((changingFields >> field & 1) != 0) {
                    known->second[field] = row.value(static_cast<HistoryField>(field), 0);
                }
            }
        }
        return known->second;
    }

    /// Sums up what is left of the files of each folder that loses some of these and stays.
    void countGoneFiles(const Range& gone, RowReader& reader) {
        std::uint32_t folder = folderOf(gone.first);
        for (; folder < table_.size() && table_.firstFile(folder) < gone.second; ++folder) {
            if (!isGone_[folder] && table_.fileCount(folder) > 0 && !changed_.contains(folder))
                sumFiles(folder, reader);
        }
    }

    /// The folder that the file lies right in.
    [[nodiscard]] std::uint32_t folderOf(std::uint32_t file) const {
        std::uint32_t low = 0;
        std::uint32_t high = table_.size();
        while (high - low > 1) {
            const std::uint32_t middle = low + (high - low) / 2;
            (table_.firstFile(middle) <= file ? low : high) = middle;
        }
        // Empty ones begin where the next does; the last of them has it.
        return low;
    }

    void sumFiles(std::uint32_t folder, RowReader& reader) {
        FolderValues& values = changed(folder);
        for (unsigned field = 0; field < rowFieldCount; ++field) {
            if ((fileSums >> field & 1) != 0) values[field] = 0;
        }
        const auto value = [&](HistoryField field) -> std::uint64_t& {
            return values[static_cast<std::size_t>(field)];
        };
        const HistoryAges ages{.countedFrom = generation_.stored().agesCountedFrom};
        const std::uint32_t end = table_.firstFile(folder) + table_.fileCount(folder);
        auto gone = std::ranges::upper_bound(goneFiles_, table_.firstFile(folder), {}, &Range::second);
        for (std::uint32_t file = table_.firstFile(folder); file < end;) {
            if (gone != goneFiles_.end() && file >= gone->first) {
                file = gone->second;
                ++gone;
                continue;
            }
            const std::uint32_t next = gone == goneFiles_.end() ? end : std::min(end, gone->first);
            const RowReader::Rows piece = reader.at(file);
            const std::uint32_t count = std::min(piece.count, next - file);
            for (std::uint32_t i = 0; i < count; ++i) {
                const std::uint64_t shape = piece.value(HistoryField::shape, i);
                const std::uint64_t seconds = piece.value(HistoryField::seconds, i);
                const std::uint64_t bytes = bytesCounted(piece.value(HistoryField::kind, i),
                                                         static_cast<std::uint64_t>(allocatedBytes(piece, i)));
                const std::size_t age = ages.classOf(seconds, shape);
                ++value(HistoryField::files);
                value(HistoryField::fileBytes) += bytes;
                if (age < agesKept) values[static_cast<std::size_t>(HistoryField::ages) + age] += bytes;
                if ((shape & (RowShape::noDate | RowShape::rawDate)) != 0) continue;
                std::uint64_t& oldest = value(HistoryField::oldest);
                if (oldest == 0 || seconds < oldest) oldest = seconds;
                value(HistoryField::newest) = std::max(value(HistoryField::newest), seconds);
            }
            file += count;
        }
    }

    /// What has changed right inside a folder; null for nothing.
    [[nodiscard]] const FolderValues* valuesOf(std::uint32_t folder) const {
        const auto known = changed_.find(folder);
        return known == changed_.end() ? nullptr : &known->second;
    }
    /// Whether nothing is to be said of the folder.
    [[nodiscard]] bool isAsItWas(std::uint32_t folder) const {
        return valuesOf(folder) == nullptr && newContents_[folder] == contents_.of(folder) &&
               static_cast<std::uint64_t>(newAggregates_[folder]) == contents_.aggregate(folder);
    }
    /// `old` is what the field has.
    [[nodiscard]] std::uint64_t aggregateField(std::uint32_t folder, std::uint64_t old) const {
        if (!table_.hasRecord(folder)) return old;
        const auto allocated = static_cast<std::uint64_t>(allocated_[folder]);
        return zigzag(static_cast<std::uint64_t>(newAggregates_[folder]) - (allocated + newContents_[folder]));
    }

    void writeIrregular(StoredGeneration& stored, const ColumnSink& sink) {
        std::unordered_map<Text, std::int64_t> loss;
        for (const IrregularRow& row : irregular_) {
            if (isContainer(row.kind) && !isCovered(row.path, removed_)) loss.emplace(row.path, 0);
        }
        for (const RemovedPath& removed : removedPaths_) {
            (void)anyAncestor(removed.path, [&](const Text& ancestor) {
                if (const auto known = loss.find(ancestor); known != loss.end()) {
                    known->second = added(known->second, removed.bytes);
                }
                return false;
            });
        }
        const std::vector<bool> isToldAnew = changedByRemoval(rows_.irregular());
        Changes changes;
        std::vector<Range> gone;
        for (std::uint32_t position = 0; position < irregular_.size(); ++position) {
            IrregularRow& row = irregular_[position];
            if (isCovered(row.path, removed_)) {
                append(gone, {position, position + 1});
                --stored.records;
                continue;
            }
            if (isContainer(row.kind)) {
                if (row.folder != FolderTable::none && isGone_[row.folder]) row.folder = FolderTable::none;
                row.aggregate = aggregateWithout(row.aggregate, loss.at(row.path), row.allocated);
            }
            const std::uint64_t content = row.folder == FolderTable::none ? 0 : newContents_[row.folder];
            const std::uint64_t value = zigzag(static_cast<std::uint64_t>(row.aggregate) - expected(row, content));
            if (isToldAnew[position] || value != row.aggregateField) {
                changes.add(row.place, static_cast<unsigned>(HistoryField::aggregate), value);
            }
        }
        write(rows_.irregular(), gone, changes, stored.layout, sink);
    }

    /// Writes which rows of the base stay, and what has changed in them. `gone` are positions in `view`.
    static void write(const StreamView& view, const std::vector<Range>& gone, const Changes& changes,
                      GenerationLayout& layout, const ColumnSink& sink) {
        // What follows in the view without a gap in the base is one run.
        std::vector<std::uint64_t> kept;
        std::vector<std::uint64_t> missing;
        std::uint32_t done = 0;     // places of the base that are told
        std::uint32_t running = 0;  // of these the last that stay
        const auto tell = [&](std::uint32_t place, std::uint32_t count) {
            if (place > done) {
                kept.push_back(std::exchange(running, 0));
                missing.push_back(place - done);
            }
            running += count;
            done = place + count;
        };
        auto next = gone.begin();
        for (const StreamView::Segment& segment : view.segments()) {
            const std::uint32_t end = segment.start + segment.count;
            for (std::uint32_t position = segment.start; position < end;) {
                while (next != gone.end() && next->second <= position) ++next;
                if (next != gone.end() && next->first <= position) {
                    position = std::min(end, next->second);
                    continue;
                }
                const std::uint32_t stop = next == gone.end() ? end : std::min(end, next->first);
                tell(segment.place + (position - segment.start), stop - position);
                position = stop;
            }
        }
        tell(view.placeCount(), 0);
        ColumnKey key{.generation = layout.generation, .stream = view.stream(), .field = 0, .chunk = 0};
        const auto column = [&](HistoryField field, const std::vector<std::uint64_t>& numbers) {
            key.field = static_cast<std::uint8_t>(field);
            writeNumbers(numbers, key, sink);
        };
        column(HistoryField::keptRuns, kept);
        column(HistoryField::goneRuns, missing);
        column(HistoryField::newRuns, std::vector<std::uint64_t>(kept.size(), 0));
        changes.write(key, sink);
        layout.streams[static_cast<std::size_t>(view.stream())] = {
            .rows = 0, .runs = static_cast<std::uint32_t>(kept.size()), .changes = changes.count()};
    }

    /// The aggregate of the root's own record.
    [[nodiscard]] std::int64_t total() const {
        const Text root{generation_.stored().root};
        if (isCovered(root, removed_)) return 0;
        for (const IrregularRow& row : irregular_) {
            if (row.path == root) return row.aggregate;
        }
        const std::uint32_t folder = table_.find(root.view());
        if (folder != FolderTable::none && table_.hasRecord(folder)) return newAggregates_[folder];
        // A file: nothing lies below it that could go.
        return generation_.stored().totalBytes;
    }

    const OpenGeneration& generation_;
    const GenerationRows& rows_;
    FolderTable table_;
    FolderContents contents_;
    RowReader folderRows_;
    std::vector<std::int64_t> allocated_;  ///< of each folder; 0 where it has no record
    std::vector<IrregularRow> irregular_;

    std::unordered_set<Text> removed_;
    std::vector<RemovedPath> removedPaths_;
    std::vector<bool> isGone_;  ///< of each folder
    std::vector<Range> goneFiles_;
    boost::unordered_flat_map<std::uint32_t, std::int64_t> fileSizes_;  ///< of files that are asked for

    std::vector<std::int64_t> loss_;  ///< of each folder: what was shown for what goes below it
    boost::unordered_flat_map<std::uint32_t, FolderValues> changed_;  ///< folders that lose something right inside
    std::vector<std::int64_t> newAggregates_;
    std::vector<std::uint64_t> newContents_;
};

}  // namespace

bool isRemoval(const StoredGeneration& generation) {
    return generation.layout.identifiers == IdentifierForm::inherited;
}

bool writeRemoval(const OpenGeneration& generation, const std::vector<Text>& paths, StoredGeneration& stored,
                  const ColumnSink& sink) {
    Removal removal{generation};
    if (!removal.find(paths)) return false;
    removal.write(stored, sink);
    return true;
}

RemovalRest writeRemovalWithout(const OpenGeneration& base, const OpenGeneration& removal,
                                const std::vector<Text>& paths, StoredGeneration& stored, const ColumnSink& sink) {
    Removal rest{base};
    const RemovalRest found = rest.findWhatLacks(removal.rows(), paths);
    if (found != RemovalRest::unchanged) rest.write(stored, sink);
    return found;
}

}  // namespace KestrelCore
