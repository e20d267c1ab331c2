#include "KestrelCore/Snapshot/RecordView.hpp"

#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "support/SampleSnapshots.hpp"
#include "support/ScannedSnapshots.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace KestrelCore {

namespace {

/// Every field beside the record's own answer.
void expectSame(const ScanSnapshot& snapshot) {
    ASSERT_GT(snapshot.records().size(), 0U);
    std::string path = "left over";
    for (std::size_t i = 0; i < snapshot.records().size(); ++i) {
        const FileRecord record = snapshot.records()[i];
        const RecordView view = RecordView::of(snapshot, i);
        RecordView::assignPath(snapshot, i, path);
        EXPECT_EQ(path, record.path().view());
        EXPECT_EQ(view.name, record.name().view());
        EXPECT_EQ(view.fileExtension, record.fileExtension().view());
        EXPECT_EQ(view.identity, record.identity());
        EXPECT_EQ(view.modifiedAt, record.modifiedAt());
        EXPECT_EQ(view.logicalBytes, record.logicalBytes());
        EXPECT_EQ(view.allocatedBytes, record.allocatedBytes());
        EXPECT_EQ(view.aggregateAllocatedBytes, record.aggregateAllocatedBytes());
        EXPECT_EQ(view.displayBytes, record.displayBytes());
        EXPECT_EQ(view.kind, record.kind());
        EXPECT_EQ(view.risk, record.risk());
        EXPECT_EQ(view.isHidden, record.isHidden());
        EXPECT_EQ(view.isCloudPlaceholder, record.isCloudPlaceholder());
        EXPECT_EQ(view.isHardLinkDuplicate, record.isHardLinkDuplicate());
    }
}

}  // namespace

TEST(RecordView, tellsWhatTheRecordDoes) {
    for (std::uint64_t seed = 1; seed <= 3; ++seed) {
        expectSame(asScanned(sampleSnapshot(300, seed)));
        expectSame(sampleSnapshot(300, seed));
    }
}

TEST(RecordView, tellsWhatTheRecordDoesOfOddPayloads) { expectSame(oddSnapshot(1)); }

}  // namespace KestrelCore
