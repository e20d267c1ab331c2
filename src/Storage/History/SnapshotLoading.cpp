#include "Storage/History/SnapshotLoading.hpp"

#include "Base/Parallel.hpp"
#include "Base/TextScan.hpp"
#include "Snapshot/TreeOrder.hpp"
#include "Storage/History/ChunkColumns.hpp"
#include "Storage/History/FolderTable.hpp"
#include "Storage/History/LargestFiles.hpp"
#include "Storage/History/RecordBuilder.hpp"
#include "Storage/History/RecordMaker.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <mutex>
#include <optional>
#include <ranges>
#include <string_view>
#include <thread>
#include <utility>

// Three steps, each on several threads. First all names are expanded, and the bytes of a chunk become part of the
// storage as they are. With the names it is known which record comes where in the order of a scan, since that depends
// on paths alone; beside that, the folders are hung together. Then the columns are read chunk by chunk, some hundred
// rows at a time, and each record is written once, at the place where it stays.
//
// Where only some records are wanted, the folders come first, so that a file can be chosen by its folder and its name:
// a chunk in which none is has no column read. Those that are chosen are put in order at the end. Where only the
// largest files are wanted, columns come first, and names are read only of the chunks that these lie in.

namespace KestrelCore {

namespace {

using Row = RecordStorage::Row;

/// Where a file's name lies, and what it is like: the part of a row that is known first.
struct PlacedName {
    std::uint64_t offset : 36;
    std::uint64_t length : 12;
    std::uint64_t isASCII : 1;
    std::uint64_t isNormalized : 1;
};
static_assert(sizeof(PlacedName) == sizeof(std::uint64_t));

/// Calls `work(i, thread)` for all below `count`, on as many threads as are worth it.
template <typename Work>
void forEach(std::size_t count, unsigned threads, const Work& work) {
    std::atomic<std::size_t> next = 0;
    onThreads(threads, [&](unsigned thread) {
        for (std::size_t i = next++; i < count; i = next++) work(i, thread);
    });
}

/// The order of a scan, asked of names that have been read.
class OrderOfRows final : public ScanOrderSource {
public:
    OrderOfRows(const FolderTable& table, const RecordStorage& storage, const std::vector<PlacedName>& names)
        : table_{table}, storage_{storage}, names_{names} {}
    std::uint32_t folderCount() const override { return table_.size(); }
    std::uint32_t folderEnd(std::uint32_t folder) const override { return table_.end(folder); }
    std::uint32_t firstFile(std::uint32_t folder) const override { return table_.firstFile(folder); }
    std::uint32_t fileCount(std::uint32_t folder) const override { return table_.fileCount(folder); }
    bool hasRecord(std::uint32_t folder) const override { return table_.hasRecord(folder); }
    std::string_view folderName(std::uint32_t folder) const override { return table_.name(folder); }
    std::string_view fileName(std::uint32_t file) const override {
        return storage_.nameAt(names_[file].offset, names_[file].length);
    }

private:
    const FolderTable& table_;
    const RecordStorage& storage_;
    const std::vector<PlacedName>& names_;
};

/// A record that has been chosen.
struct ChosenRecord {
    Row row;
    HistoryStream stream;
    std::uint32_t position;                ///< in its stream
    std::uint32_t number;                  ///< or else
    UUID identifier;                       ///< whichever the generation has
    std::optional<FileIdentity> identity;  ///< where the device has no number
};

/// The order of a scan, asked of the records that have been chosen: the others might as well not be there.
class OrderOfChosen final : public ScanOrderSource {
public:
    OrderOfChosen(const FolderTable& table, const RecordStorage& storage, const std::vector<ChosenRecord>& folders,
                  const std::vector<ChosenRecord>& files)
        : table_{table}, storage_{storage}, files_{files}, isChosen_(table.size(), false),
          firstFile_(table.size() + std::size_t{1}, 0) {
        for (const ChosenRecord& folder : folders) isChosen_[folder.position] = true;
        std::uint32_t next = 0;
        for (std::uint32_t folder = 0; folder < table.size(); ++folder) {
            firstFile_[folder] = next;
            while (next < files.size() && files[next].position < table.endOfFiles(folder)) ++next;
        }
        firstFile_.back() = next;
    }
    std::uint32_t folderCount() const override { return table_.size(); }
    std::uint32_t folderEnd(std::uint32_t folder) const override { return table_.end(folder); }
    std::uint32_t firstFile(std::uint32_t folder) const override { return firstFile_[folder]; }
    std::uint32_t fileCount(std::uint32_t folder) const override { return firstFile_[folder + 1] - firstFile_[folder]; }
    bool hasRecord(std::uint32_t folder) const override { return isChosen_[folder]; }
    std::string_view folderName(std::uint32_t folder) const override { return table_.name(folder); }
    std::string_view fileName(std::uint32_t file) const override { return storage_.nameOf(files_[file].row); }

private:
    const FolderTable& table_;
    const RecordStorage& storage_;
    const std::vector<ChosenRecord>& files_;
    std::vector<bool> isChosen_;
    std::vector<std::uint32_t> firstFile_;  ///< of each folder, among those chosen; one more at the end
};

class Loading {
public:
    Loading(const GenerationRows& rows, const GenerationContext& context)
        : rows_{rows}, context_{context}, storage_{std::make_shared<RecordStorage>()}, maker_{rows, context, *storage_},
          chunks_{rows.files().chunks()} {
        constexpr std::size_t mostThreads = 16;
        const std::size_t machine = std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, mostThreads);
        threads_ = static_cast<unsigned>(std::clamp<std::size_t>(chunks_.size(), 1, machine));
    }

    std::shared_ptr<const RecordStorage> records() {
        readNames();
        readIrregular();
        if (threads_ == 1) {
            hangFolders();
            placeRecords();
        } else {
            inParallel([&] { placeRecords(); }, [&] { hangFolders(); });
        }
        makeRows();
        fillRows();
        return finished();
    }

    std::shared_ptr<const RecordStorage> chosenRecords(RecordSelection& selection) {
        const bool areLargest = selection.largest().has_value();
        if (areLargest) {
            readFolders();
        } else {
            readNames();
        }
        readIrregular();
        hangFolders();
        selection.begin(*storage_);
        std::vector<std::uint32_t> largest;
        if (areLargest) largest = findLargest(selection);
        std::vector<std::optional<ChunkColumns>> columns(threads_);
        std::vector<std::vector<ChosenRecord>> found(chunks_.size() + 1);
        std::vector<NameBytes> names(found.size());  ///< of the largest files in a chunk
        forEach(found.size(), threads_, [&](std::size_t i, unsigned thread) {
            if (selection.isGivenUp()) return;
            if (i == 0) {
                found[0] = chosenFolders(selection);
                return;
            }
            if (!columns[thread]) columns[thread].emplace(rows_.files(), maker_.fields());
            found[i] = areLargest ? theseFiles(chunks_[i - 1], largest, selection, *columns[thread], names[i])
                                  : chosenFiles(chunks_[i - 1], selection, *columns[thread]);
        });
        for (std::size_t i = 1; areLargest && i < found.size(); ++i) adoptNames(found[i], names[i]);
        const std::vector<ChosenRecord> folders = std::move(found.front());
        std::vector<ChosenRecord> files;
        for (auto& some : found | std::views::drop(1)) files.insert(files.end(), some.begin(), some.end());
        std::ranges::sort(files, {}, &ChosenRecord::position);
        putChosen(folders, files);
        return finished();
    }

private:
    /// Of a row whose device has no number.
    struct FurtherIdentity {
        std::uint32_t row;
        FileIdentity identity;
    };
    struct IrregularRow {
        IrregularTexts texts;
        std::array<std::uint64_t, rowFieldCount> values;
        std::uint32_t place;
    };

    [[noreturn]] void throwContradiction() const { throwDamaged(rows_.generation()); }

    std::shared_ptr<const RecordStorage> finished() {
        if (maker_.hasNumbers()) {
            storage_->deriveIdentifiers(context_.identifierSeed, std::move(numbers_));
        } else {
            storage_->takeIdentifiers(std::move(identifiers_));
        }
        storage_->finishBuilding();
        return std::move(storage_);
    }

    // Names.

    void readNames() {
        nameOfFile_.resize(rows_.files().size());
        forEach(chunks_.size() + 1, threads_,
                [&](std::size_t i, unsigned) { i > 0 ? readNames(chunks_[i - 1]) : readFolders(); });
    }

    void readFolders() {
        table_.emplace(rows_, 0);
        if (table_->size() > 0) contents_.emplace(*table_, rows_.folders(), 0);
        const std::string& names = table_->rows().names;
        NameBytes bytes{.bytes = std::make_shared_for_overwrite<char[]>(names.size()), .size = names.size()};
        std::memcpy(bytes.bytes.get(), names.data(), names.size());
        folderNames_ = adopt(bytes);
    }

    [[nodiscard]] std::uint64_t adopt(const NameBytes& names) {
        const std::lock_guard guard{mutex_};
        return storage_->adoptNames(names.bytes, names.size);
    }

    /// What is known of a name. Throws when it can be none.
    [[nodiscard]] PlacedName placed(std::uint64_t offset, std::string_view name, bool isASCII) const {
        if (name.size() > NameArena::longestName || (!isASCII && !isWellFormedUTF8(name))) throwContradiction();
        return {.offset = offset & RecordStorage::mostNameOffset,
                .length = name.size() & NameArena::longestName,
                .isASCII = isASCII,
                .isNormalized = isASCII || isNormalizedUTF8(name)};
    }

    void readNames(const StreamView::ChunkUse& use) {
        const StreamView& files = rows_.files();
        NameBytes names = files.names(use.layer, use.chunk);
        const std::uint32_t rows = files.rowsIn(use.layer, use.chunk);
        const std::int64_t generation = files.generationOf(use.layer);
        std::vector<std::uint32_t> ends;
        if (!findNameEnds(names.view(), rows, ends)) throwDamaged(generation);
        const auto beginOf = [&](std::uint32_t row) { return row == 0 ? 0 : ends[row - 1] + 1; };
        std::size_t used = 0;
        for (const StreamView::Span& span : use.spans) used += ends[span.row + span.count - 1] + 1 - beginOf(span.row);
        // Of a chunk that has lost many rows only the names that are left are kept.
        const bool isWorthKeeping = used >= names.size - names.size / 8;
        NameBytes kept = names;
        if (!isWorthKeeping) kept = {.bytes = std::make_shared_for_overwrite<char[]>(used), .size = used};
        const std::uint64_t offset = adopt(kept);
        std::size_t firstOther = asciiPrefixLength(names.view());
        std::size_t out = 0;
        for (const StreamView::Span& span : use.spans) {
            std::uint32_t begin = beginOf(span.row);
            const std::uint32_t end = ends[span.row + span.count - 1] + 1;
            const std::size_t at = isWorthKeeping ? begin : out;
            if (!isWorthKeeping) std::memcpy(kept.bytes.get() + out, names.bytes.get() + begin, end - begin);
            const std::uint64_t shift = offset + at - begin;
            for (std::uint32_t i = 0; i < span.count; ++i) {
                const std::uint32_t nameEnd = ends[span.row + i];
                const std::string_view name = names.view().substr(begin, nameEnd - begin);
                if (firstOther < begin) firstOther = begin + asciiPrefixLength(names.view().substr(begin));
                nameOfFile_[span.position + i] = placed(shift + begin, name, firstOther >= nameEnd);
                begin = nameEnd + 1;
            }
            out += end - beginOf(span.row);
        }
    }

    // Irregular records. There are few.

    void readIrregular() {
        const StreamView& view = rows_.irregular();
        RowReader reader{view, maker_.fields(), true};
        for (std::uint32_t position = 0; position < view.size(); ++position) {
            const RowReader::Rows piece = reader.at(position);
            auto texts = irregularTexts(piece.name(0));
            if (!texts) throwContradiction();
            IrregularRow row{.texts = std::move(*texts), .values = {}, .place = piece.place};
            for (unsigned field = 0; field < rowFieldCount; ++field) {
                if ((maker_.fields() >> field & 1) == 0) continue;
                row.values[field] = piece.value(static_cast<HistoryField>(field), 0);
            }
            irregular_.push_back(std::move(row));
        }
    }

    // Folders and order.

    void hangFolders() {
        folderOf_.assign(table_->size(), RecordStorage::topFolder);
        rowOfFolder_.resize(table_->size());
        for (std::uint32_t i = 0; i < table_->size(); ++i) {
            const std::uint32_t parent = i == 0 ? 0 : folderOf_[table_->parent(i)];
            const std::string_view name = table_->name(i);
            const auto begin = static_cast<std::uint64_t>(name.data() - table_->rows().names.data());
            const PlacedName known = placed(folderNames_ + begin, name, isASCII(name));
            rowOfFolder_[i] =
                RecordStorage::regularRow(parent, known.offset, known.length, known.isASCII, known.isNormalized);
            // A folder that holds nothing is nobody's parent.
            if (i == 0 || (table_->end(i) == i + 1 && table_->fileCount(i) == 0)) continue;
            folderOf_[i] = storage_->addFolder(parent, rowOfFolder_[i]);
        }
    }

    void placeRecords() {
        const std::uint32_t folders = table_->size();
        std::uint64_t count = irregular_.size() + nameOfFile_.size();
        for (std::uint32_t i = 0; i < folders; ++i) count += table_->hasRecord(i) ? 1 : 0;
        if (count >= TreeOrder::none) throwContradiction();
        count_ = static_cast<std::uint32_t>(count);
        placeOfFolder_.assign(folders, TreeOrder::none);
        placeOfFile_.resize(nameOfFile_.size());
        placeOfIrregular_.resize(irregular_.size());
        if (context_.positions.empty()) {
            placeInScanOrder();
        } else {
            placeAsKept();
        }
    }

    void placeInScanOrder() {
        std::uint32_t next = 0;
        for (std::uint32_t& place : placeOfIrregular_) place = next++;
        for (const ScanOrderRun& run : scanOrder(OrderOfRows{*table_, *storage_, nameOfFile_})) {
            if (run.count > count_ - next) throwContradiction();
            std::vector<std::uint32_t>& places = run.isFolder ? placeOfFolder_ : placeOfFile_;
            for (std::uint32_t i = run.first; i < run.first + run.count; ++i) places[i] = next++;
        }
        if (next != count_) throwContradiction();
    }

    void placeAsKept() {
        const std::vector<std::uint64_t>& positions = context_.positions;
        const std::uint32_t folders = table_->size();
        if (positions.size() != folders + nameOfFile_.size() + irregular_.size()) throwContradiction();
        std::vector<bool> isTaken(count_, false);
        const auto put = [&](std::size_t row, std::uint32_t& place) {
            const std::uint64_t position = positions[row];
            if (position >= count_ || isTaken[position]) throwContradiction();
            isTaken[position] = true;
            place = static_cast<std::uint32_t>(position);
        };
        for (std::uint32_t i = 0; i < folders; ++i) {
            if (table_->hasRecord(i)) put(i, placeOfFolder_[i]);
        }
        for (std::size_t i = 0; i < placeOfFile_.size(); ++i) put(folders + i, placeOfFile_[i]);
        for (std::size_t i = 0; i < placeOfIrregular_.size(); ++i) {
            put(folders + placeOfFile_.size() + i, placeOfIrregular_[i]);
        }
    }

    // Values.

    void makeRows() {
        storage_->makeRows(count_);
        (maker_.hasNumbers() ? numbers_.resize(count_) : identifiers_.resize(count_));
    }

    void fillRows() {
        std::vector<std::optional<ChunkColumns>> columns(threads_);
        forEach(chunks_.size() + 1, threads_, [&](std::size_t i, unsigned thread) {
            if (i == 0) return fillFolders();
            if (!columns[thread]) columns[thread].emplace(rows_.files(), maker_.fields());
            fillFiles(chunks_[i - 1], *columns[thread]);
        });
        fillIrregular();
        setFurtherIdentities();
    }

    void fillIrregular() {
        for (std::size_t i = 0; i < irregular_.size(); ++i) fillIrregular(irregular_[i], placeOfIrregular_[i]);
    }

    void setFurtherIdentities() {
        // One that comes too late for a number makes its row irregular.
        for (const FurtherIdentity& further : further_) {
            storage_->setIdentity(storage_->row(further.row), further.identity);
        }
    }

    /// Puts the row that has this name at its place, with the values at `i`.
    void put(const Row& named, std::uint32_t place, const RowColumns& columns, std::size_t i, std::uint64_t content,
             HistoryStream stream, std::uint32_t placeInStream) {
        Row row = named;
        if (!maker_.setValues(row, columns, i, content)) throwContradiction();
        storage_->row(place) = row;
        if (maker_.hasNumbers()) {
            numbers_[place] = maker_.number(columns, i, stream, placeInStream);
        } else {
            identifiers_[place] = RecordMaker::identifier(columns, i);
        }
        if (!maker_.hasFurtherDevices()) return;
        if (const auto identity = maker_.furtherIdentity(columns, i)) {
            const std::lock_guard guard{mutex_};
            further_.push_back({place, *identity});
        }
    }

    void fillFolders() {
        RowReader reader{rows_.folders(), maker_.fields(), false};
        for (std::uint32_t first = 0; first < table_->size();) {
            const RowReader::Rows some = reader.at(first);
            for (std::uint32_t row = 0; row < some.count; ++row) {
                const std::uint32_t i = first + row;
                if (!table_->hasRecord(i)) continue;
                put(rowOfFolder_[i], placeOfFolder_[i], *some.columns, some.firstColumn + row, contents_->of(i),
                    HistoryStream::folders, some.place + row);
            }
            first += some.count;
        }
    }

    void fillFiles(const StreamView::ChunkUse& use, ChunkColumns& columns) {
        columns.open(use.layer, use.chunk);
        for (const StreamView::Span& span : use.spans) {
            std::uint32_t folder = table_->folderOf(span.position);
            for (std::uint32_t done = 0; done < span.count;) {
                const std::uint32_t position = span.position + done;
                while (table_->endOfFiles(folder) <= position) ++folder;
                const ChunkColumns::Rows rows = columns.at(span.row + done);
                const std::uint32_t count =
                    std::min({rows.count, span.count - done, table_->endOfFiles(folder) - position});
                for (std::uint32_t i = 0; i < count; ++i) {
                    const PlacedName& name = nameOfFile_[position + i];
                    put(RecordStorage::regularRow(folderOf_[folder], name.offset, name.length, name.isASCII,
                                                  name.isNormalized),
                        placeOfFile_[position + i], *rows.columns, rows.first + i, 0, HistoryStream::files,
                        span.place + done + i);
                }
                done += count;
            }
        }
    }

    void fillIrregular(IrregularRow& irregular, std::uint32_t place) {
        const std::uint32_t folder = table_->at(irregular.texts.path.view());
        Row row;
        storage_->makeIrregular(row, std::move(irregular.texts.parentPath), std::move(irregular.texts.path),
                                std::move(irregular.texts.name));
        RowColumns columns{};
        for (unsigned field = 0; field < rowFieldCount; ++field) columns.values[field] = &irregular.values[field];
        put(row, place, columns, 0, folder == FolderTable::none ? 0 : contents_->of(folder), HistoryStream::irregular,
            irregular.place);
    }

    // Records that are chosen.

    /// Adds the row that has this name if it is taken with the values at `i`.
    void choose(std::vector<ChosenRecord>& chosen, const RecordSelection& selection, const Row& named,
                const RowColumns& columns, std::size_t i, std::uint64_t content, HistoryStream stream,
                std::uint32_t position, std::uint32_t placeInStream) const {
        ChosenRecord record{
            .row = named, .stream = stream, .position = position, .number = 0, .identifier = {}, .identity = {}};
        if (!maker_.setValues(record.row, columns, i, content)) throwContradiction();
        if (!selection.takes(record.row)) return;
        if (maker_.hasNumbers()) {
            record.number = maker_.number(columns, i, stream, placeInStream);
        } else {
            record.identifier = RecordMaker::identifier(columns, i);
        }
        if (maker_.hasFurtherDevices()) record.identity = maker_.furtherIdentity(columns, i);
        chosen.push_back(record);
    }

    [[nodiscard]] std::vector<ChosenRecord> chosenFolders(const RecordSelection& selection) const {
        std::vector<ChosenRecord> chosen;
        RowReader reader{rows_.folders(), maker_.fields(), false};
        for (std::uint32_t i = 0; i < table_->size(); ++i) {
            if (!table_->hasRecord(i) || !selection.mayTake(rowOfFolder_[i])) continue;
            const RowReader::Rows rows = reader.at(i);
            choose(chosen, selection, rowOfFolder_[i], *rows.columns, rows.firstColumn, contents_->of(i),
                   HistoryStream::folders, i, rows.place);
        }
        return chosen;
    }

    [[nodiscard]] std::vector<ChosenRecord> chosenFiles(const StreamView::ChunkUse& use,
                                                        const RecordSelection& selection, ChunkColumns& columns) const {
        std::vector<ChosenRecord> chosen;
        bool isOpen = false;
        for (const StreamView::Span& span : use.spans) {
            std::uint32_t folder = table_->folderOf(span.position);
            for (std::uint32_t i = 0; i < span.count; ++i) {
                const std::uint32_t position = span.position + i;
                while (table_->endOfFiles(folder) <= position) ++folder;
                const PlacedName& name = nameOfFile_[position];
                const Row named = RecordStorage::regularRow(folderOf_[folder], name.offset, name.length, name.isASCII,
                                                            name.isNormalized);
                if (!selection.mayTake(named)) continue;
                if (!isOpen) columns.open(use.layer, use.chunk);
                isOpen = true;
                const ChunkColumns::Rows rows = columns.at(span.row + i);
                choose(chosen, selection, named, *rows.columns, rows.first, 0, HistoryStream::files, position,
                       span.place + i);
            }
        }
        return chosen;
    }

    /// Positions of the largest files. The chunks that none of them stands in are forgotten.
    [[nodiscard]] std::vector<std::uint32_t> findLargest(RecordSelection& selection) {
        LargestFiles found = LargestFiles::of(rows_.files(), chunks_, *table_, folderOf_, maker_, selection, threads_);
        selection.leaveOut(found.otherFiles, found.otherBytes);
        std::erase_if(chunks_, [&](const StreamView::ChunkUse& use) {
            return std::ranges::none_of(use.spans, [&](const StreamView::Span& span) {
                const auto at = std::ranges::lower_bound(found.positions, span.position);
                return at != found.positions.end() && *at - span.position < span.count;
            });
        });
        return std::move(found.positions);
    }

    /// Those of the files at `positions` that stand in a chunk. Of the chunk's names only theirs are kept, in `own`:
    /// rows say where in it, until `adoptNames`.
    [[nodiscard]] std::vector<ChosenRecord> theseFiles(const StreamView::ChunkUse& use,
                                                       const std::vector<std::uint32_t>& positions,
                                                       const RecordSelection& selection, ChunkColumns& columns,
                                                       NameBytes& own) const {
        const NameBytes names = rows_.files().names(use.layer, use.chunk);
        columns.open(use.layer, use.chunk);
        std::vector<std::uint32_t> ends;
        if (!findNameEnds(names.view(), columns.rows(), ends)) throwDamaged(rows_.files().generationOf(use.layer));
        const auto nameOf = [&](std::uint32_t row) {
            const std::uint32_t begin = row == 0 ? 0 : ends[row - 1] + 1;
            return names.view().substr(begin, ends[row] - begin);
        };
        const auto eachFile = [&](const auto& visit) {
            for (const StreamView::Span& span : use.spans) {
                for (auto at = std::ranges::lower_bound(positions, span.position);
                     at != positions.end() && *at - span.position < span.count; ++at)
                    visit(*at, span.row + (*at - span.position), span.place + (*at - span.position));
            }
        };
        std::string kept;
        eachFile([&](std::uint32_t, std::uint32_t row, std::uint32_t) { kept += nameOf(row); });
        own = {.bytes = std::make_shared_for_overwrite<char[]>(kept.size()), .size = kept.size()};
        std::memcpy(own.bytes.get(), kept.data(), kept.size());
        std::uint64_t offset = 0;
        std::vector<ChosenRecord> chosen;
        eachFile([&](std::uint32_t position, std::uint32_t row, std::uint32_t placeInStream) {
            const PlacedName name = placed(offset, nameOf(row), isASCII(nameOf(row)));
            offset += name.length;
            const ChunkColumns::Rows rows = columns.at(row);
            choose(chosen, selection,
                   RecordStorage::regularRow(folderOf_[table_->folderOf(position)], name.offset, name.length,
                                             name.isASCII, name.isNormalized),
                   *rows.columns, rows.first, 0, HistoryStream::files, position, placeInStream);
        });
        return chosen;
    }

    /// Takes over the names of files that were chosen. Not before the folders are: their names are read meanwhile.
    void adoptNames(std::vector<ChosenRecord>& files, const NameBytes& names) {
        if (files.empty()) return;
        const std::uint64_t offset = adopt(names);
        for (ChosenRecord& file : files)
            file.row.nameOffset = (file.row.nameOffset + offset) & RecordStorage::mostNameOffset;
    }

    /// A record that is wanted: an irregular one, or else one that was chosen.
    struct Wanted {
        const ChosenRecord* chosen;
        std::uint32_t irregular;
    };

    /// In the order of the snapshot. Both lists ascend by their positions.
    [[nodiscard]] std::vector<Wanted> wantedInOrder(const std::vector<ChosenRecord>& folders,
                                                    const std::vector<ChosenRecord>& files) const {
        std::vector<Wanted> wanted;
        wanted.reserve(irregular_.size() + folders.size() + files.size());
        for (std::uint32_t i = 0; i < irregular_.size(); ++i) wanted.push_back({nullptr, i});
        if (context_.positions.empty()) {
            for (const ScanOrderRun& run : scanOrder(OrderOfChosen{*table_, *storage_, folders, files})) {
                const auto& from = run.isFolder ? folders : files;
                const std::size_t first =
                    run.isFolder ? static_cast<std::size_t>(
                                       std::ranges::lower_bound(folders, run.first, {}, &ChosenRecord::position) -
                                       folders.begin())
                                 : run.first;
                for (std::size_t i = first; i < first + run.count; ++i) wanted.push_back({&from[i], 0});
            }
            return wanted;
        }
        const std::size_t firstFile = table_->size();
        const std::size_t firstIrregular = firstFile + rows_.files().size();
        if (context_.positions.size() != firstIrregular + irregular_.size()) throwContradiction();
        for (const ChosenRecord& folder : folders) wanted.push_back({&folder, 0});
        for (const ChosenRecord& file : files) wanted.push_back({&file, 0});
        std::ranges::sort(wanted, {}, [&](const Wanted& each) {
            if (each.chosen == nullptr) return context_.positions[firstIrregular + each.irregular];
            const bool isFolder = each.chosen->stream == HistoryStream::folders;
            return context_.positions[(isFolder ? 0 : firstFile) + each.chosen->position];
        });
        return wanted;
    }

    void putChosen(const std::vector<ChosenRecord>& folders, const std::vector<ChosenRecord>& files) {
        const std::vector<Wanted> wanted = wantedInOrder(folders, files);
        count_ = static_cast<std::uint32_t>(wanted.size());
        placeOfIrregular_.resize(irregular_.size());
        makeRows();
        for (std::uint32_t place = 0; place < count_; ++place) {
            const ChosenRecord* const record = wanted[place].chosen;
            if (record == nullptr) {
                placeOfIrregular_[wanted[place].irregular] = place;
                continue;
            }
            storage_->row(place) = record->row;
            if (maker_.hasNumbers()) {
                numbers_[place] = record->number;
            } else {
                identifiers_[place] = record->identifier;
            }
            if (record->identity) further_.push_back({place, *record->identity});
        }
        fillIrregular();
        setFurtherIdentities();
    }

    const GenerationRows& rows_;
    const GenerationContext& context_;
    std::shared_ptr<RecordStorage> storage_;
    RecordMaker maker_;
    std::vector<StreamView::ChunkUse> chunks_;  ///< of files
    unsigned threads_ = 1;
    std::mutex mutex_;  ///< of the arena while names are read, then of `further_`
    std::optional<FolderTable> table_;
    std::optional<FolderContents> contents_;  ///< where there are folders
    std::uint64_t folderNames_ = 0;
    std::vector<PlacedName> nameOfFile_;
    std::vector<IrregularRow> irregular_;
    std::vector<RecordStorage::FolderIndex> folderOf_;
    std::vector<Row> rowOfFolder_;  ///< the name and where it lies, no values
    std::uint32_t count_ = 0;
    std::vector<std::uint32_t> placeOfFolder_;  ///< position of each among the records; none where there is no record
    std::vector<std::uint32_t> placeOfFile_;
    std::vector<std::uint32_t> placeOfIrregular_;
    std::vector<std::uint32_t> numbers_;
    std::vector<UUID> identifiers_;
    std::vector<FurtherIdentity> further_;
};

}  // namespace

std::shared_ptr<const RecordStorage> loadRecords(const GenerationRows& rows, const GenerationContext& context) {
    return Loading{rows, context}.records();
}

std::shared_ptr<const RecordStorage> loadChosenRecords(const GenerationRows& rows, const GenerationContext& context,
                                                       RecordSelection& selection) {
    return Loading{rows, context}.chosenRecords(selection);
}

}  // namespace KestrelCore
