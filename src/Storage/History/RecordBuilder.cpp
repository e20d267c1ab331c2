#include "Storage/History/RecordBuilder.hpp"

#include "Base/TextScan.hpp"
#include "Storage/History/RowValues.hpp"

#include <optional>
#include <utility>

namespace KestrelCore {

namespace {

constexpr std::uint64_t kindBit(FileKind kind) { return std::uint64_t{1} << static_cast<unsigned>(kind); }
constexpr std::uint64_t containerKinds = kindBit(FileKind::directory) | kindBit(FileKind::package);
constexpr std::uint64_t knownKinds =
    containerKinds | kindBit(FileKind::file) | kindBit(FileKind::symbolicLink) | kindBit(FileKind::other);

HistoryFields fieldsOfIdentifiers(IdentifierForm form) {
    if (form == IdentifierForm::own) return idFields;
    return form == IdentifierForm::numbered ? bit(HistoryField::idLow) : 0;
}

UUID identifier(const RowBlock& block, std::size_t i) {
    UUID id;
    for (std::size_t byte = 0; byte < 8; ++byte) {
        id.bytes[byte] = static_cast<std::uint8_t>(block.value(HistoryField::idHigh, i) >> (8 * (7 - byte)));
        id.bytes[8 + byte] = static_cast<std::uint8_t>(block.value(HistoryField::idLow, i) >> (8 * (7 - byte)));
    }
    return id;
}

bool isWellFormed(std::string_view text) { return isASCII(text) || isWellFormedUTF8(text); }

}  // namespace

RecordBuilder::RecordBuilder(const GenerationRows& rows, const GenerationContext& context)
    : rows_{rows}, context_{context}, fields_{recordFields | fieldsOfIdentifiers(rows.identifiers())},
      storage_{std::make_shared<RecordStorage>()} {
    for (const std::string& extension : context_.dictionary.extensions) {
        if (!isWellFormed(extension)) throwDamaged(rows_.generation());
        extensions_.push_back(storage_->internExtension(extension));
    }
}

RecordStorage::Row& RecordBuilder::addRegular(RecordStorage::FolderIndex folder, std::string_view name,
                                              const RowBlock& block, std::size_t row, std::uint64_t content,
                                              HistoryStream stream, std::uint32_t place) {
    if (name.size() > NameArena::longestName || !isWellFormed(name)) throwDamaged(rows_.generation());
    RecordStorage::Row& fresh = storage_->appendRegular(folder, name);
    fill(fresh, block, row, content, stream, place);
    return fresh;
}

void RecordBuilder::addIrregular(const RowBlock& block, std::size_t row, std::uint32_t place, const FolderTable& table,
                                 const std::vector<std::uint64_t>& contents) {
    const auto bytes = withSlashes(block.name(row));
    const auto texts = bytes ? separatedTexts(*bytes) : std::nullopt;
    if (!texts || texts->size() < 2 || texts->size() > 3) throwDamaged(rows_.generation());
    for (const std::string_view text : *texts) {
        if (!isWellFormed(text)) throwDamaged(rows_.generation());
    }
    std::uint64_t content = 0;
    if ((containerKinds >> (block.value(HistoryField::kind, row) & 7) & 1) != 0) {
        const std::uint32_t folder = table.at((*texts)[0]);
        if (folder != FolderTable::none) content = contents[folder];
    }
    auto parent = texts->size() == 3 ? std::optional{Text{(*texts)[2]}} : std::nullopt;
    fill(storage_->appendIrregular(std::move(parent), Text{(*texts)[0]}, Text{(*texts)[1]}), block, row, content,
         HistoryStream::irregular, place);
}

void RecordBuilder::fill(RecordStorage::Row& row, const RowBlock& block, std::size_t i, std::uint64_t content,
                         HistoryStream stream, std::uint32_t place) {
    const std::uint64_t kind = block.value(HistoryField::kind, i);
    const std::uint64_t shape = block.value(HistoryField::shape, i);
    const std::uint64_t extension = block.value(HistoryField::extension, i);
    const std::uint64_t device = block.value(HistoryField::device, i);
    if ((knownKinds >> (kind & 7) & 1) == 0 || kind > 0xFF || extension >= extensions_.size())
        throwDamaged(rows_.generation());
    const auto logical = static_cast<std::int64_t>(block.value(HistoryField::logical, i));
    const auto allocated = static_cast<std::uint64_t>(
        allocationOf({.allocated = block.value(HistoryField::allocated, i), .shape = shape}, logical));
    const bool isContainer = (containerKinds >> (kind & 7) & 1) != 0;
    const std::uint64_t expected = isContainer ? allocated + content : bytesCounted(kind, allocated);
    RecordStorage::Fields fields{
        .kind = static_cast<FileKind>(kind & 7),
        .logicalBytes = logical,
        .allocatedBytes = static_cast<std::int64_t>(allocated),
        .aggregateAllocatedBytes =
            static_cast<std::int64_t>(expected + unzigzag(block.value(HistoryField::aggregate, i))),
        .modifiedAt = dateOf({.seconds = block.value(HistoryField::seconds, i),
                              .fraction = block.value(HistoryField::fraction, i),
                              .shape = shape}),
        .extension = extensions_[extension],
        .isHidden = (kind >> 5 & 1) != 0,
        .isCloudPlaceholder = (kind >> 6 & 1) != 0,
        .isHardLinkDuplicate = (kind >> 7 & 1) != 0,
        .risk = static_cast<RiskLevel>(kind >> 3 & 3),
    };
    if ((shape & RowShape::noIdentity) == 0) {
        if (device >= context_.dictionary.devices.size()) throwDamaged(rows_.generation());
        fields.identity = {context_.dictionary.devices[device], block.value(HistoryField::inode, i)};
    }
    switch (rows_.identifiers()) {
    case IdentifierForm::own: fields.id = identifier(block, i); break;
    case IdentifierForm::numbered:
        numbers_.push_back(static_cast<std::uint32_t>(block.value(HistoryField::idLow, i)));
        break;
    case IdentifierForm::inPlace:
    case IdentifierForm::inherited: numbers_.push_back(rows_.firstNumber(stream) + place); break;
    }
    storage_->fill(row, fields);
}

std::shared_ptr<const RecordStorage> RecordBuilder::finish(std::vector<std::uint32_t>& order) {
    if (rows_.identifiers() != IdentifierForm::own) {
        std::vector<std::uint32_t> numbers;
        numbers.reserve(order.size());
        for (const std::uint32_t record : order) numbers.push_back(numbers_[record]);
        storage_->deriveIdentifiers(context_.identifierSeed, std::move(numbers));
    }
    storage_->reorder(order);
    storage_->finishBuilding();
    return std::move(storage_);
}

}  // namespace KestrelCore
