#include "Storage/History/SnapshotRows.hpp"

#include "Base/Parallel.hpp"

#include <algorithm>
#include <optional>
#include <span>
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

StoredDate dateOfRow(const RecordStorage::Row& row) {
    return storedDate(row.hasModified != 0 ? std::optional{Date{row.modifiedAt}} : std::nullopt);
}

/// Below this many a second thread is not worth its start.
constexpr std::size_t fewFiles = std::size_t{1} << 14;

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
    : storage_{storage}, order_{storage}, dictionary_{std::move(known)}, ages_{ages} {
    boost::unordered_flat_map<std::string, std::uint32_t> extensions;
    for (std::uint32_t i = 0; i < dictionary_.extensions.size(); ++i) extensions.emplace(dictionary_.extensions[i], i);
    for (const Text& extension : storage.extensions()) {
        const auto next = static_cast<std::uint32_t>(dictionary_.extensions.size());
        const auto [found, isNew] = extensions.try_emplace(extension.string(), next);
        if (isNew) dictionary_.extensions.push_back(extension.string());
        extensionOf_.push_back(found->second);
    }
    lookThrough();
    sumContents();
}

/// What a pass over some of the folders, and what lies right in them, finds beside the sums.
struct SnapshotRows::Pass {
    bool isInPlace = true;
    std::array<bool, 256> hasDevice{};
    std::vector<std::pair<std::uint8_t, std::uint64_t>> devices;  ///< the storage's, as they come
};

void SnapshotRows::lookThrough() {
    const auto& folders = order_.folders();
    sums_.resize(folders.size());
    const auto firstFiles = static_cast<std::uint32_t>(folders.size());
    const auto see = [&](Pass& pass, std::uint32_t index, std::uint32_t place) -> const RecordStorage::Row& {
        const RecordStorage::Row& row = storage_.row(index);
        if (storage_.identifierSeed() && storage_.identifierNumber(index) != place) pass.isInPlace = false;
        if (row.hasIdentity != 0 && row.isIrregular == 0 && !pass.hasDevice[row.device]) {
            pass.hasDevice[row.device] = true;
            pass.devices.emplace_back(row.device, storage_.identityOf(row)->device);
        }
        return row;
    };
    const auto lookAt = [&](Pass& pass, std::uint32_t position) {
        const TreeOrder::Folder& folder = folders[position];
        if (folder.row != TreeOrder::none) (void)see(pass, folder.row, position);
        FolderSums sums;
        for (std::uint32_t i = folder.firstFile; i < folder.firstFile + folder.files; ++i) {
            const RecordStorage::Row& row = see(pass, order_.files()[i], firstFiles + i);
            const std::uint64_t counted = bytesCounted(kindOf(row), static_cast<std::uint64_t>(row.allocatedBytes));
            const StoredDate date = dateOfRow(row);
            sums.bytes += counted;
            sums.byAge[ages_.classOf(date.seconds, date.shape)] += counted;
            if (date.shape != 0) continue;
            if (sums.oldest == 0 || date.seconds < sums.oldest) sums.oldest = date.seconds;
            sums.newest = std::max(sums.newest, date.seconds);
        }
        sums_[position] = sums;
    };
    // Two threads, with half of the files each.
    std::array<Pass, 2> passes;
    const auto middle = static_cast<std::uint32_t>(
        std::ranges::lower_bound(folders, order_.files().size() / 2, {}, &TreeOrder::Folder::firstFile) -
        folders.begin());
    onThreads(order_.files().size() < fewFiles ? 1 : 2, [&](unsigned thread) {
        if (thread == 0) {
            for (std::uint32_t i = 0; i < middle; ++i) lookAt(passes[0], i);
        } else {
            for (std::uint32_t i = middle; i < firstFiles; ++i) lookAt(passes[1], i);
        }
    });
    if (order_.files().size() < fewFiles) {
        for (std::uint32_t i = middle; i < firstFiles; ++i) lookAt(passes[1], i);
    }
    auto place = static_cast<std::uint32_t>(firstFiles + order_.files().size());
    for (const std::uint32_t index : order_.irregular()) (void)see(passes[1], index, place++);

    if (!storage_.identifierSeed()) {
        identifiers_ = IdentifierForm::own;
    } else {
        const bool isInPlace = passes[0].isInPlace && passes[1].isInPlace;
        identifiers_ = isInPlace ? IdentifierForm::inPlace : IdentifierForm::numbered;
    }
    nameDevices(passes);
}

void SnapshotRows::nameDevices(const std::array<Pass, 2>& passes) {
    for (std::size_t i = 0; i < dictionary_.devices.size(); ++i) deviceOf_.emplace(dictionary_.devices[i], i);
    const auto positionOf = [&](std::uint64_t device) {
        const auto [found, isNew] = deviceOf_.try_emplace(device, dictionary_.devices.size());
        if (isNew) dictionary_.devices.push_back(device);
        return found->second;
    };
    for (const Pass& pass : passes) {
        for (const auto& [position, device] : pass.devices) devicePosition_[position] = positionOf(device);
    }
    for (const std::uint32_t index : order_.irregular()) {
        if (const auto identity = storage_.identityOf(storage_.row(index))) (void)positionOf(identity->device);
    }
}

void SnapshotRows::sumContents() {
    const auto& folders = order_.folders();
    content_.resize(folders.size());
    for (std::size_t i = 0; i < folders.size(); ++i) content_[i] = sums_[i].bytes;
    for (auto i = folders.size(); i-- > 0;) {
        const TreeOrder::Folder& folder = folders[i];
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

HistoryFields SnapshotRows::fields(HistoryStream stream) const {
    const HistoryFields all = fieldsOf(stream);
    switch (identifiers_) {
    case IdentifierForm::own: return all;
    case IdentifierForm::numbered: return all & ~bit(HistoryField::idHigh);
    case IdentifierForm::inPlace:
    case IdentifierForm::inherited: break;
    }
    return all & ~idFields;
}

void SnapshotRows::append(RowBlock& block, HistoryStream stream, std::uint32_t first, std::uint32_t count) const {
    const std::size_t begin = block.count;
    block.count += count;
    const HistoryFields fields = this->fields(stream);
    std::array<std::uint64_t*, rowFieldCount> columns{};
    for (unsigned field = 0; field < rowFieldCount; ++field) {
        if ((fields >> field & 1) == 0) continue;
        block.values[field].resize(block.count);
        columns[field] = block.values[field].data() + begin;
    }
    switch (stream) {
    case HistoryStream::folders:
        for (std::uint32_t i = 0; i < count; ++i) fillFolder(columns, i, first + i);
        break;
    case HistoryStream::files: {
        const auto rows = std::span{order_.files()}.subspan(first, count);
        for (std::uint32_t i = 0; i < count; ++i) fillRecord(columns, i, rows[i], 0);
        break;
    }
    case HistoryStream::irregular:
        for (std::uint32_t i = 0; i < count; ++i) fillIrregular(columns, i, order_.irregular()[first + i]);
        break;
    case HistoryStream::lists: break;
    }
}

void SnapshotRows::appendNames(RowBlock& block, HistoryStream stream, std::uint32_t first, std::uint32_t count) const {
    for (std::uint32_t i = first; i < first + count; ++i) {
        if (stream == HistoryStream::irregular) {
            block.addName(textsOfIrregular(i));
        } else {
            block.addName(name(stream, i));
        }
    }
}

std::string_view SnapshotRows::name(HistoryStream stream, std::uint32_t position) const {
    if (stream == HistoryStream::folders) return order_.nameOf(order_.folders()[position]);
    return storage_.nameOf(storage_.row(order_.files()[position]));
}

std::string SnapshotRows::textsOfIrregular(std::uint32_t position) const {
    const RecordStorage::Irregular& texts = storage_.irregular(storage_.row(order_.irregular()[position]));
    std::vector<std::string_view> parts{texts.path.view(), texts.name.view()};
    if (texts.parentPath) parts.push_back(texts.parentPath->view());
    return withoutSlashes(joinedTexts(parts));
}

void SnapshotRows::fillRecord(const Columns& columns, std::size_t at, std::uint32_t index,
                              std::uint64_t content) const {
    const RecordStorage::Row& row = storage_.row(index);
    const auto put = [&](HistoryField field, std::uint64_t value) {
        columns[static_cast<std::size_t>(field)][at] = value;
    };
    const std::uint64_t kind = kindOf(row);
    const auto allocated = static_cast<std::uint64_t>(row.allocatedBytes);
    const StoredDate date = dateOfRow(row);
    const StoredAllocation allocation = storedAllocation(row.allocatedBytes, row.logicalBytes);
    const std::uint64_t expected = row.isContainer() ? allocated + content : bytesCounted(kind, allocated);
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t shape = date.shape | allocation.shape;
    if (row.isIrregular != 0) {
        if (const auto identity = storage_.identityOf(row)) {
            device = deviceOf_.at(identity->device);
            inode = identity->inode;
        } else {
            shape |= RowShape::noIdentity;
        }
    } else if (row.hasIdentity != 0) {
        device = devicePosition_[row.device];
        inode = row.inode;
    } else {
        shape |= RowShape::noIdentity;
    }
    put(HistoryField::kind, kind);
    put(HistoryField::shape, shape);
    put(HistoryField::logical, static_cast<std::uint64_t>(row.logicalBytes));
    put(HistoryField::allocated, allocation.allocated);
    put(HistoryField::aggregate, zigzag(static_cast<std::uint64_t>(row.aggregateAllocatedBytes) - expected));
    put(HistoryField::seconds, date.seconds);
    put(HistoryField::fraction, date.fraction);
    put(HistoryField::device, device);
    put(HistoryField::inode, inode);
    put(HistoryField::extension, extensionOf_[row.extension]);
    if (identifiers_ == IdentifierForm::own) {
        const UUID id = storage_.idOf(index);
        put(HistoryField::idHigh, word(id, 0));
        put(HistoryField::idLow, word(id, 8));
    } else if (identifiers_ == IdentifierForm::numbered) {
        put(HistoryField::idLow, storage_.identifierNumber(index));
    }
}

void SnapshotRows::fillFolder(const Columns& columns, std::size_t at, std::uint32_t position) const {
    const TreeOrder::Folder& folder = order_.folders()[position];
    const auto put = [&](std::size_t field, std::uint64_t value) { columns[field][at] = value; };
    if (folder.row != TreeOrder::none) {
        fillRecord(columns, at, folder.row, content_[position]);
    } else {
        put(static_cast<std::size_t>(HistoryField::shape), RowShape::noRecord);
    }
    const FolderSums& sums = sums_[position];
    put(static_cast<std::size_t>(HistoryField::subfolders), folder.subfolders);
    put(static_cast<std::size_t>(HistoryField::files), folder.files);
    put(static_cast<std::size_t>(HistoryField::fileBytes), sums.bytes);
    put(static_cast<std::size_t>(HistoryField::oldest), sums.oldest);
    put(static_cast<std::size_t>(HistoryField::newest), sums.newest);
    for (std::size_t i = 0; i < agesKept; ++i) put(static_cast<std::size_t>(HistoryField::ages) + i, sums.byAge[i]);
}

void SnapshotRows::fillIrregular(const Columns& columns, std::size_t at, std::uint32_t index) const {
    const RecordStorage::Row& row = storage_.row(index);
    std::uint64_t content = 0;
    if (row.isContainer()) {
        const std::uint32_t folder = order_.folderAt(storage_.irregular(row).path.view());
        if (folder != TreeOrder::none) content = content_[folder];
    }
    fillRecord(columns, at, index, content);
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
