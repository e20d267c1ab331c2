#include "CInterface/Records.hpp"

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/FileIdentity.hpp"
#include "KestrelCore/Snapshot/RecordView.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>

using namespace KestrelCore;

namespace KestrelC {

namespace {

RecordView fieldsOf(const FileRecord& record) {
    return {.name = record.name().view(),
            .fileExtension = record.fileExtension().view(),
            .identity = record.identity(),
            .modifiedAt = record.modifiedAt(),
            .logicalBytes = record.logicalBytes(),
            .allocatedBytes = record.allocatedBytes(),
            .aggregateAllocatedBytes = record.aggregateAllocatedBytes(),
            .displayBytes = record.displayBytes(),
            .kind = record.kind(),
            .risk = record.risk(),
            .isHidden = record.isHidden(),
            .isCloudPlaceholder = record.isCloudPlaceholder(),
            .isHardLinkDuplicate = record.isHardLinkDuplicate()};
}

kestrel_record recordOf(const RecordView& view) {
    const auto bit = [](bool isSet, int value) { return isSet ? static_cast<std::uint32_t>(value) : 0U; };
    const FileIdentity identity = view.identity.value_or(FileIdentity{});
    return {.name = viewOf(view.name),
            .extension = viewOf(view.fileExtension),
            .display_bytes = view.displayBytes,
            .allocated_bytes = view.allocatedBytes,
            .aggregate_bytes = view.aggregateAllocatedBytes,
            .logical_bytes = view.logicalBytes,
            .modified_at = view.modifiedAt ? view.modifiedAt->secondsSince1970() : 0,
            .device = identity.device,
            .inode = identity.inode,
            .items_below = -1,
            .freed_bytes = -1,
            .kind = rawValue(view.kind),
            .risk = rawValue(view.risk),
            .flags = bit(view.isHidden, KESTREL_RECORD_HIDDEN) |
                     bit(view.isCloudPlaceholder, KESTREL_RECORD_CLOUD_PLACEHOLDER) |
                     bit(view.isHardLinkDuplicate, KESTREL_RECORD_FURTHER_LINK) |
                     bit(view.modifiedAt.has_value(), KESTREL_RECORD_HAS_DATE) |
                     bit(view.identity.has_value(), KESTREL_RECORD_HAS_IDENTITY),
            .reserved_flags = 0,
            .reserved = {}};
}

/// As `kestrel_records_path` says.
std::size_t give(std::string_view path, char* buffer, std::size_t capacity) {
    if (buffer == nullptr || capacity == 0) return path.size();
    const std::size_t length = path.size() < capacity ? path.size() : 0;
    path.copy(buffer, length);
    buffer[length] = '\0';
    return path.size();
}

}  // namespace

std::unique_ptr<kestrel_records> onlyRecord(std::optional<FileRecord> record) {
    if (!record) throw Failure{KESTREL_NOT_FOUND, "The scan has no item with that path."};
    auto list = std::make_unique<kestrel_records>();
    list->listed.push_back({.record = std::move(*record)});
    return list;
}

std::unique_ptr<kestrel_records> listOf(const std::optional<FolderListing>& listing) {
    if (!listing) throw Failure{KESTREL_NOT_FOUND, "The scan has no folder with that path."};
    auto list = std::make_unique<kestrel_records>();
    list->listed.reserve(listing->entries.size());
    for (const FolderEntry& entry : listing->entries)
        list->listed.push_back({.record = entry.record, .itemsBelow = entry.below.items});
    return list;
}

TypedSearch::TypedSearch(const char* text, std::size_t limit, kestrel_search_order order,
                         const kestrel_cancellation* cancellation)
    : query{textOf(text, "query")},
      limit{static_cast<std::int64_t>(std::min<std::uint64_t>(limit, std::numeric_limits<std::int64_t>::max()))} {
    if (order < KESTREL_SEARCH_BY_SCORE || order > KESTREL_SEARCH_BY_NAME)
        throw Failure{KESTREL_INVALID_ARGUMENT, "There is no such order of results."};
    settings.cancellation = tokenOf(cancellation);
    settings.order = static_cast<SearchOrder>(order);
}

std::unique_ptr<kestrel_records> listOf(const std::optional<SearchAnswer>& answer, std::size_t* matches) {
    if (!answer) throwCancelled();
    auto list = std::make_unique<kestrel_records>();
    list->listed.reserve(answer->results.size());
    for (const ScoredRecord& result : answer->results) list->listed.push_back({.record = result.record});
    if (matches != nullptr) *matches = static_cast<std::size_t>(answer->matches);
    return list;
}

}  // namespace KestrelC

using namespace KestrelC;

size_t kestrel_records_count(const kestrel_records* records) noexcept {
    return records == nullptr ? 0 : records->count();
}

bool kestrel_records_get(const kestrel_records* records, size_t index, kestrel_record* record) noexcept {
    if (record == nullptr) return false;
    if (records == nullptr || index >= records->count()) {
        *record = {};
        return false;
    }
    if (records->snapshot) {
        *record = recordOf(RecordView::of(*records->snapshot, index));
        return true;
    }
    const ListedRecord& listed = records->listed[index];
    *record = recordOf(fieldsOf(listed.record));
    record->items_below = listed.itemsBelow;
    record->freed_bytes = listed.freedBytes;
    return true;
}

size_t kestrel_records_path(const kestrel_records* records, size_t index, char* buffer, size_t capacity) noexcept {
    if (records == nullptr || index >= records->count()) return give({}, buffer, capacity);
    if (!records->snapshot) return give(records->listed[index].record.path().view(), buffer, capacity);
    // Kept from call to call, since a path that is joined anew needs room each time.
    thread_local std::string path;
    try {
        RecordView::assignPath(*records->snapshot, index, path);
    } catch (...) {
        return give({}, buffer, capacity);
    }
    return give(path, buffer, capacity);
}

void kestrel_records_free(kestrel_records* records) noexcept { delete records; }
