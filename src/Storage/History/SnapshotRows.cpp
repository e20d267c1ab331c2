#include "Storage/History/SnapshotRows.hpp"

#include <algorithm>
#include <utility>

// Sums here are modulo 2^64: a snapshot may come from anywhere and have any sizes, and only the difference between what
// a record says and what its content sums up to is kept. So whatever a record says comes back.

namespace KestrelCore {

namespace {

std::uint64_t word(const UUID& id, std::size_t begin) {
    std::uint64_t result = 0;
    for (std::size_t i = begin; i < begin + sizeof result; ++i) result = result << 8 | id.bytes[i];
    return result;
}

std::uint64_t kindOf(const RecordStorage::Row& row) {
    return static_cast<std::uint64_t>(row.kindValue) | static_cast<std::uint64_t>(row.riskValue) << 3 |
           static_cast<std::uint64_t>(row.isHidden) << 5 | static_cast<std::uint64_t>(row.isCloudPlaceholder) << 6 |
           static_cast<std::uint64_t>(row.isHardLinkDuplicate) << 7;
}

/// The order of a scan, asked of a snapshot's own records.
class OrderOfRecords final : public ScanOrderSource {
public:
    explicit OrderOfRecords(const TreeOrder& order) : order_{order} {}
    std::uint32_t folderCount() const override { return static_cast<std::uint32_t>(order_.folders().size()); }
    std::uint32_t folderEnd(std::uint32_t folder) const override { return order_.folders()[folder].end; }
    std::uint32_t firstFile(std::uint32_t folder) const override { return order_.folders()[folder].firstFile; }
    std::uint32_t fileCount(std::uint32_t folder) const override { return order_.folders()[folder].files; }
    bool hasRecord(std::uint32_t folder) const override { return order_.folders()[folder].row != TreeOrder::none; }
    std::string_view folderName(std::uint32_t folder) const override { return order_.nameOf(order_.folders()[folder]); }
    std::string_view fileName(std::uint32_t file) const override {
        return order_.storage().nameOf(order_.storage().row(order_.files()[file]));
    }

private:
    const TreeOrder& order_;
};

}  // namespace

SnapshotRows::SnapshotRows(const RecordStorage& storage, HistoryDictionary known, const HistoryAges& ages)
    : storage_{storage}, order_{storage}, dictionary_{std::move(known)}, ages_{ages},
      identifiers_{formOfIdentifiers()} {
    boost::unordered_flat_map<std::string, std::uint32_t> extensions;
    for (std::uint32_t i = 0; i < dictionary_.extensions.size(); ++i) extensions.emplace(dictionary_.extensions[i], i);
    for (const Text& extension : storage.extensions()) {
        const auto next = static_cast<std::uint32_t>(dictionary_.extensions.size());
        const auto [found, isNew] = extensions.try_emplace(extension.string(), next);
        if (isNew) dictionary_.extensions.push_back(extension.string());
        extensionOf_.push_back(found->second);
    }
    for (std::size_t i = 0; i < dictionary_.devices.size(); ++i) deviceOf_.emplace(dictionary_.devices[i], i);
    std::uint64_t last = 0;
    bool isFirst = true;
    for (std::size_t i = 0; i < storage.size(); ++i) {
        const auto identity = storage.identityOf(storage.row(i));
        if (!identity || (!isFirst && identity->device == last)) continue;
        isFirst = false;
        last = identity->device;
        if (deviceOf_.try_emplace(last, dictionary_.devices.size()).second) dictionary_.devices.push_back(last);
    }
    sumContents();
}

void SnapshotRows::sumContents() {
    const auto& folders = order_.folders();
    content_.assign(folders.size(), 0);
    for (auto i = folders.size(); i-- > 0;) {
        const TreeOrder::Folder& folder = folders[i];
        for (std::uint32_t k = folder.firstFile; k < folder.firstFile + folder.files; ++k) {
            const RecordStorage::Row& row = storage_.row(order_.files()[k]);
            content_[i] += bytesCounted(kindOf(row), static_cast<std::uint64_t>(row.allocatedBytes));
        }
        if (folder.parent == TreeOrder::none) continue;
        content_[folder.parent] += folder.row == TreeOrder::none
                                       ? content_[i]
                                       : static_cast<std::uint64_t>(storage_.row(folder.row).aggregateAllocatedBytes);
    }
}

std::uint32_t SnapshotRows::size(HistoryStream stream) const {
    switch (stream) {
    case HistoryStream::folders: return static_cast<std::uint32_t>(order_.folders().size());
    case HistoryStream::files: return static_cast<std::uint32_t>(order_.files().size());
    case HistoryStream::irregular: return static_cast<std::uint32_t>(order_.irregular().size());
    case HistoryStream::lists: break;
    }
    return 0;
}

RowBlock SnapshotRows::block(HistoryStream stream, std::uint32_t first, std::uint32_t count) const {
    RowBlock block;
    block.count = count;
    for (unsigned field = 0; field < rowFieldCount; ++field) {
        if ((fieldsOf(stream) >> field & 1) != 0) block.values[field].reserve(count);
    }
    block.nameEnds.reserve(count);
    for (std::uint32_t i = first; i < first + count; ++i) {
        switch (stream) {
        case HistoryStream::folders: fillFolder(block, i); break;
        case HistoryStream::files: {
            const std::uint32_t row = order_.files()[i];
            fillRecord(block, row, 0);
            block.addName(storage_.nameOf(storage_.row(row)));
            break;
        }
        case HistoryStream::irregular: fillIrregular(block, order_.irregular()[i]); break;
        case HistoryStream::lists: break;
        }
    }
    return block;
}

IdentifierForm SnapshotRows::formOfIdentifiers() const {
    if (!storage_.identifierSeed()) return IdentifierForm::own;
    const std::vector<std::uint32_t> places = order_.places();
    for (std::uint32_t row = 0; row < storage_.size(); ++row) {
        if (storage_.identifierNumber(row) != places[row]) return IdentifierForm::numbered;
    }
    return IdentifierForm::inPlace;
}

void SnapshotRows::fillRecord(RowBlock& block, std::uint32_t index, std::uint64_t content) const {
    const RecordStorage::Row& row = storage_.row(index);
    const auto put = [&](HistoryField field, std::uint64_t value) { block.column(field).push_back(value); };
    const auto allocated = static_cast<std::uint64_t>(row.allocatedBytes);
    const auto identity = storage_.identityOf(row);
    const StoredDate date = storedDate(row.hasModified != 0 ? std::optional{Date{row.modifiedAt}} : std::nullopt);
    const StoredAllocation allocation = storedAllocation(row.allocatedBytes, row.logicalBytes);
    const std::uint64_t expected = row.isContainer() ? allocated + content : bytesCounted(kindOf(row), allocated);
    put(HistoryField::kind, kindOf(row));
    put(HistoryField::shape, date.shape | allocation.shape | (identity ? 0 : RowShape::noIdentity));
    put(HistoryField::logical, static_cast<std::uint64_t>(row.logicalBytes));
    put(HistoryField::allocated, allocation.allocated);
    put(HistoryField::aggregate, zigzag(static_cast<std::uint64_t>(row.aggregateAllocatedBytes) - expected));
    put(HistoryField::seconds, date.seconds);
    put(HistoryField::fraction, date.fraction);
    put(HistoryField::device, identity ? deviceOf_.at(identity->device) : 0);
    put(HistoryField::inode, identity ? identity->inode : 0);
    put(HistoryField::extension, extensionOf_[row.extension]);
    if (identifiers_ == IdentifierForm::own) {
        const UUID id = storage_.idOf(index);
        put(HistoryField::idHigh, word(id, 0));
        put(HistoryField::idLow, word(id, 8));
    } else if (identifiers_ == IdentifierForm::numbered) {
        put(HistoryField::idLow, storage_.identifierNumber(index));
    }
}

void SnapshotRows::fillFolder(RowBlock& block, std::uint32_t position) const {
    const TreeOrder::Folder& folder = order_.folders()[position];
    if (folder.row != TreeOrder::none) {
        fillRecord(block, folder.row, content_[position]);
    } else {
        for (unsigned field = 0; field < rowFieldCount; ++field) {
            if ((recordFields >> field & 1) != 0) block.values[field].push_back(0);
        }
        if (identifiers_ == IdentifierForm::own) block.column(HistoryField::idHigh).push_back(0);
        if (identifiers_ != IdentifierForm::inPlace) block.column(HistoryField::idLow).push_back(0);
        block.column(HistoryField::shape).back() = RowShape::noRecord;
    }
    block.addName(order_.nameOf(folder));
    std::uint64_t bytes = 0;
    std::uint64_t oldest = 0;
    std::uint64_t newest = 0;
    std::array<std::uint64_t, HistoryAges::classes> byAge{};
    for (std::uint32_t i = folder.firstFile; i < folder.firstFile + folder.files; ++i) {
        const RecordStorage::Row& row = storage_.row(order_.files()[i]);
        const std::uint64_t counted = bytesCounted(kindOf(row), static_cast<std::uint64_t>(row.allocatedBytes));
        const StoredDate date = storedDate(row.hasModified != 0 ? std::optional{Date{row.modifiedAt}} : std::nullopt);
        bytes += counted;
        byAge[ages_.classOf(date.seconds, date.shape)] += counted;
        if (date.shape != 0) continue;
        if (oldest == 0 || date.seconds < oldest) oldest = date.seconds;
        newest = std::max(newest, date.seconds);
    }
    block.column(HistoryField::subfolders).push_back(folder.subfolders);
    block.column(HistoryField::files).push_back(folder.files);
    block.column(HistoryField::fileBytes).push_back(bytes);
    block.column(HistoryField::oldest).push_back(oldest);
    block.column(HistoryField::newest).push_back(newest);
    for (std::size_t i = 0; i < agesKept; ++i) {
        block.values[static_cast<std::size_t>(HistoryField::ages) + i].push_back(byAge[i]);
    }
}

void SnapshotRows::fillIrregular(RowBlock& block, std::uint32_t position) const {
    const RecordStorage::Row& row = storage_.row(position);
    const RecordStorage::Irregular& texts = storage_.irregular(row);
    std::uint64_t content = 0;
    if (row.isContainer()) {
        const std::uint32_t folder = order_.folderAt(texts.path.view());
        if (folder != TreeOrder::none) content = content_[folder];
    }
    fillRecord(block, position, content);
    std::vector<std::string_view> parts{texts.path.view(), texts.name.view()};
    if (texts.parentPath) parts.push_back(texts.parentPath->view());
    block.addName(withoutSlashes(joinedTexts(parts)));
}

bool SnapshotRows::isInScanOrder() const {
    std::uint32_t next = 0;
    for (const std::uint32_t row : order_.irregular()) {
        if (row != next++) return false;
    }
    for (const ScanOrderRun& run : scanOrder(OrderOfRecords{order_})) {
        for (std::uint32_t i = run.first; i < run.first + run.count; ++i) {
            const std::uint32_t row = run.isFolder ? order_.folders()[i].row : order_.files()[i];
            if (row != next++) return false;
        }
    }
    return true;
}

std::vector<std::uint64_t> SnapshotRows::positions() const {
    std::vector<std::uint64_t> result;
    result.reserve(order_.folders().size() + order_.files().size() + order_.irregular().size());
    for (const TreeOrder::Folder& folder : order_.folders()) {
        result.push_back(folder.row == TreeOrder::none ? 0 : folder.row);
    }
    result.insert(result.end(), order_.files().begin(), order_.files().end());
    result.insert(result.end(), order_.irregular().begin(), order_.irregular().end());
    return result;
}

}  // namespace KestrelCore
