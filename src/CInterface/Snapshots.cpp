#include "CInterface/Snapshots.hpp"

#include "CInterface/Records.hpp"

#include <memory>
#include <optional>
#include <utility>
#include <vector>

using namespace KestrelCore;
using namespace KestrelC;

kestrel_snapshot::kestrel_snapshot(ScanSnapshot scanned, GenerationProvenance how)
    : contents{std::move(scanned)}, provenance{std::move(how)}, root{contents.scope().root.path()},
      info{.root = viewOf(root),
           .started_at = contents.startedAt().secondsSince1970(),
           .completed_at = contents.completedAt().secondsSince1970(),
           .record_count = contents.records().size(),
           .issue_count = contents.issues().size(),
           .total_allocated_bytes = contents.totalAllocatedBytes(),
           .is_complete = provenance.isComplete} {
    issues.reserve(contents.issues().size());
    for (const ScanIssue& issue : contents.issues())
        issues.push_back({.path = viewOf(issue.path), .message = viewOf(issue.message)});
}

const kestrel_snapshot_info* kestrel_snapshot_get_info(const kestrel_snapshot* snapshot) noexcept {
    return snapshot == nullptr ? nullptr : &snapshot->info;
}

const kestrel_issue* kestrel_snapshot_issue_at(const kestrel_snapshot* snapshot, size_t index) noexcept {
    return snapshot == nullptr || index >= snapshot->issues.size() ? nullptr : &snapshot->issues[index];
}

kestrel_code kestrel_snapshot_records(const kestrel_snapshot* snapshot, kestrel_records** records,
                                      kestrel_error** error) noexcept {
    return making(records, error,
                  [&] { return std::make_unique<kestrel_records>(needed(snapshot, "snapshot").contents); });
}

kestrel_code kestrel_snapshot_find(const kestrel_snapshot* snapshot, const char* path, kestrel_records** records,
                                   kestrel_error** error) noexcept {
    return making(records, error,
                  [&] { return onlyRecord(needed(snapshot, "snapshot").contents.record(pathOf(path, "path"))); });
}

kestrel_code kestrel_snapshot_list(const kestrel_snapshot* snapshot, const char* path, kestrel_records** records,
                                   kestrel_error** error) noexcept {
    return making(records, error,
                  [&] { return listOf(needed(snapshot, "snapshot").contents.listing(pathOf(path, "path"))); });
}

kestrel_code kestrel_snapshot_search(const kestrel_snapshot* snapshot, const char* query, size_t limit,
                                     kestrel_search_order order, const kestrel_cancellation* cancellation,
                                     kestrel_records** records, size_t* matches, kestrel_error** error) noexcept {
    if (matches != nullptr) *matches = 0;
    return making(records, error, [&] {
        const ScanSnapshot& contents = needed(snapshot, "snapshot").contents;
        const TypedSearch search{query, limit, order, cancellation};
        return listOf(contents.search(search.query, search.limit, search.settings), matches);
    });
}

void kestrel_snapshot_free(kestrel_snapshot* snapshot) noexcept { delete snapshot; }
