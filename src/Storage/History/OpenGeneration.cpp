#include "Storage/History/OpenGeneration.hpp"

#include "Base/TextScan.hpp"
#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/JSON/CodingErrors.hpp"
#include "KestrelCore/Snapshot/ValueJSON.hpp"
#include "Snapshot/SnapshotAccess.hpp"
#include "Storage/History/ChunkColumns.hpp"
#include "Storage/History/PathSearch.hpp"
#include "Storage/History/SnapshotLoading.hpp"

#include <algorithm>
#include <limits>
#include <memory>
#include <numeric>
#include <ranges>
#include <utility>

namespace KestrelCore {

namespace {

/// Much more than any dictionary or any issues of a scan have: what a column may become that claims to be long.
constexpr std::size_t mostListBytes = std::size_t{1} << 30;
/// More differences than this are no chain of ours.
constexpr std::size_t mostLayers = 1000;

ColumnKey listKey(std::int64_t generation, HistoryList list, std::uint32_t chunk = 0) {
    return {.generation = generation,
            .stream = HistoryStream::lists,
            .field = static_cast<std::uint8_t>(list),
            .chunk = chunk};
}

}  // namespace

OpenGeneration::OpenGeneration(const HistoryDatabase::Reading& reading, const std::vector<StoredGeneration>& all,
                               const StoredGeneration& generation)
    : reading_{reading}, stored_{generation}, layers_{layersOf(reading, all, generation)}, rows_{reading, layers_} {
    readDictionary();
    readPositions();
    context_.identifierSeed = stored_.identifierSeed;
}

std::vector<GenerationLayout> OpenGeneration::layersOf(const HistoryDatabase::Reading& reading,
                                                       const std::vector<StoredGeneration>& all,
                                                       const StoredGeneration& generation) {
    std::vector<GenerationLayout> layers;
    for (std::int64_t number = generation.number; number != 0;) {
        const auto layer = std::ranges::lower_bound(all, number, {}, &StoredGeneration::number);
        if (layer == all.end() || layer->number != number || layer->base >= number || layers.size() == mostLayers) {
            throwDamaged(generation.number);
        }
        reading.checkColumns(*layer);
        // Names are never left out, so that no more rows can be claimed than columns bear out.
        std::int64_t chunks = 0;
        for (const HistoryStream stream : everyHistoryStream) {
            chunks += static_cast<std::int64_t>(layer->layout.of(stream).rows / rowsInChunk(stream));
        }
        if (chunks > layer->columns) throwDamaged(layer->number);
        layers.push_back(layer->layout);
        number = layer->base;
    }
    std::ranges::reverse(layers);
    return layers;
}

void OpenGeneration::readDictionary() {
    for (const GenerationLayout& layer : layers_) {
        if (const auto packed = reading_.column(listKey(layer.generation, HistoryList::extensions))) {
            const auto bytes = Column::unpack(*packed, mostListBytes);
            const auto texts = bytes ? separatedTexts(*bytes) : std::nullopt;
            if (!texts) throwDamaged(layer.generation);
            context_.dictionary.extensions.insert(context_.dictionary.extensions.end(), texts->begin(), texts->end());
        }
        for (std::uint32_t chunk = 0;; ++chunk) {
            const auto packed = reading_.column(listKey(layer.generation, HistoryList::devices, chunk));
            if (!packed) break;
            std::vector<std::uint64_t> devices;
            if (!Column::unpackCounted(*packed, devices)) throwDamaged(layer.generation);
            context_.dictionary.devices.insert(context_.dictionary.devices.end(), devices.begin(), devices.end());
        }
    }
}

void OpenGeneration::readPositions() {
    // A removal leaves the others in the order that they had.
    std::size_t layer = layers_.size() - 1;
    while (layer > 0 && layers_[layer].identifiers == IdentifierForm::inherited) --layer;
    const std::int64_t ordered = layers_[layer].generation;
    std::vector<std::uint64_t> positions;
    for (std::uint32_t chunk = 0;; ++chunk) {
        const auto packed = reading_.column(listKey(ordered, HistoryList::positions, chunk));
        if (!packed) break;
        if (!Column::unpackCounted(*packed, positions)) throwDamaged(ordered);
        context_.positions.insert(context_.positions.end(), positions.begin(), positions.end());
    }
    if (ordered != stored_.number && !context_.positions.empty()) closePositions();
}

void OpenGeneration::closePositions() {
    const std::vector<std::uint64_t> all = std::exchange(context_.positions, {});
    // How many of those before a position are still there.
    std::vector<std::uint64_t> rank(all.size(), 0);
    const auto eachRow = [&](const auto& use) {
        for (const HistoryStream stream : everyHistoryStream) {
            const StreamView& view = rows_.of(stream);
            RowReader reader{view, bit(HistoryField::shape), false};
            for (std::uint32_t position = 0; position < view.size();) {
                const RowReader::Rows piece = reader.at(position);
                const std::uint64_t first = std::uint64_t{rows_.firstNumber(stream)} + piece.place;
                if (first + piece.count > all.size()) throwDamaged(stored_.number);
                for (std::uint32_t i = 0; i < piece.count; ++i) {
                    const bool isRecord = (piece.value(HistoryField::shape, i) & RowShape::noRecord) == 0;
                    use(all[first + i], isRecord);
                }
                position += piece.count;
            }
        }
    };
    eachRow([&](std::uint64_t position, bool isRecord) {
        if (position >= rank.size()) throwDamaged(stored_.number);
        if (isRecord) rank[position] = 1;
    });
    std::uint64_t before = 0;
    for (std::uint64_t& each : rank) before += std::exchange(each, before);
    eachRow(
        [&](std::uint64_t position, bool isRecord) { context_.positions.push_back(isRecord ? rank[position] : 0); });
}

std::vector<ScanIssue> OpenGeneration::issues() const {
    std::vector<ScanIssue> issues;
    if (const auto packed = reading_.column(listKey(stored_.number, HistoryList::issues))) {
        const auto bytes = Column::unpack(*packed, mostListBytes);
        const auto texts = bytes ? separatedTexts(*bytes) : std::nullopt;
        if (!texts || texts->size() % 2 != 0) throwDamaged(stored_.number);
        for (std::size_t i = 0; i < texts->size(); i += 2) issues.push_back({Text{(*texts)[i]}, Text{(*texts)[i + 1]}});
    }
    return issues;
}

ScanSnapshot OpenGeneration::snapshot() const { return snapshotOf(loadRecords(rows_, context_)); }

ScanSnapshot OpenGeneration::snapshotOf(std::shared_ptr<const RecordStorage> records) const {
    try {
        return SnapshotAccess::make(stored_.snapshot, decodingJSON<ScanScope>(stored_.scope), Date{stored_.startedAt},
                                    Date{stored_.completedAt}, std::move(records), issues());
    } catch (const DecodingError&) {
        throwDamaged(stored_.number);
    }
}

const FolderTable& OpenGeneration::tree() const {
    return tree_.get([&] { return std::make_shared<const FolderTable>(rows_, 0); });
}

std::vector<FileRecord> OpenGeneration::children(const Text& path) const {
    const FolderTable& table = tree();
    const std::uint32_t folder = table.find(path.view());
    if (folder == FolderTable::none) return {};
    RecordBuilder builder{rows_, context_};
    const auto parent = builder.storage().folder(table.path(folder));
    if (!parent) return {};
    if (table.end(folder) > folder + 1) {
        const FolderContents contents{table, rows_.folders(), folder};
        RowReader reader{rows_.folders(), builder.fields(), false};
        for (std::uint32_t child = folder + 1; child < table.end(folder); child = table.end(child)) {
            if (!table.hasRecord(child)) continue;
            const RowReader::Rows row = reader.at(child);
            builder.addRegular(*parent, table.name(child), *row.columns, row.firstColumn, contents.of(child),
                               HistoryStream::folders, row.place);
        }
    }
    RowReader files{rows_.files(), builder.fields(), true};
    for (std::uint32_t file = table.firstFile(folder); file < table.endOfFiles(folder);) {
        const RowReader::Rows some = files.at(file);
        const std::uint32_t count = std::min(some.count, table.endOfFiles(folder) - file);
        for (std::uint32_t i = 0; i < count; ++i) {
            builder.addRegular(*parent, some.name(i), *some.columns, some.firstColumn + i, 0, HistoryStream::files,
                               some.place + i);
        }
        file += count;
    }
    std::vector<std::uint32_t> order(builder.storage().size());
    std::iota(order.begin(), order.end(), 0U);
    std::ranges::stable_sort(order, [&](std::uint32_t a, std::uint32_t b) {
        const RecordStorage::Row& rowA = builder.storage().row(a);
        const RecordStorage::Row& rowB = builder.storage().row(b);
        if (rowA.displayBytes() != rowB.displayBytes()) return rowA.displayBytes() > rowB.displayBytes();
        return compareNames(builder.storage().nameOf(rowA), builder.storage().nameOf(rowB)) < 0;
    });
    const auto storage = builder.finish(order);
    std::vector<FileRecord> records;
    records.reserve(storage->size());
    for (std::size_t i = 0; i < storage->size(); ++i) records.push_back(storage->record(i));
    return records;
}

std::optional<FileRecord> OpenGeneration::record(const Text& path) const {
    const FolderTable& table = tree();
    RecordBuilder builder{rows_, context_};
    const auto finished = [&]() -> FileRecord {
        std::vector<std::uint32_t> order{0};
        return builder.finish(order)->record(0);
    };
    if (const std::uint32_t folder = table.find(path.view()); folder != FolderTable::none && table.hasRecord(folder)) {
        const FolderContents contents{table, rows_.folders(), folder};
        RowReader reader{rows_.folders(), builder.fields(), false};
        const RowReader::Rows row = reader.at(folder);
        const auto parent = builder.storage().folder(table.path(table.parent(folder)));
        if (!parent) return std::nullopt;
        builder.addRegular(*parent, table.name(folder), *row.columns, row.firstColumn, contents.of(folder),
                           HistoryStream::folders, row.place);
        return finished();
    }
    const std::uint32_t above = table.find(Path::deletingLastComponent(path).view());
    if (above != FolderTable::none) {
        const Text name = Path::lastComponent(path);
        RowReader names{rows_.files(), 0, true};
        for (std::uint32_t file = table.firstFile(above); file < table.endOfFiles(above); ++file) {
            const RowReader::Rows piece = names.at(file);
            if (!areEqualNames(piece.name(0), name.view())) continue;
            const auto parent = builder.storage().folder(table.path(above));
            if (!parent) return std::nullopt;
            RowReader values{rows_.files(), builder.fields(), false};
            const RowReader::Rows row = values.at(file);
            builder.addRegular(*parent, piece.name(0), *row.columns, row.firstColumn, 0, HistoryStream::files,
                               row.place);
            return finished();
        }
    }
    RowReader reader{rows_.irregular(), builder.fields(), true};
    for (std::uint32_t position = 0; position < rows_.irregular().size(); ++position) {
        const RowReader::Rows piece = reader.at(position);
        auto texts = irregularTexts(piece.name(0));
        if (!texts) throwDamaged(stored_.number);
        if (texts->path != path) continue;
        std::uint64_t content = 0;
        if (const std::uint32_t folder = table.at(texts->path.view()); folder != FolderTable::none) {
            content = FolderContents{table, rows_.folders(), folder}.of(folder);
        }
        builder.addIrregular(std::move(*texts), *piece.columns, piece.firstColumn, content, piece.place);
        return finished();
    }
    return std::nullopt;
}

std::vector<std::optional<FileRecord>> OpenGeneration::records(const std::vector<Text>& paths) const {
    const FolderTable& table = tree();
    std::vector<std::optional<FileRecord>> records(paths.size());
    const std::vector<PathPlaces> places = placesOf(paths, table, rows_);
    struct File {
        std::uint32_t file;
        std::size_t path;  ///< its position
    };
    std::vector<File> files;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        if (places[i].folders.empty() && !places[i].files.empty()) {
            files.push_back({places[i].files.front(), i});
        } else {
            records[i] = record(paths[i]);
        }
    }
    // As they stand, so that each chunk is read once.
    std::ranges::sort(files, {}, &File::file);
    RecordBuilder builder{rows_, context_};
    RowReader reader{rows_.files(), builder.fields(), true};
    for (const File& each : files) {
        const RowReader::Rows piece = reader.at(each.file);
        const auto parent = builder.storage().folder(table.path(table.folderOf(each.file)));
        if (!parent) throwDamaged(stored_.number);
        builder.addRegular(*parent, piece.name(0), *piece.columns, piece.firstColumn, 0, HistoryStream::files,
                           piece.place);
    }
    std::vector<std::uint32_t> order(files.size());
    std::iota(order.begin(), order.end(), 0U);
    const auto storage = builder.finish(order);
    for (std::size_t i = 0; i < files.size(); ++i) records[files[i].path] = storage->record(i);
    return records;
}

std::optional<FolderTotals> OpenGeneration::totals(const Text& path) const {
    constexpr HistoryFields folderSizes =
        bit(HistoryField::shape) | bit(HistoryField::logical) | bit(HistoryField::allocated);
    const FolderTable table{rows_, folderSizes | rollUpFields};
    const std::uint32_t folder = table.find(path.view());
    if (folder == FolderTable::none) return std::nullopt;
    FolderTotals totals;
    totals.agesCountedFrom = Date{static_cast<double>(stored_.agesCountedFrom)};
    std::uint64_t oldest = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t newest = 0;
    // Modulo 2^64: the sizes of a snapshot may be anything, and then so may this be.
    std::uint64_t bytes = 0;
    std::array<std::uint64_t, HistoryAges::classes> byAge{};
    for (std::uint32_t i = folder; i < table.end(folder); ++i) {
        totals.items += table.fileCount(i);
        if (i != folder && table.hasRecord(i)) {
            ++totals.items;
            bytes += static_cast<std::uint64_t>(allocationOf(
                {.allocated = table.value(HistoryField::allocated, i), .shape = table.value(HistoryField::shape, i)},
                static_cast<std::int64_t>(table.value(HistoryField::logical, i))));
        }
        const std::uint64_t fileBytes = table.value(HistoryField::fileBytes, i);
        bytes += fileBytes;
        std::uint64_t rest = fileBytes;
        for (std::size_t age = 0; age < agesKept; ++age) {
            const std::uint64_t part = table.rows().values[static_cast<std::size_t>(HistoryField::ages) + age][i];
            byAge[age] += part;
            rest -= part;
        }
        byAge.back() += rest;
        if (const std::uint64_t first = table.value(HistoryField::oldest, i); first != 0) {
            oldest = std::min(oldest, first);
            newest = std::max(newest, table.value(HistoryField::newest, i));
        }
    }
    totals.allocatedBytes = static_cast<std::int64_t>(bytes);
    for (std::size_t age = 0; age < byAge.size(); ++age) totals.bytesByAge[age] = static_cast<std::int64_t>(byAge[age]);
    if (newest != 0) {
        totals.oldestChange = dateOf({.seconds = oldest});
        totals.newestChange = dateOf({.seconds = newest});
    }
    return totals;
}

void writeLists(const HistoryDictionary& added, const std::vector<ScanIssue>& issues,
                const std::vector<std::uint64_t>& positions, std::int64_t generation, const ColumnSink& sink) {
    if (!added.extensions.empty()) {
        const std::vector<std::string_view> texts{added.extensions.begin(), added.extensions.end()};
        sink(listKey(generation, HistoryList::extensions), Column::pack(std::string_view{joinedTexts(texts)}));
    }
    const auto writeNumbers = [&](HistoryList list, std::span<const std::uint64_t> numbers) {
        for (std::uint32_t chunk = 0; !numbers.empty(); ++chunk) {
            const std::size_t count = std::min(numbers.size(), Column::mostRows);
            sink(listKey(generation, list, chunk), Column::packCounted(numbers.first(count)));
            numbers = numbers.subspan(count);
        }
    };
    writeNumbers(HistoryList::devices, added.devices);
    writeNumbers(HistoryList::positions, positions);
    if (!issues.empty()) {
        std::vector<std::string_view> texts;
        for (const ScanIssue& issue : issues) {
            texts.push_back(issue.path.view());
            texts.push_back(issue.message.view());
        }
        sink(listKey(generation, HistoryList::issues), Column::pack(std::string_view{joinedTexts(texts)}));
    }
}

}  // namespace KestrelCore
