#include "Storage/History/RecordMaker.hpp"

#include "Base/TextScan.hpp"

#include <string>

namespace KestrelCore {

namespace {

HistoryFields fieldsOfIdentifiers(IdentifierForm form) {
    if (form == IdentifierForm::own) return idFields;
    return form == IdentifierForm::numbered ? bit(HistoryField::idLow) : 0;
}

}  // namespace

RecordMaker::RecordMaker(const GenerationRows& rows, const GenerationContext& context, RecordStorage& storage)
    : context_{context}, fields_{recordFields | fieldsOfIdentifiers(rows.identifiers())},
      hasNumbers_{rows.identifiers() != IdentifierForm::own},
      isNumbered_{rows.identifiers() == IdentifierForm::numbered} {
    for (const HistoryStream stream : everyHistoryStream) {
        firstNumbers_[static_cast<std::size_t>(stream)] = rows.firstNumber(stream);
    }
    for (const std::string& extension : context_.dictionary.extensions) {
        if (!isWellFormedUTF8(extension)) throwDamaged(rows.generation());
        extensions_.push_back(storage.internExtension(extension));
    }
    for (const std::uint64_t device : context_.dictionary.devices) {
        const auto number = storage.deviceNumber(device);
        hasFurtherDevices_ = hasFurtherDevices_ || !number;
        devices_.push_back(number.value_or(noNumber));
    }
}

std::optional<FileIdentity> RecordMaker::furtherIdentity(const RowColumns& columns, std::size_t i) const {
    if ((columns.value(HistoryField::shape, i) & RowShape::noIdentity) != 0) return std::nullopt;
    const std::uint64_t device = columns.value(HistoryField::device, i);
    if (device >= devices_.size() || devices_[device] != noNumber) return std::nullopt;
    return FileIdentity{.device = context_.dictionary.devices[device], .inode = columns.value(HistoryField::inode, i)};
}

UUID RecordMaker::identifier(const RowColumns& columns, std::size_t i) {
    UUID id;
    for (std::size_t byte = 0; byte < 8; ++byte) {
        id.bytes[byte] = static_cast<std::uint8_t>(columns.value(HistoryField::idHigh, i) >> (8 * (7 - byte)));
        id.bytes[8 + byte] = static_cast<std::uint8_t>(columns.value(HistoryField::idLow, i) >> (8 * (7 - byte)));
    }
    return id;
}

}  // namespace KestrelCore
