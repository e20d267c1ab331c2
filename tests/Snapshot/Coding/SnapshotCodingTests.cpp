#include "Snapshot/Coding/SnapshotCoding.hpp"

#include "support/Records.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace KestrelCore {

using testing::aRecord;
using testing::aSnapshot;

namespace {

constexpr const char* missingText = "The data couldn’t be read because it is missing.";
constexpr const char* formatText = "The data couldn’t be read because it isn’t in the correct format.";

std::string errorOf(const std::string& json) {
    try {
        (void)ScanSnapshot::decodingJSON(json);
        return "decoded";
    } catch (const DecodingError& error) {
        return error.what();
    }
}

std::string replaced(std::string text, const std::string& what, const std::string& with) {
    const std::size_t at = text.find(what);
    EXPECT_NE(at, std::string::npos) << what;
    return text.replace(at, what.size(), with);
}

}  // namespace

TEST(SnapshotCoding, writesKeysInTheOrderOfDeclarationAndLeavesAbsentOnesOut) {
    const UUID id = *UUID::parse("00000000-0000-0000-0000-00000000000A");
    const ScanSnapshot snapshot{
        *UUID::parse("3F2504E0-4F89-11D3-9A0C-0305E82C3301"),
        ScanScope{URL::fromPath("/r", true)},
        Date{700000000.125},
        Date{700000001},
        std::vector{aRecord({.path = "/r",
                             .isTop = true,
                             .kind = FileKind::directory,
                             .modified = std::nullopt,
                             .identity = std::nullopt,
                             .id = id}),
                    aRecord({.path = "/r/\"a\".Txt", .modified = Date{1.5}, .risk = RiskLevel::blocked, .id = id})},
        {{"/r/x", "No"}}};
    EXPECT_EQ(
        snapshot.encodedJSON(),
        R"({"id":"3F2504E0-4F89-11D3-9A0C-0305E82C3301","scope":{"root":"file:\/\/\/r\/","displayName":"r","volumeIdentifier":"\/r"},)"
        R"("startedAt":700000000.125,"completedAt":700000001,"records":[)"
        R"({"id":"00000000-0000-0000-0000-00000000000A","path":"\/r","name":"r","kind":1,"logicalBytes":10,"allocatedBytes":4096,)"
        R"("aggregateAllocatedBytes":4096,"fileExtension":"","isHidden":false,"isCloudPlaceholder":false,"isHardLinkDuplicate":false,"risk":0},)"
        R"({"id":"00000000-0000-0000-0000-00000000000A","identity":{"device":7,"inode":8},"parentPath":"\/r","path":"\/r\/\"a\".Txt","name":"\"a\".Txt",)"
        R"("kind":0,"logicalBytes":10,"allocatedBytes":4096,"aggregateAllocatedBytes":4096,"modifiedAt":1.5,"fileExtension":"txt",)"
        R"("isHidden":false,"isCloudPlaceholder":false,"isHardLinkDuplicate":false,"risk":3}],"issues":[{"path":"\/r\/x","message":"No"}]})");
}

TEST(SnapshotCoding, readsBackWhatItWrote) {
    const ScanSnapshot snapshot = aSnapshot(
        "/r",
        {aRecord({.path = "/r",
                  .isTop = true,
                  .kind = FileKind::directory,
                  .modified = std::nullopt,
                  .identity = std::nullopt}),
         aRecord({.path = "/r/a", .kind = FileKind::directory, .aggregate = 7}),
         aRecord({.path = "/r/a/\u00E9\n\U0001F600"}),
         aRecord({.path = "/r/odd", .parent = Text{"elsewhere"}, .logical = std::numeric_limits<std::int64_t>::min()}),
         aRecord({.path = "/x", .identity = FileIdentity{std::numeric_limits<std::uint64_t>::max(), 0}})},
        {{"/r/x", "Permission denied"}});
    const ScanSnapshot reread = ScanSnapshot::decodingJSON(snapshot.encodedJSON());
    EXPECT_EQ(reread, snapshot);
    EXPECT_EQ(reread.scope(), snapshot.scope());
    EXPECT_EQ(reread.issues(), snapshot.issues());
    ASSERT_EQ(reread.records().size(), snapshot.records().size());
    for (std::size_t i = 0; i < snapshot.records().size(); ++i) EXPECT_EQ(reread.records()[i], snapshot.records()[i]);
    EXPECT_EQ(reread.children(Text{"/r"}), snapshot.children(Text{"/r"}));
    EXPECT_EQ(reread.children(), snapshot.children());
}

TEST(SnapshotCoding, readsTheTextInPiecesOfAnySize) {
    const ScanSnapshot snapshot =
        aSnapshot("/r", {aRecord({.path = "/r", .isTop = true}), aRecord({.path = "/r/\\\"\u00E9"})}, {{"/r", "m"}});
    const std::string json = snapshot.encodedJSON();
    for (const std::size_t size : {std::size_t{1}, std::size_t{2}, std::size_t{7}, json.size()}) {
        SnapshotDecoder decoder;
        for (std::size_t at = 0; at < json.size(); at += size) decoder.feed(std::string_view{json}.substr(at, size));
        const ScanSnapshot reread = decoder.finish();
        EXPECT_EQ(reread.records()[1], snapshot.records()[1]) << size;
        EXPECT_EQ(reread.issues(), snapshot.issues()) << size;
    }
}

TEST(SnapshotCoding, refusesTheSameTextForTheSameReasonHoweverItIsCut) {
    const std::pair<std::string, DecodingError::Kind> cases[] = {
        {"null", DecodingError::Kind::valueNotFound},  {" null\n", DecodingError::Kind::valueNotFound},
        {"nul", DecodingError::Kind::typeMismatch},    {"nulls", DecodingError::Kind::typeMismatch},
        {"[null]", DecodingError::Kind::typeMismatch}, {"1", DecodingError::Kind::typeMismatch}};
    for (const auto& [json, kind] : cases) {
        for (std::size_t cut = 0; cut <= json.size(); ++cut) {
            try {
                SnapshotDecoder decoder;
                decoder.feed(std::string_view{json}.substr(0, cut));
                decoder.feed(std::string_view{json}.substr(cut));
                (void)decoder.finish();
                FAIL() << json;
            } catch (const DecodingError& error) {
                EXPECT_EQ(error.kind(), kind) << json << " cut at " << cut;
            }
        }
    }
}

TEST(SnapshotCoding, readsManyWindowsOfRecords) {
    std::vector<FileRecord> records;
    for (int i = 0; i < 10'000; ++i) {
        records.push_back(
            aRecord({.path = Text{"/r/folder " + std::to_string(i % 37) + "/item " + std::to_string(i)}}));
    }
    const ScanSnapshot snapshot = aSnapshot("/r", records);
    const ScanSnapshot reread = ScanSnapshot::decodingJSON(snapshot.encodedJSON());
    ASSERT_EQ(reread.records().size(), records.size());
    for (std::size_t i = 0; i < records.size(); i += 97) EXPECT_EQ(reread.records()[i], records[i]);
}

TEST(SnapshotCoding, refusesEveryTruncation) {
    const std::string json = aSnapshot("/r", {aRecord({})}, {{"/r", "m"}}).encodedJSON();
    for (std::size_t size = 0; size < json.size(); ++size) EXPECT_EQ(errorOf(json.substr(0, size)), formatText) << size;
    EXPECT_EQ(errorOf(json), "decoded");
    EXPECT_EQ(errorOf(json + "x"), formatText);
}

TEST(SnapshotCoding, needsEveryKeyThatIsNotOptional) {
    const std::string json = aSnapshot("/r", {aRecord({})}).encodedJSON();
    for (const char* key : {"id",
                            "scope",
                            "root",
                            "displayName",
                            "volumeIdentifier",
                            "startedAt",
                            "completedAt",
                            "records",
                            "issues",
                            "path",
                            "name",
                            "kind",
                            "logicalBytes",
                            "allocatedBytes",
                            "aggregateAllocatedBytes",
                            "fileExtension",
                            "isHidden",
                            "isCloudPlaceholder",
                            "isHardLinkDuplicate",
                            "risk",
                            "device",
                            "inode"}) {
        const std::string quoted = "\"" + std::string{key} + "\":";
        EXPECT_EQ(errorOf(replaced(json, quoted, "\"unknown\":")), missingText) << key;
    }
    for (const char* key : {"identity", "parentPath", "modifiedAt"}) {
        const std::string quoted = "\"" + std::string{key} + "\":";
        EXPECT_EQ(errorOf(replaced(json, quoted, "\"unknown\":")), "decoded") << key;
    }
}

TEST(SnapshotCoding, limitsNestingBeforeItCosts) {
    const std::string json = aSnapshot("/r", {}).encodedJSON();
    const auto nested = [&](std::size_t depth) {
        return replaced(json, "{\"id\"", "{\"more\":" + std::string(depth, '[') + std::string(depth, ']') + ",\"id\"");
    };
    EXPECT_EQ(errorOf(nested(511)), "decoded");
    EXPECT_EQ(errorOf(nested(512)), formatText);
    EXPECT_EQ(errorOf(nested(1'000'000)), formatText);
    EXPECT_EQ(errorOf(std::string(1'000'000, '{')), formatText);
}

TEST(SnapshotCoding, cannotWriteADateThatIsNoNumber) {
    for (const double date : {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
        const ScanSnapshot snapshot = aSnapshot("/r", {aRecord({.modified = Date{date}})});
        EXPECT_THROW((void)snapshot.encodedJSON(), EncodingError);
    }
}

}  // namespace KestrelCore
