#include "KestrelCore/Snapshot/ValueJSON.hpp"

#include "support/Records.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace KestrelCore {

using testing::aRecord;
using testing::aSnapshot;

namespace {

template <typename Value>
std::optional<DecodingError::Kind> refusal(const std::string& json) {
    try {
        (void)decodingJSON<Value>(json);
        return std::nullopt;
    } catch (const DecodingError& error) {
        return error.kind();
    }
}

FileRecord fullRecord() {
    return aRecord({.path = "/r/\"a\".app",
                    .kind = FileKind::package,
                    .logical = 1,
                    .allocated = 4096,
                    .aggregate = 10'000'000,
                    .modified = Date{-0.25},
                    .isHidden = true,
                    .isCloudPlaceholder = true,
                    .isDuplicate = true,
                    .risk = RiskLevel::blocked});
}

FileRecord bareRecord() {
    return aRecord({.path = "/", .isTop = true, .modified = std::nullopt, .identity = std::nullopt});
}

}  // namespace

TEST(ValueJSON, writesEachValueInItsOneForm) {
    EXPECT_EQ(encodedJSON(FileIdentity{.device = 1, .inode = std::numeric_limits<std::uint64_t>::max()}),
              R"({"device":1,"inode":18446744073709551615})");
    EXPECT_EQ(encodedJSON(FileKind::directory), "1");
    EXPECT_EQ(encodedJSON(RiskLevel::blocked), "3");
    EXPECT_EQ(encodedJSON(ScanIssue{"/a", "no\n"}), R"({"path":"\/a","message":"no\n"})");
    EXPECT_EQ(encodedJSON(ScanScope::stored(*URL::parse("file:///a/../b/"), "B", "")),
              R"({"root":"file:\/\/\/a\/..\/b\/","displayName":"B","volumeIdentifier":""})");
}

TEST(ValueJSON, writesARecordAsItStandsInASnapshot) {
    for (const FileRecord& record : {fullRecord(), bareRecord()}) {
        const std::string whole = aSnapshot("/r", {record}, {{"/i", "m"}}).encodedJSON();
        EXPECT_NE(whole.find("\"records\":[" + encodedJSON(record) + "]"), std::string::npos) << whole;
        EXPECT_NE(whole.find("\"issues\":[" + encodedJSON(ScanIssue{"/i", "m"}) + "]"), std::string::npos) << whole;
    }
    for (const char* key : {"identity", "parentPath", "modifiedAt"}) {
        EXPECT_EQ(encodedJSON(bareRecord()).find(key), std::string::npos) << key;
        EXPECT_NE(encodedJSON(fullRecord()).find(key), std::string::npos) << key;
    }
    EXPECT_THROW((void)encodedJSON(aRecord({.modified = Date{std::numeric_limits<double>::infinity()}})),
                 EncodingError);
}

TEST(ValueJSON, readsWhatItWrites) {
    const FileIdentity identity{.device = std::numeric_limits<std::uint64_t>::max(), .inode = 0};
    EXPECT_EQ(decodingJSON<FileIdentity>(encodedJSON(identity)), identity);
    for (const FileKind kind : allFileKinds) EXPECT_EQ(decodingJSON<FileKind>(encodedJSON(kind)), kind);
    for (int risk = 0; risk < 4; ++risk) {
        EXPECT_EQ(decodingJSON<RiskLevel>(std::to_string(risk)), fromRawValue<RiskLevel>(risk));
    }
    const ScanScope scope = ScanScope::stored(*URL::parse("file:///a/../b/"), "B", "c");
    EXPECT_EQ(decodingJSON<ScanScope>(encodedJSON(scope)), scope);
    EXPECT_EQ(decodingJSON<FileRecord>(encodedJSON(fullRecord())).name(), fullRecord().name());
    for (const FileRecord& record : {fullRecord(), bareRecord()}) {
        EXPECT_EQ(decodingJSON<FileRecord>(encodedJSON(record)), record);
    }
    const ScanIssue issue{"/\u00E9", "\"m\""};
    EXPECT_EQ(decodingJSON<ScanIssue>(encodedJSON(issue)), issue);
    EXPECT_EQ(decodingJSON<ScanIssue>(R"( {"extra":[{}],"message":"m","path":"p"} )"), (ScanIssue{"p", "m"}));
}

TEST(ValueJSON, refusesWhatIsNoSuchValue) {
    using Kind = DecodingError::Kind;
    EXPECT_EQ(refusal<FileIdentity>(R"({"device":1})"), Kind::keyNotFound);
    EXPECT_EQ(refusal<FileIdentity>(R"({"device":-1,"inode":1})"), Kind::dataCorrupted);
    EXPECT_EQ(refusal<FileIdentity>("null"), Kind::valueNotFound);
    EXPECT_EQ(refusal<FileIdentity>("[1,2]"), Kind::typeMismatch);
    EXPECT_EQ(refusal<FileIdentity>(R"({"device":1,"inode":2} x)"), Kind::dataCorrupted);
    EXPECT_EQ(refusal<FileKind>("5"), Kind::dataCorrupted);
    EXPECT_EQ(refusal<FileKind>("\"1\""), Kind::typeMismatch);
    EXPECT_EQ(refusal<FileKind>("1,2"), Kind::dataCorrupted);
    EXPECT_EQ(refusal<FileKind>("1] "), Kind::dataCorrupted);
    EXPECT_EQ(refusal<FileKind>(""), Kind::dataCorrupted);
    EXPECT_EQ(refusal<RiskLevel>("4"), Kind::dataCorrupted);
    EXPECT_EQ(refusal<RiskLevel>("null"), Kind::valueNotFound);
    EXPECT_EQ(refusal<ScanScope>(R"({"root":"file:///","displayName":""})"), Kind::keyNotFound);
    EXPECT_EQ(refusal<ScanScope>(R"({"root":1,"displayName":"","volumeIdentifier":""})"), Kind::typeMismatch);
    EXPECT_EQ(refusal<ScanIssue>(R"({"path":"p","message":null})"), Kind::valueNotFound);
    std::string record = encodedJSON(fullRecord());
    const std::size_t risk = record.find(",\"risk\":3");
    EXPECT_EQ(refusal<FileRecord>(record.substr(0, risk) + "}"), Kind::keyNotFound);
    EXPECT_EQ(refusal<FileRecord>(record.substr(0, risk) + ",\"risk\":4}"), Kind::dataCorrupted);
    EXPECT_EQ(refusal<FileRecord>(record.substr(0, risk)), Kind::dataCorrupted);
}

}  // namespace KestrelCore
