#pragma once

#include "KestrelCore/Base/FileIdentity.hpp"
#include "KestrelCore/Base/UUID.hpp"
#include "Snapshot/RecordStorage.hpp"
#include "Storage/History/RowBlock.hpp"
#include "Storage/History/RowValues.hpp"
#include "Storage/History/SnapshotRows.hpp"
#include "Storage/History/StreamView.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// What a generation's rows refer to.
struct GenerationContext {
    HistoryDictionary dictionary;
    UUID identifierSeed;
    /// The position of each row in the snapshot, stream after stream; empty for the order of a scan.
    std::vector<std::uint64_t> positions;
};

/// Makes values of records of the numbers that stand in columns. Whatever these are is checked. Made by one thread;
/// then any number may ask.
class RecordMaker {
public:
    /// Adds the generation's extensions and devices to `storage`. Throws that the generation is damaged where one is
    /// none.
    RecordMaker(const GenerationRows& rows, const GenerationContext& context, RecordStorage& storage);

    /// The fields that a row must have been read with.
    [[nodiscard]] HistoryFields fields() const { return fields_; }

    /// Gives the row the values at `i`: all but its name, its identifier, and an identity on a device without a number
    /// (see `furtherIdentity`). `content` is what its aggregate has beside its own allocation. False when no record has
    /// such values.
    [[nodiscard]] bool setValues(RecordStorage::Row& row, const RowColumns& columns, std::size_t i,
                                 std::uint64_t content) const;
    /// What says how large an item is, and what it is.
    static constexpr HistoryFields fieldsOfSize =
        bit(HistoryField::kind) | bit(HistoryField::shape) | bit(HistoryField::logical) | bit(HistoryField::allocated);
    /// Gives the row of a file the values that filters compare: `fieldsOfSize`, the extension, and the date where the
    /// rows were read with it. False when no record has such values.
    [[nodiscard]] bool setComparedValues(RecordStorage::Row& row, const RowColumns& columns, std::size_t i) const;
    /// Whether any row may have such an identity.
    [[nodiscard]] bool hasFurtherDevices() const { return hasFurtherDevices_; }
    [[nodiscard]] std::optional<FileIdentity> furtherIdentity(const RowColumns& columns, std::size_t i) const;

    /// Whether identifiers are derived from numbers.
    [[nodiscard]] bool hasNumbers() const { return hasNumbers_; }
    /// The number of a row that stands at `place` of its stream.
    [[nodiscard]] std::uint32_t number(const RowColumns& columns, std::size_t i, HistoryStream stream,
                                       std::uint32_t place) const {
        return isNumbered_ ? static_cast<std::uint32_t>(columns.value(HistoryField::idLow, i))
                           : firstNumbers_[static_cast<std::size_t>(stream)] + place;
    }
    [[nodiscard]] static UUID identifier(const RowColumns& columns, std::size_t i);

private:
    static constexpr std::uint32_t noNumber = 0xFFFFFFFF;

    const GenerationContext& context_;
    HistoryFields fields_;
    bool hasNumbers_;
    bool isNumbered_;                                                      ///< each row says its number
    std::array<std::uint32_t, everyHistoryStream.size()> firstNumbers_{};  ///< or counts from that of its stream
    std::vector<std::uint32_t> extensions_;                                ///< the dictionary's → the storage's
    std::vector<std::uint32_t> devices_;  ///< the same; `noNumber` where the storage has no room for more
    bool hasFurtherDevices_ = false;
};

// Called for each row that is loaded.

inline bool RecordMaker::setValues(RecordStorage::Row& row, const RowColumns& columns, std::size_t i,
                                   std::uint64_t content) const {
    constexpr auto kindBit = [](FileKind known) { return std::uint64_t{1} << static_cast<unsigned>(known); };
    constexpr std::uint64_t containerKinds = kindBit(FileKind::directory) | kindBit(FileKind::package);
    constexpr std::uint64_t knownKinds =
        containerKinds | kindBit(FileKind::file) | kindBit(FileKind::symbolicLink) | kindBit(FileKind::other);
    const std::uint64_t kind = columns.value(HistoryField::kind, i);
    const std::uint64_t shape = columns.value(HistoryField::shape, i);
    const std::uint64_t extension = columns.value(HistoryField::extension, i);
    if ((knownKinds >> (kind & 7) & 1) == 0 || kind > 0xFF || extension >= extensions_.size()) return false;
    const auto logical = static_cast<std::int64_t>(columns.value(HistoryField::logical, i));
    const auto allocated = static_cast<std::uint64_t>(
        allocationOf({.allocated = columns.value(HistoryField::allocated, i), .shape = shape}, logical));
    const bool isContainer = (containerKinds >> (kind & 7) & 1) != 0;
    const std::uint64_t expected = isContainer ? allocated + content : bytesCounted(kind, allocated);
    const std::uint64_t aggregate = expected + unzigzag(columns.value(HistoryField::aggregate, i));
    std::uint32_t device = noNumber;
    if ((shape & RowShape::noIdentity) == 0) {
        const std::uint64_t position = columns.value(HistoryField::device, i);
        if (position >= devices_.size()) return false;
        device = devices_[position];
    }
    const bool hasIdentity = device != noNumber;
    const auto date = dateOf({.seconds = columns.value(HistoryField::seconds, i),
                              .fraction = columns.value(HistoryField::fraction, i),
                              .shape = shape});
    // All at once: then the bits come together before they are written, where one by one each would be read again.
    row = RecordStorage::Row{
        .inode = hasIdentity ? columns.value(HistoryField::inode, i) : 0,
        .logicalBytes = logical,
        .allocatedBytes = static_cast<std::int64_t>(allocated),
        .aggregateAllocatedBytes = static_cast<std::int64_t>(aggregate),
        .modifiedAt = date ? date->secondsSinceReferenceDate : 0,
        .nameOffset = row.nameOffset,
        .nameLength = row.nameLength,
        .device = hasIdentity ? device & 0xFFU : 0,
        .isASCII = row.isASCII,
        .isNormalized = row.isNormalized,
        .isIrregular = row.isIrregular,
        .hasIdentity = hasIdentity,
        .hasModified = date.has_value(),
        .isHidden = (kind >> 5 & 1) != 0,
        .isCloudPlaceholder = (kind >> 6 & 1) != 0,
        .isHardLinkDuplicate = (kind >> 7 & 1) != 0,
        .folder = row.folder,
        .extension = extensions_[extension] & ((1U << 27) - 1),
        .kindValue = static_cast<std::uint32_t>(kind) & 7U,
        .riskValue = static_cast<std::uint32_t>(kind >> 3) & 3U,
    };
    return true;
}

inline bool RecordMaker::setComparedValues(RecordStorage::Row& row, const RowColumns& columns, std::size_t i) const {
    const std::uint64_t kind = columns.value(HistoryField::kind, i);
    const std::uint64_t shape = columns.value(HistoryField::shape, i);
    const std::uint64_t extension = columns.value(HistoryField::extension, i);
    if ((kind & 7) >= allFileKinds.size() || kind > 0xFF || extension >= extensions_.size()) return false;
    row.logicalBytes = static_cast<std::int64_t>(columns.value(HistoryField::logical, i));
    row.allocatedBytes =
        allocationOf({.allocated = columns.value(HistoryField::allocated, i), .shape = shape}, row.logicalBytes);
    row.extension = extensions_[extension] & ((1U << 27) - 1);
    row.kindValue = static_cast<std::uint32_t>(kind) & 7U;
    row.isHidden = (kind >> 5 & 1) != 0;
    row.isHardLinkDuplicate = (kind >> 7 & 1) != 0;
    if (columns.values[static_cast<std::size_t>(HistoryField::seconds)] == nullptr) return true;
    const auto date = dateOf({.seconds = columns.value(HistoryField::seconds, i),
                              .fraction = columns.value(HistoryField::fraction, i),
                              .shape = shape});
    row.hasModified = date.has_value();
    row.modifiedAt = date ? date->secondsSinceReferenceDate : 0;
    return true;
}

}  // namespace KestrelCore
