#include "support/ScannedSnapshots.hpp"

#include "Snapshot/RecordStorage.hpp"
#include "Snapshot/SnapshotAccess.hpp"
#include "Snapshot/TreeOrder.hpp"
#include "support/Records.hpp"

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace KestrelCore {

using testing::aRecord;

ScanSnapshot asScanned(const ScanSnapshot& snapshot, std::optional<Date> completedAt, std::optional<UUID> id) {
    std::vector<FileRecord> records{snapshot.records().begin(), snapshot.records().end()};
    std::ranges::stable_sort(records, [](const FileRecord& a, const FileRecord& b) { return a.path() < b.path(); });
    auto storage = std::make_shared<RecordStorage>();
    for (const FileRecord& record : records) {
        const std::optional<std::string_view> parent =
            record.parentPath() ? std::optional{record.parentPath()->view()} : std::nullopt;
        RecordStorage::Row& row = storage->append(parent, record.path().view(), record.name().view());
        storage->fill(row, {.identity = record.identity(),
                            .kind = record.kind(),
                            .logicalBytes = record.logicalBytes(),
                            .allocatedBytes = record.allocatedBytes(),
                            .aggregateAllocatedBytes = record.aggregateAllocatedBytes(),
                            .modifiedAt = record.modifiedAt(),
                            .extension = storage->internExtension(record.fileExtension().view()),
                            .isHidden = record.isHidden(),
                            .isCloudPlaceholder = record.isCloudPlaceholder(),
                            .isHardLinkDuplicate = record.isHardLinkDuplicate(),
                            .risk = record.risk()});
    }
    storage->deriveIdentifiers(id.value_or(UUID::random()), TreeOrder{*storage}.places());
    storage->finishBuilding();
    return SnapshotAccess::make(id.value_or(UUID::random()), snapshot.scope(), snapshot.startedAt(),
                                completedAt.value_or(snapshot.completedAt()), std::move(storage), snapshot.issues());
}

ScanSnapshot changed(const ScanSnapshot& before, std::uint64_t seed) {
    std::mt19937_64 random{seed};
    std::vector<FileRecord> records;
    std::vector<std::string> gone;
    std::size_t number = 0;
    for (const FileRecord& record : before.records()) {
        const std::string path = record.path().string();
        const bool isBelowGone =
            std::ranges::any_of(gone, [&](const std::string& folder) { return path.starts_with(folder + "/"); });
        const std::uint64_t fate = random() % 100;
        if (isBelowGone || (fate < 3 && record.parentPath())) {
            gone.push_back(path);
            continue;
        }
        if (fate >= 10) {
            records.push_back(record);
        } else {
            const auto size = static_cast<std::int64_t>(random() % 10'000'000);
            records.push_back(
                aRecord({.path = record.path(),
                         .parent = record.parentPath(),
                         .isTop = !record.parentPath(),
                         .kind = record.kind(),
                         .logical = size,
                         .allocated = size / 4096 * 4096,
                         .aggregate = size,
                         .modified = fate < 8 ? std::optional{Date{static_cast<double>(random() % 100'000) / 7.0}}
                                              : std::nullopt,
                         .identity = record.identity(),
                         .isHidden = fate == 7}));
        }
        if (record.kind() == FileKind::directory && random() % 20 == 0) {
            const std::string folder = path + "/new folder " + std::to_string(number++);
            records.push_back(aRecord({.path = folder, .kind = FileKind::directory}));
            records.push_back(aRecord({.path = folder + "/a.new"}));
            records.push_back(aRecord({.path = path + "/b" + std::to_string(number++) + ".fresh"}));
        }
    }
    return ScanSnapshot{UUID::random(), before.scope(), before.startedAt(), before.completedAt(), records, {}};
}

}  // namespace KestrelCore
