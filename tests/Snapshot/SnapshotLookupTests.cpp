#include "Snapshot/SnapshotLookup.hpp"

#include "Snapshot/SnapshotAccess.hpp"
#include "support/Records.hpp"
#include "support/SampleSnapshots.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace KestrelCore {

namespace {

using testing::aRecord;
using testing::aSnapshot;

}  // namespace

TEST(SnapshotLookup, isMadeOnceByWhoeverOfSeveralThreadsComesFirst) {
    constexpr std::size_t threadCount = 4;
    // ICU takes its tables up when they are first needed, guarded in a way that the thread sanitizer does not see.
    ASSERT_FALSE(sampleSnapshot(1000, 9).search(SearchQuery{"a"}, 5).empty());
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        const ScanSnapshot snapshot = sampleSnapshot(3000, seed);
        const ScanSnapshot other = snapshot;  // shares all it has
        const FileRecord wanted = snapshot.records()[1000];
        std::vector<const SnapshotLookup*> seen(threadCount);
        std::atomic<std::size_t> found = 0;
        std::vector<std::thread> threads;
        for (std::size_t i = 0; i < threadCount; ++i) {
            threads.emplace_back([&, i] {
                const ScanSnapshot& mine = i % 2 == 0 ? snapshot : other;
                if (mine.record(wanted.path()) == wanted) ++found;
                if (!mine.children(wanted.parentPath()).empty()) ++found;
                if (!mine.search(SearchQuery{"a"}, 5).empty()) ++found;
                seen[i] = &SnapshotAccess::lookup(mine);
            });
        }
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(found, 3 * threadCount);
        EXPECT_EQ(seen, std::vector<const SnapshotLookup*>(threadCount, seen.front()));
    }
}

TEST(SnapshotLookup, takesElevenBytesARecordWhateverTheirNumber) {
    for (const std::size_t count : {43'000U, 45'000U, 90'000U}) {  // on both sides of where a power of two would double
        std::vector<FileRecord> records;
        for (std::size_t i = 0; i < count; ++i) records.push_back(aRecord({.path = "/r/" + std::to_string(i)}));
        const ScanSnapshot snapshot = aSnapshot("/r", records);
        const SnapshotLookup& lookup = SnapshotAccess::lookup(snapshot);
        EXPECT_LE(lookup.memoryBytes(), count * 11);
        // With so few free slots every record and every stranger is still found out.
        const RecordStorage& storage = SnapshotAccess::storage(snapshot);
        for (std::size_t i = 0; i < count; i += 7) {
            ASSERT_EQ(lookup.record(storage, Text{"/r/" + std::to_string(i)}), i);
            ASSERT_EQ(lookup.record(storage, Text{"/s/" + std::to_string(i)}), std::nullopt);
        }
    }
}

TEST(SnapshotLookup, isNotNeededForTheTotal) {
    const auto total = [](const std::string& root, const std::vector<FileRecord>& records) {
        const ScanSnapshot snapshot = aSnapshot(root, records);
        const auto index = SnapshotAccess::lookup(snapshot).record(SnapshotAccess::storage(snapshot), Text{root});
        const std::int64_t expected = index ? snapshot.records()[*index].aggregateAllocatedBytes() : 0;
        EXPECT_EQ(snapshot.totalAllocatedBytes(), expected);
        return snapshot.totalAllocatedBytes();
    };
    const FileRecord irregular = aRecord({.path = "/r/s", .isTop = true, .aggregate = 1});
    const FileRecord regular = aRecord({.path = "/r/s", .aggregate = 2});
    const FileRecord elsewhere = aRecord({.path = "/q/s", .aggregate = 3});
    // Of several the last one counts.
    EXPECT_EQ(total("/r/s", {irregular, regular, elsewhere}), 2);
    EXPECT_EQ(total("/r/s", {regular, irregular, elsewhere}), 1);
    EXPECT_EQ(total("/r/s", {elsewhere}), 0);
    EXPECT_EQ(total("/top", {aRecord({.path = "/top", .aggregate = 4}), regular}), 4);
    EXPECT_EQ(total("/", {aRecord({.path = "/", .isTop = true, .aggregate = 5}), regular}), 5);
    // Two spellings of one path.
    EXPECT_EQ(total("/r\u00E9/s", {aRecord({.path = "/re\u0301/s", .aggregate = 6}),
                                   aRecord({.path = "/r\u00E9/t", .aggregate = 7})}),
              6);
}

}  // namespace KestrelCore
