#include "Platform/macOS/Walk/Portable/BulkAttributes.hpp"

#include "support/BulkRecordBytes.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <memory>

namespace KestrelCore {

namespace {

namespace Common = BulkAttributes::Common;
namespace File = BulkAttributes::File;

constexpr std::size_t commonMaskOffset = 4;
constexpr std::size_t nameOffset = 24;  // of the attribute, in a record without an error

MadeBulkRecord file() {
    return {.name = "Ärger.txt",
            .status = {.device = 0x01000004,
                       .inode = 0x0fff'ffff'0000'1234,
                       .links = 3,
                       .size = 5,
                       .allocatedBytes = 4096,
                       .modifiedSeconds = 1'700'000'000,
                       .modifiedNanoseconds = 123'456'789,
                       .type = FileType::regular}};
}

MadeBulkRecord folder() {
    MadeBulkRecord record = file();
    record.name = "Folder";
    record.status.type = FileType::directory;
    return record;
}

/// The length that was read, 0 for a record that was refused. Reads from memory of exactly that size, so that the
/// sanitizers see a read behind it. Names are copied, as that memory goes.
std::size_t readAlone(std::string_view bytes, BulkRecord* found = nullptr, std::string* name = nullptr) {
    const auto copy = std::make_unique<char[]>(bytes.size());
    bytes.copy(copy.get(), bytes.size());
    BulkRecord record;
    const std::size_t length = readBulkRecord({copy.get(), bytes.size()}, record);
    if (name != nullptr) *name = record.name;
    record.name = {};
    if (found != nullptr) *found = record;
    return length;
}

BulkRecord readRecord(const MadeBulkRecord& made, std::string* name = nullptr) {
    const std::string bytes = bulkRecordBytes(made);
    BulkRecord record;
    EXPECT_EQ(readAlone(bytes, &record, name), bytes.size());
    return record;
}

template <typename Value>
std::string changed(std::string bytes, std::size_t offset, Value value) {
    std::memcpy(bytes.data() + offset, &value, sizeof value);
    return bytes;
}

}  // namespace

TEST(BulkAttributes, giveWhatLstatWouldSay) {
    std::string name;
    BulkRecord record = readRecord(file(), &name);
    EXPECT_TRUE(record.isComplete);
    EXPECT_EQ(record.errorNumber, 0);
    EXPECT_EQ(name, "Ärger.txt");
    EXPECT_EQ(record.status, file().status);
    for (const FileType type : {FileType::directory, FileType::symbolicLink, FileType::fifo, FileType::socket,
                                FileType::characterDevice, FileType::blockDevice}) {
        MadeBulkRecord made = file();
        made.status.type = type;
        record = readRecord(made);
        EXPECT_TRUE(record.isComplete);
        EXPECT_EQ(record.status, made.status);
    }
}

TEST(BulkAttributes, giveFlagsAndWhatIsMounted) {
    MadeBulkRecord made = folder();
    made.flags = BulkAttributes::hiddenFlag | BulkAttributes::datalessFlag | BulkAttributes::firmlinkFlag;
    made.mountStatus = BulkAttributes::isMountPoint;
    BulkRecord record = readRecord(made);
    EXPECT_TRUE(record.status.isUserHidden && record.status.isDataless && record.isFirmlink && record.isMountPoint);
    EXPECT_FALSE(record.isTrigger);
    made.flags = 0;
    made.mountStatus = BulkAttributes::isTrigger;
    record = readRecord(made);
    EXPECT_FALSE(record.status.isUserHidden || record.status.isDataless || record.isFirmlink || record.isMountPoint);
    EXPECT_TRUE(record.isTrigger);
}

TEST(BulkAttributes, countAllocationInWholeBlocks) {
    MadeBulkRecord made = file();
    made.status.allocatedBytes = 513;
    EXPECT_EQ(readRecord(made).status.allocatedBytes, 1024);
}

TEST(BulkAttributes, takeSizesUnlessTheClaimIsAbsurd) {
    constexpr std::int64_t most = std::int64_t{1} << 50;
    struct Case {
        std::int64_t size;
        std::int64_t allocated;
        int errorNumber;
    };
    for (const Case& claim : {Case{std::numeric_limits<std::int64_t>::max(), most, 0}, Case{0, most + 1, EOVERFLOW},
                              Case{-1, 0, EOVERFLOW}, Case{0, std::numeric_limits<std::int64_t>::min(), EOVERFLOW}}) {
        for (MadeBulkRecord made : {file(), folder()}) {
            made.status.size = claim.size;
            made.status.allocatedBytes = claim.allocated;
            EXPECT_EQ(readRecord(made).errorNumber, claim.errorNumber) << claim.size << ", " << claim.allocated;
        }
    }
}

TEST(BulkAttributes, sayWhatCouldNotBeLookedAt) {
    MadeBulkRecord made{.name = "locked", .error = EACCES, .common = Common::returned | Common::name, .file = 0};
    std::string name;
    const BulkRecord record = readRecord(made, &name);
    EXPECT_EQ(record.errorNumber, EACCES);
    EXPECT_EQ(name, "locked");
    EXPECT_FALSE(record.isComplete || record.hasType);
}

TEST(BulkAttributes, areIncompleteWithoutAnythingThatIsNeeded) {
    for (const std::uint32_t attribute :
         {Common::device, Common::type, Common::modified, Common::flags, Common::inode}) {
        MadeBulkRecord made = file();
        made.common &= ~attribute;
        EXPECT_FALSE(readRecord(made).isComplete) << attribute;
    }
    for (const std::uint32_t attribute : {File::links, File::allocated, File::size | File::totalSize}) {
        MadeBulkRecord made = file();
        made.file &= ~attribute;
        EXPECT_FALSE(readRecord(made).isComplete) << attribute;
    }
    // One of the two sizes is enough, and folders need neither size nor links.
    MadeBulkRecord made = file();
    made.file &= ~File::size;
    EXPECT_TRUE(readRecord(made).isComplete);
    made = folder();
    made.directory = 0;
    EXPECT_TRUE(readRecord(made).isComplete);
}

TEST(BulkAttributes, areRefusedWhenTheyAreCutOff) {
    for (const MadeBulkRecord& made : {file(), folder()}) {
        const std::string bytes = bulkRecordBytes(made);
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            EXPECT_EQ(readAlone(std::string_view{bytes}.substr(0, length)), 0U) << length;
            // And when the length says that this is all there is of it.
            std::string shorter = bytes.substr(0, length);
            if (length < sizeof(std::uint32_t)) continue;
            shorter = changed(std::move(shorter), 0, static_cast<std::uint32_t>(length));
            const bool isOnlyPaddingGone = length % 4 == 0 && length >= bytes.find_last_not_of('\0') + 2;
            EXPECT_EQ(readAlone(shorter), isOnlyPaddingGone ? length : 0U) << length;
        }
    }
}

TEST(BulkAttributes, areRefusedWithLengthsThatAreNone) {
    const std::string bytes = bulkRecordBytes(file());
    for (const std::uint32_t length : {0U, 4U, 20U, static_cast<std::uint32_t>(bytes.size()) - 1,
                                       static_cast<std::uint32_t>(bytes.size()) + 4, 0x80000000U, 0xffffffffU}) {
        EXPECT_EQ(readAlone(changed(bytes, 0, length)), 0U) << length;
    }
}

TEST(BulkAttributes, areRefusedWithAttributesThatNobodyAskedFor) {
    for (const MadeBulkRecord& made : {file(), folder()}) {
        const std::string bytes = bulkRecordBytes(made);
        for (std::size_t group = 0; group < 5; ++group) {
            const std::size_t offset = commonMaskOffset + group * sizeof(std::uint32_t);
            std::uint32_t mask = 0;
            std::memcpy(&mask, bytes.data() + offset, sizeof mask);
            for (std::uint32_t bit = 1; bit != 0; bit <<= 1) {
                const bool isAsked = (group == 0 && (Common::all & bit) != 0) || (mask & bit) != 0;
                if (isAsked) continue;
                EXPECT_EQ(readAlone(changed(bytes, offset, mask | bit)), 0U) << group << ", " << bit;
            }
        }
    }
    // Every record has a name.
    MadeBulkRecord made = file();
    made.common &= ~Common::name;
    EXPECT_EQ(readAlone(bulkRecordBytes(made)), 0U);
}

TEST(BulkAttributes, areRefusedWithNamesThatAreNone) {
    for (const char* name : {"", ".", "..", "a/b", "/", "../outside"}) {
        MadeBulkRecord made = file();
        made.name = name;
        EXPECT_EQ(readAlone(bulkRecordBytes(made)), 0U) << name;
    }
    MadeBulkRecord made = file();
    made.name = std::string{"a\0b", 3};
    EXPECT_EQ(readAlone(bulkRecordBytes(made)), 0U);
    made.name = "...";
    EXPECT_NE(readAlone(bulkRecordBytes(made)), 0U);
}

TEST(BulkAttributes, areRefusedWithNamesOutsideOfTheRecord) {
    const std::string bytes = bulkRecordBytes(file());
    const auto size = static_cast<std::int32_t>(bytes.size());
    for (const std::int32_t offset : {-25, -1'000'000, size - 24, size, std::numeric_limits<std::int32_t>::max(),
                                      std::numeric_limits<std::int32_t>::min()}) {
        EXPECT_EQ(readAlone(changed(bytes, nameOffset, offset)), 0U) << offset;
    }
    for (const std::uint32_t length : {0U, 1U, 9U, 1000U, 0x80000000U, 0xffffffffU}) {
        EXPECT_EQ(readAlone(changed(bytes, nameOffset + 4, length)), 0U) << length;
    }
}

TEST(BulkAttributes, survivesAnyChangeOfAByte) {
    for (const MadeBulkRecord& made : {file(), folder()}) {
        const std::string bytes = bulkRecordBytes(made);
        for (std::size_t offset = 0; offset < bytes.size(); ++offset) {
            for (int value = 0; value < 256; ++value) {
                std::string name;
                BulkRecord record;
                const std::size_t length =
                    readAlone(changed(bytes, offset, static_cast<unsigned char>(value)), &record, &name);
                if (length == 0) continue;
                ASSERT_LE(length, bytes.size());
                ASSERT_FALSE(name.empty());
                ASSERT_EQ(name.find('/'), std::string::npos);
                ASSERT_GE(record.status.allocatedBytes, 0);
            }
        }
    }
}

TEST(BulkAttributes, standOneBehindTheOther) {
    const std::string first = bulkRecordBytes(file());
    const std::string second = bulkRecordBytes(folder());
    const std::string both = first + second + "rest";
    EXPECT_EQ(bulkRecordsExtent(both, 0), 0U);
    EXPECT_EQ(bulkRecordsExtent(both, 1), first.size());
    EXPECT_EQ(bulkRecordsExtent(both, 2), first.size() + second.size());
    EXPECT_EQ(bulkRecordsExtent(both, 3), std::nullopt);
    EXPECT_EQ(bulkRecordsExtent(std::string_view{both}.substr(0, both.size() - 5), 2), std::nullopt);
}

}  // namespace KestrelCore
