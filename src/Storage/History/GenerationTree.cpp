#include "Storage/History/GenerationTree.hpp"

#include "Base/Parallel.hpp"
#include "Storage/History/ChunkColumns.hpp"
#include "Storage/History/RecordBuilder.hpp"

#include <algorithm>
#include <numeric>
#include <optional>
#include <utility>

namespace KestrelCore {

namespace {

constexpr HistoryFields lengthFields = bit(HistoryField::kind) | bit(HistoryField::logical);
/// Files that are read in the time in which a person notices nothing.
constexpr std::uint32_t manyFiles = 16'384;
constexpr std::uint32_t manyFolders = 4096;

bool isContainer(std::uint64_t kind) {
    const auto value = static_cast<FileKind>(kind & 7);
    return value == FileKind::directory || value == FileKind::package;
}

std::int64_t lengthAt(const RowReader::Rows& rows, std::size_t i) {
    constexpr std::uint64_t hardLinkDuplicate = 0x80;
    return ContentLengths::counted(static_cast<std::int64_t>(rows.value(HistoryField::logical, i)),
                                   (rows.value(HistoryField::kind, i) & hardLinkDuplicate) != 0);
}

/// Calls `use` with each row from `first` to `end`: its position, the rows it stands in, and where in these.
template <typename Use>
void eachRow(const StreamView& view, HistoryFields fields, std::uint32_t first, std::uint32_t end, const Use& use) {
    RowReader reader{view, fields, false};
    for (std::uint32_t position = first; position < end;) {
        const RowReader::Rows rows = reader.at(position);
        const std::uint32_t count = std::min(rows.count, end - position);
        for (std::uint32_t i = 0; i < count; ++i) use(position + i, rows, i);
        position += count;
    }
}

}  // namespace

std::uint32_t GenerationTree::folderCount() const { return generation_.tree().size(); }

std::uint32_t GenerationTree::end(std::uint32_t folder) const { return generation_.tree().end(folder); }

std::string_view GenerationTree::name(std::uint32_t folder) const { return generation_.tree().name(folder); }

bool GenerationTree::hasRecord(std::uint32_t folder) const { return generation_.tree().hasRecord(folder); }

ListedTree::Range GenerationTree::files(std::uint32_t folder) const {
    const FolderTable& table = generation_.tree();
    return {table.firstFile(folder), table.endOfFiles(folder)};
}

ListedTree::Range GenerationTree::filesBelow(std::uint32_t folder) const {
    const FolderTable& table = generation_.tree();
    return {table.firstFile(folder), table.endOfFilesBelow(folder)};
}

const ListedTree::Irregulars& GenerationTree::irregular() const {
    return irregular_.get([this] { return std::make_shared<const Irregulars>(*this, readIrregular()); });
}

std::vector<ListedTree::Irregular> GenerationTree::readIrregular() const {
    const StreamView& view = generation_.rows().irregular();
    std::vector<Irregular> found;
    RowReader reader{view, lengthFields, true};
    for (std::uint32_t position = 0; position < view.size(); ++position) {
        const RowReader::Rows row = reader.at(position);
        auto texts = irregularTexts(row.name(0));
        if (!texts) throwDamaged(generation_.rows().generation());
        found.push_back({.path = std::move(texts->path),
                         .parentPath = std::move(texts->parentPath),
                         .isContainer = isContainer(row.value(HistoryField::kind, 0)),
                         .length = lengthAt(row, 0),
                         .folder = none});
    }
    return found;
}

bool GenerationTree::isLarge(std::uint32_t folder) const {
    const auto [first, end] = filesBelow(folder);
    return end - first > manyFiles || this->end(folder) - folder > manyFolders;
}

std::shared_ptr<const FolderLengths> GenerationTree::lengths(std::uint32_t folder) const {
    if (!isLarge(folder)) return readLengths(folder);
    return lengths_.get(
        [this] { return std::make_shared<const std::shared_ptr<const FolderLengths>>(readLengths(0)); });
}

std::shared_ptr<const FolderLengths> GenerationTree::readLengths(std::uint32_t first) const {
    const FolderTable& table = generation_.tree();
    const std::uint32_t end = table.end(first);
    auto lengths = std::make_shared<FolderLengths>();
    lengths->first = first;
    lengths->files.resize(end - first);
    lengths->own.resize(end - first);
    const auto readFiles = [&](std::uint32_t begin, std::uint32_t behind) {
        std::uint32_t folder = begin;
        eachRow(generation_.rows().files(), lengthFields, table.firstFile(begin), table.firstFile(behind),
                [&](std::uint32_t file, const RowReader::Rows& rows, std::size_t i) {
                    while (table.endOfFiles(folder) <= file) ++folder;
                    ContentLengths::add(lengths->files[folder - first], lengthAt(rows, i));
                });
    };
    const auto [firstFile, endOfFiles] = filesBelow(first);
    const unsigned threads = endOfFiles - firstFile > manyFiles ? 2 : 1;
    const std::uint32_t middle =
        threads == 1 ? end : std::max(first, table.folderOf(firstFile + (endOfFiles - firstFile) / 2));
    onThreads(threads, [&](unsigned thread) {
        if (thread == 1) {
            readFiles(middle, end);
            return;
        }
        eachRow(generation_.rows().folders(), lengthFields, first, end,
                [&](std::uint32_t folder, const RowReader::Rows& rows, std::size_t i) {
                    if (table.hasRecord(folder)) lengths->own[folder - first] = lengthAt(rows, i);
                });
        readFiles(first, middle);
    });
    return lengths;
}

std::shared_ptr<const FolderContents> GenerationTree::contents(std::uint32_t folder) const {
    const auto read = [this](std::uint32_t first) {
        return std::make_shared<const FolderContents>(generation_.tree(), generation_.rows().folders(), first);
    };
    if (!isLarge(folder)) return read(folder);
    return contents_.get([&] { return std::make_shared<const std::shared_ptr<const FolderContents>>(read(0)); });
}

std::vector<FileRecord> GenerationTree::records(std::uint32_t folder, const Places& places) const {
    const FolderTable& table = generation_.tree();
    const GenerationRows& rows = generation_.rows();
    RecordBuilder builder{rows, generation_.context()};
    const auto storedFolder = [&](std::uint32_t of) {
        const auto stored = builder.storage().folder(table.path(of));
        if (!stored) throwDamaged(rows.generation());
        return *stored;
    };
    if (!places.folders.empty()) {
        std::shared_ptr<const FolderContents> contents = this->contents(folder);
        RowReader reader{rows.folders(), builder.fields(), false};
        std::uint32_t parent = none;
        RecordStorage::FolderIndex stored = 0;
        for (const std::uint32_t each : places.folders) {
            if (std::exchange(parent, table.parent(each)) != parent) stored = storedFolder(parent);
            const RowReader::Rows row = reader.at(each);
            builder.addRegular(stored, table.name(each), *row.columns, row.firstColumn, contents->of(each),
                               HistoryStream::folders, row.place);
        }
    }
    if (!places.files.empty()) {
        RowReader reader{rows.files(), builder.fields(), true};
        for (const auto& [first, end] : places.files) {
            const RecordStorage::FolderIndex stored = storedFolder(table.folderOf(first));
            for (std::uint32_t file = first; file < end;) {
                const RowReader::Rows some = reader.at(file);
                const std::uint32_t count = std::min(some.count, end - file);
                for (std::uint32_t i = 0; i < count; ++i) {
                    builder.addRegular(stored, some.name(i), *some.columns, some.firstColumn + i, 0,
                                       HistoryStream::files, some.place + i);
                }
                file += count;
            }
        }
    }
    RowReader reader{rows.irregular(), builder.fields(), true};
    for (const std::uint32_t position : places.irregular) {
        const RowReader::Rows row = reader.at(position);
        auto texts = irregularTexts(row.name(0));
        if (!texts) throwDamaged(rows.generation());
        std::uint64_t content = 0;
        if (const std::uint32_t at = table.at(texts->path.view()); at != FolderTable::none) {
            content = contents(at)->of(at);
        }
        builder.addIrregular(std::move(*texts), *row.columns, row.firstColumn, content, row.place);
    }
    std::vector<std::uint32_t> order(builder.storage().size());
    std::iota(order.begin(), order.end(), 0U);
    const auto storage = builder.finish(order);
    std::vector<FileRecord> records;
    records.reserve(storage->size());
    for (std::size_t i = 0; i < storage->size(); ++i) records.push_back(storage->record(i));
    return records;
}

}  // namespace KestrelCore
