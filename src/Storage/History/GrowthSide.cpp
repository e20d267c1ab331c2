#include "Storage/History/GrowthSide.hpp"

#include "Storage/History/RowValues.hpp"

#include <span>
#include <string>

namespace KestrelCore {

namespace {

constexpr std::uint32_t none = FolderTable::none;

bool isContainer(std::uint64_t kind) {
    return kindOf(kind) == FileKind::directory || kindOf(kind) == FileKind::package;
}

std::uint64_t allocatedBytes(const RowReader::Rows& rows, std::size_t i) {
    return static_cast<std::uint64_t>(
        allocationOf({.allocated = rows.value(HistoryField::allocated, i), .shape = rows.value(HistoryField::shape, i)},
                     static_cast<std::int64_t>(rows.value(HistoryField::logical, i))));
}

}  // namespace

GrowthSide::GrowthSide(const OpenGeneration& generation, FileNames& names)
    : generation_{generation}, rows_{generation.rows()}, table_{rows_, bit(HistoryField::kind)},
      sizes_{rows_.files(), sizeFields, false}, names_{names} {
    sumUp();
}

void GrowthSide::readSizesFrom(GrowthSide& other, std::uint32_t layers) {
    if (layers != other.rows_.files().layerCount()) return;
    other_ = &other;
    sharedLayers_ = layers;
}

FileKind GrowthSide::kind(std::uint32_t folder) const {
    if (table_.hasRecord(folder)) return kindOf(table_.value(HistoryField::kind, folder));
    const auto known = irregularFolders_.find(folder);
    return known == irregularFolders_.end() ? FileKind::directory : known->second.kind;
}

std::int64_t GrowthSide::itemsBelow(std::uint32_t folder) const {
    std::int64_t items = table_.endOfFilesBelow(folder) - table_.firstFile(folder);
    for (std::uint32_t i = folder + 1; i < table_.end(folder); ++i) items += table_.hasRecord(i) ? 1 : 0;
    return items;
}

GrowthSide::File GrowthSide::file(std::uint32_t position) {
    const auto [layer, index] = rows_.files().rowAt(position);
    const bool isShared = layer < sharedLayers_;
    const RowReader::Rows row = (isShared ? other_->sizes_ : sizes_).inLayer(layer, index);
    const auto value = [&](HistoryField field) {
        const auto later =
            isShared ? rows_.files().changes(layer, field, index, 1) : std::span<const StreamView::NewValue>{};
        return later.empty() ? row.value(field, 0) : later.front().second;
    };
    const std::uint64_t kind = value(HistoryField::kind);
    const std::int64_t allocated =
        allocationOf({.allocated = value(HistoryField::allocated), .shape = value(HistoryField::shape)},
                     static_cast<std::int64_t>(value(HistoryField::logical)));
    return {kindOf(kind), bytesCounted(kind, static_cast<std::uint64_t>(allocated))};
}

std::string_view GrowthSide::fileName(std::uint32_t position) {
    const auto [layer, index] = rows_.files().rowAt(position);
    const auto perChunk = static_cast<std::uint32_t>(rowsInChunk(HistoryStream::files));
    name_ = names_.chunk(rows_.files(), layer, index / perChunk);
    return name_->name(index % perChunk);
}

void GrowthSide::sumUp() {
    const FolderContents contents{table_, rows_.folders(), 0};
    std::vector<std::uint64_t> inside(table_.size(), 0);
    readIrregular(contents);
    for (const IrregularItem& item : irregular_) {
        if (item.parent != none) inside[item.parent] += item.bytes;
    }
    bytes_.resize(table_.size());
    own_.resize(table_.size());
    for (std::uint32_t i = table_.size(); i-- > 0;) {
        inside[i] += contents.inFiles(i);
        if (table_.hasRecord(i)) {
            bytes_[i] = contents.aggregate(i);
        } else {
            const auto known = irregularFolders_.find(i);
            bytes_[i] = known == irregularFolders_.end() ? inside[i] : known->second.bytes;
        }
        own_[i] = bytes_[i] - inside[i];
        if (i > 0) inside[table_.parent(i)] += bytes_[i];
    }
}

void GrowthSide::readIrregular(const FolderContents& contents) {
    RowReader reader{rows_.irregular(), sizeFields | bit(HistoryField::aggregate), true};
    for (std::uint32_t position = 0; position < rows_.irregular().size(); ++position) {
        const RowReader::Rows piece = reader.at(position);
        const auto bytes = withSlashes(piece.name(0));
        const auto texts = bytes ? separatedTexts(*bytes) : std::nullopt;
        if (!texts || texts->size() < 2) throwDamaged(rows_.generation());
        const std::uint64_t kind = piece.value(HistoryField::kind, 0);
        const std::uint64_t allocated = allocatedBytes(piece, 0);
        IrregularItem item{.path = Text{texts->front()}, .kind = kind, .bytes = bytesCounted(kind, allocated)};
        if (isContainer(kind)) {
            const std::uint32_t folder = table_.at(texts->front());
            item.bytes = allocated + (folder == none ? 0 : contents.of(folder)) +
                         unzigzag(piece.value(HistoryField::aggregate, 0));
            if (folder != none && !table_.hasRecord(folder)) {
                irregularFolders_[folder] = {kindOf(kind), item.bytes};
                continue;
            }
        }
        if (texts->size() > 2) item.parent = table_.find((*texts)[2]);
        irregular_.push_back(std::move(item));
    }
}

void GrowthSide::readIdentities() {
    identities_.reserve(table_.size());
    RowReader reader{rows_.folders(), bit(HistoryField::shape) | bit(HistoryField::device) | bit(HistoryField::inode),
                     false};
    const std::vector<std::uint64_t>& devices = generation_.context().dictionary.devices;
    while (identities_.size() < table_.size()) {
        const RowReader::Rows piece = reader.at(static_cast<std::uint32_t>(identities_.size()));
        for (std::uint32_t i = 0; i < piece.count; ++i) {
            const std::uint64_t shape = piece.value(HistoryField::shape, i);
            const std::uint64_t device = piece.value(HistoryField::device, i);
            if ((shape & (RowShape::noIdentity | RowShape::noRecord)) != 0) {
                identities_.emplace_back();
                continue;
            }
            if (device >= devices.size()) throwDamaged(rows_.generation());
            identities_.emplace_back(FileIdentity{devices[device], piece.value(HistoryField::inode, i)});
        }
    }
}

}  // namespace KestrelCore
