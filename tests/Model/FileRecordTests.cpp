#include "KestrelCore/Model/FileRecord.hpp"

#include "KestrelCore/Model/KestrelError.hpp"
#include "support/Records.hpp"

#include <gtest/gtest.h>

namespace KestrelCore {

using testing::aRecord;

TEST(FileRecord, showsTheAggregateSizeOfAContainerAndTheOwnSizeOfAnythingElse) {
    for (const FileKind kind : allFileKinds) {
        const FileRecord record = aRecord({.kind = kind, .allocated = 4096, .aggregate = 10'000'000});
        const bool isContainer = kind == FileKind::directory || kind == FileKind::package;
        EXPECT_EQ(record.isContainer(), isContainer) << rawValue(kind);
        EXPECT_EQ(record.displayBytes(), isContainer ? 10'000'000 : 4096) << rawValue(kind);
    }
}

TEST(FileRecord, makesItsURLFromThePathAndParsesNothing) {
    EXPECT_EQ(aRecord({.path = "/r/50%20 off"}).url().absoluteString(), Text{"file:///r/50%2520%20off"});
}

TEST(FileRecord, isUnequalToOneWithAnotherIdentifier) {
    const FileRecord record = aRecord({});
    const FileRecord other = aRecord({});
    EXPECT_NE(record, other);
    EXPECT_NE(std::hash<FileRecord>{}(record), std::hash<FileRecord>{}(other));
    const FileRecord same = aRecord({.id = record.id()});
    EXPECT_EQ(record, same);
    EXPECT_EQ(std::hash<FileRecord>{}(record), std::hash<FileRecord>{}(same));
}

TEST(FileRecord, comparesEveryField) {
    const UUID id = UUID::random();
    const FileRecord record = aRecord({.id = id});
    EXPECT_NE(record, aRecord({.path = "/r/b", .id = id}));
    EXPECT_NE(record, aRecord({.isTop = true, .id = id}));
    EXPECT_NE(record, aRecord({.kind = FileKind::other, .id = id}));
    EXPECT_NE(record, aRecord({.logical = 11, .id = id}));
    EXPECT_NE(record, aRecord({.allocated = 1, .id = id}));
    EXPECT_NE(record, aRecord({.aggregate = 1, .id = id}));
    EXPECT_NE(record, aRecord({.modified = std::nullopt, .id = id}));
    EXPECT_NE(record, aRecord({.identity = std::nullopt, .id = id}));
    EXPECT_NE(record, aRecord({.isHidden = true, .id = id}));
    EXPECT_NE(record, aRecord({.isCloudPlaceholder = true, .id = id}));
    EXPECT_NE(record, aRecord({.isDuplicate = true, .id = id}));
    EXPECT_NE(record, aRecord({.risk = RiskLevel::high, .id = id}));
}

TEST(FileRecord, isTheSameByNamesAndByPositions) {
    const FileRecord named{{.id = *UUID::parse("00000000-0000-0000-0000-00000000000A"),
                            .identity = FileIdentity{.device = 1, .inode = 2},
                            .parentPath = "/r",
                            .path = "/r/a.app",
                            .name = "a.app",
                            .kind = FileKind::package,
                            .logicalBytes = 3,
                            .allocatedBytes = 4,
                            .aggregateAllocatedBytes = 5,
                            .modifiedAt = Date{6},
                            .fileExtension = "app",
                            .isHidden = true,
                            .isCloudPlaceholder = false,
                            .isHardLinkDuplicate = true,
                            .risk = RiskLevel::high}};
    const FileRecord placed{*UUID::parse("00000000-0000-0000-0000-00000000000A"),
                            FileIdentity{.device = 1, .inode = 2},
                            "/r",
                            "/r/a.app",
                            "a.app",
                            FileKind::package,
                            3,
                            4,
                            5,
                            Date{6},
                            "app",
                            true,
                            false,
                            true,
                            RiskLevel::high};
    EXPECT_EQ(named, placed);
    EXPECT_TRUE(named.isHidden());
    EXPECT_FALSE(named.isCloudPlaceholder());
    EXPECT_EQ(named.allocatedBytes(), 4);
}

TEST(FileRecord, isAnEmptyFileInAllThatIsNotNamed) {
    const FileRecord record{{.path = "/r/a", .name = "a"}};
    EXPECT_EQ(record.id(), UUID{});
    EXPECT_EQ(record.identity(), std::nullopt);
    EXPECT_EQ(record.parentPath(), std::nullopt);
    EXPECT_EQ(record.modifiedAt(), std::nullopt);
    EXPECT_TRUE(record.fileExtension().isEmpty());
    EXPECT_EQ(record.kind(), FileKind::file);
    EXPECT_EQ(record.risk(), RiskLevel::normal);
    EXPECT_EQ(record.displayBytes(), 0);
}

/// Whether an enumeration has raw values of that type.
template <typename Enumeration, typename Raw>
concept HasRawValues = requires(Raw raw) { fromRawValue<Enumeration>(raw); };

TEST(RawValue, doesNotCompileOfAnotherTypeThanTheEnumerations) {
    EXPECT_TRUE((HasRawValues<FileKind, std::int64_t>));
    EXPECT_FALSE((HasRawValues<FileKind, std::string_view>));
    EXPECT_TRUE((HasRawValues<RiskLevel, std::int64_t>));
    EXPECT_FALSE((HasRawValues<KestrelError::Case, std::int64_t>));
}

TEST(FileKind, hasNoCaseOutsideItsRawValues) {
    EXPECT_FALSE(fromRawValue<FileKind>(5).has_value());
    EXPECT_FALSE(fromRawValue<FileKind>(-1).has_value());
    for (const FileKind kind : allFileKinds) EXPECT_EQ(fromRawValue<FileKind>(rawValue(kind)), kind);
    EXPECT_EQ(rawValue(FileKind::file), 0);
    EXPECT_EQ(rawValue(FileKind::other), 4);
}

TEST(RiskLevel, isOrderedByRawValue) {
    EXPECT_FALSE(fromRawValue<RiskLevel>(4).has_value());
    EXPECT_FALSE(fromRawValue<RiskLevel>(-1).has_value());
    EXPECT_LT(RiskLevel::normal, RiskLevel::caution);
    EXPECT_LT(RiskLevel::caution, RiskLevel::high);
    EXPECT_LT(RiskLevel::high, RiskLevel::blocked);
    EXPECT_EQ(fromRawValue<RiskLevel>(3), RiskLevel::blocked);
}

TEST(KestrelError, hasItsMessageAsItsDescription) {
    const KestrelError stale =
        KestrelError::staleItem("The item changed since the scan. Scan again before deleting it.");
    EXPECT_EQ(stale.errorDescription(), Text{"The item changed since the scan. Scan again before deleting it."});
    EXPECT_STREQ(stale.what(), "The item changed since the scan. Scan again before deleting it.");
    EXPECT_EQ(stale.code(), 3);
    EXPECT_TRUE(KestrelError::unavailable("").errorDescription().isEmpty());
    EXPECT_EQ(KestrelError::unavailable("").code(), 0);
    EXPECT_EQ(KestrelError::accessDenied("").code(), 1);
    EXPECT_EQ(KestrelError::safetyViolation("").code(), 2);
}

}  // namespace KestrelCore
