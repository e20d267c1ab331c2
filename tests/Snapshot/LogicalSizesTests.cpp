#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "support/Records.hpp"
#include "support/SampleSnapshots.hpp"
#include "support/ScannedSnapshots.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace KestrelCore {

using testing::aRecord;
using testing::aSnapshot;

namespace {

/// The lengths of a record and of all below it, one after the other.
std::int64_t lengthBelow(const ScanSnapshot& snapshot, const FileRecord& top) {
    std::int64_t sum = 0;
    for (const FileRecord& record : snapshot.records()) {
        const bool isIn =
            record.path() == top.path() || (top.isContainer() && Path::isBeneath(record.path(), top.path()));
        if (isIn && !record.isHardLinkDuplicate()) sum += record.logicalBytes();
    }
    return sum;
}

}  // namespace

TEST(LogicalSizes, areSummedUpAlongTheTree) {
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        const ScanSnapshot snapshot = asScanned(sampleSnapshot(300, seed));
        const ScanSnapshot shown = snapshot.withLogicalSizes();
        ASSERT_EQ(shown.records().size(), snapshot.records().size());
        for (std::size_t i = 0; i < shown.records().size(); ++i) {
            const FileRecord before = snapshot.records()[i];
            const FileRecord record = shown.records()[i];
            EXPECT_EQ(record.path(), before.path());
            EXPECT_EQ(record.id(), before.id());
            EXPECT_EQ(record.logicalBytes(), before.logicalBytes());
            EXPECT_EQ(record.allocatedBytes(), before.logicalBytes()) << record.path().view();
            EXPECT_EQ(record.aggregateAllocatedBytes(), lengthBelow(snapshot, before)) << record.path().view();
        }
        EXPECT_EQ(shown.totalAllocatedBytes(), lengthBelow(snapshot, *snapshot.record(snapshot.scope().root.path())));
    }
}

TEST(LogicalSizes, countAFurtherHardLinkOnce) {
    const ScanSnapshot snapshot =
        aSnapshot("/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory, .logical = 0}),
                         aRecord({.path = "/r/a", .logical = 700}),
                         aRecord({.path = "/r/b", .logical = 700, .isDuplicate = true})});
    const ScanSnapshot shown = snapshot.withLogicalSizes();
    EXPECT_EQ(shown.totalAllocatedBytes(), 700);
    EXPECT_EQ(shown.record("/r/b")->allocatedBytes(), 700);
}

TEST(LogicalSizes, thatNoDiskHoldsAreCountedUpToABound) {
    constexpr std::int64_t huge = std::numeric_limits<std::int64_t>::max();
    const ScanSnapshot snapshot =
        aSnapshot("/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory}),
                         aRecord({.path = "/r/a", .logical = huge}), aRecord({.path = "/r/b", .logical = huge}),
                         aRecord({.path = "/r/c", .logical = -5})});
    EXPECT_EQ(snapshot.withLogicalSizes().totalAllocatedBytes(), std::int64_t{1} << 62);
}

}  // namespace KestrelCore
