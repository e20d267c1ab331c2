#include "Snapshot/Coding/PlainRecordReader.hpp"

#include "KestrelCore/JSON/CodingErrors.hpp"
#include "Snapshot/Coding/SnapshotCoding.hpp"
#include "support/SampleSnapshots.hpp"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace KestrelCore {
namespace {

/// One plain record.
std::string aRecord(const std::string& parent = R"(\/r)", const std::string& path = R"(\/r\/a b.txt)",
                    const std::string& name = "a b.txt") {
    return R"({"id":"11111111-2222-3333-4444-555555555555","identity":{"device":5,"inode":18},"parentPath":")" +
           parent + R"(","path":")" + path + R"(","name":")" + name +
           R"(","kind":0,"logicalBytes":-12,"allocatedBytes":0,"aggregateAllocatedBytes":4096,"modifiedAt":1.25,)" +
           R"("fileExtension":"txt","isHidden":false,"isCloudPlaceholder":true,"isHardLinkDuplicate":false,"risk":3})";
}

PlainRecordReader::Progress read(const std::string& text) {
    RecordStorage storage;
    return PlainRecordReader{storage}.read(text);
}

TEST(PlainRecordReader, readsEveryField) {
    RecordStorage storage;
    const std::string text = aRecord();
    EXPECT_EQ(PlainRecordReader{storage}.read(text).bytes, text.size());
    ASSERT_EQ(storage.size(), 1U);
    const FileRecord expected{*UUID::parse("11111111-2222-3333-4444-555555555555"),
                              FileIdentity{.device = 5, .inode = 18},
                              Text{"/r"},
                              "/r/a b.txt",
                              "a b.txt",
                              FileKind::file,
                              -12,
                              0,
                              4096,
                              Date{1.25},
                              "txt",
                              false,
                              true,
                              false,
                              RiskLevel::blocked};
    EXPECT_EQ(storage.record(0), expected);
}

TEST(PlainRecordReader, stopsBehindTheLastWholeRecord) {
    const std::string record = aRecord();
    const std::string text = record + "," + record + "," + record.substr(0, record.size() - 1);
    const auto progress = read(text);
    EXPECT_EQ(progress.records, 2U);
    EXPECT_EQ(progress.bytes, 2 * record.size() + 1);
    EXPECT_EQ(read(record + "]").bytes, record.size());
    EXPECT_EQ(read(record + " ,").bytes, record.size());
}

TEST(PlainRecordReader, takesNoTruncatedRecord) {
    const std::string record = aRecord();
    for (std::size_t length = 0; length < record.size(); ++length) {
        EXPECT_EQ(read(record.substr(0, length)).bytes, 0U) << length;
    }
}

TEST(PlainRecordReader, leavesWhatIsSpelledOtherwiseToTheGeneralReader) {
    const std::string texts[]{
        aRecord("/", R"(/\/x)", "x"),                     // a path that is not the folder's and the name
        aRecord(R"(\/r)", R"(\/s\/x)", "x"),              // another folder in the path
        aRecord(R"(\/r)", R"(\/r\/x)", "y"),              // another name
        aRecord(R"(\/r)", R"(\/r\/x\"y)", R"(x\"y)"),     // an escape in the name
        aRecord(R"(\/r)", R"(\/r\/x/y)", "x/y"),          // a slash in the name
        aRecord(R"(\/r\u0020)", R"(\/r\u0020\/x)", "x"),  // an escape in the folder
        aRecord("r", R"(r\/x)", "x"),                     // a relative folder
        aRecord(R"(\/r)", "\\/r\\/x\ny", "x\ny"),         // a control character
        aRecord(R"(\/r)", "\\/r\\/x\xff", "x\xff"),       // no UTF-8
        aRecord("\\/r\xc3", "\\/r\xc3\\/x", "x"),         // no UTF-8 either
        " " + aRecord(),
    };
    for (const std::string& text : texts) EXPECT_EQ(read(text).bytes, 0U) << text;
}

/// The same text with a blank in each record, which keeps the reader of plain records from it.
std::string spelledOtherwise(std::string text) {
    const std::string begin = "{\"id\":";
    for (std::size_t at = text.find(begin); at != std::string::npos; at = text.find(begin, at + 2)) {
        text.insert(at + 1, " ");
    }
    return text;
}

std::string decoded(const std::string& text) {
    try {
        return contents(ScanSnapshot::decodingJSON(text));
    } catch (const DecodingError& error) {
        return std::string{"error: "} + error.what();
    }
}

TEST(PlainRecordReader, agreesWithTheGeneralReaderOnSampleSnapshots) {
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
        const std::string text = sampleSnapshot(1'000, seed).encodedJSON();
        ASSERT_TRUE(decoded(text) == text) << seed;
        ASSERT_TRUE(decoded(spelledOtherwise(text)) == text) << seed;
    }
}

TEST(PlainRecordReader, agreesWithTheGeneralReaderOnDamagedText) {
    std::mt19937_64 random{7};
    const std::string sound = sampleSnapshot(4, 99).encodedJSON();
    constexpr std::string_view replacements = "\"\\/{}[],:0123456789-+.eEtfn \t\n\x01\x7f\x80\xc3\xff";
    for (int round = 0; round < 5'000; ++round) {
        std::string text = sound;
        for (std::uint64_t changes = 1 + random() % 2; changes > 0; --changes) {
            const std::size_t at = random() % text.size();
            switch (random() % 3) {
            case 0: text[at] = replacements[random() % replacements.size()]; break;
            case 1: text.erase(at, 1 + random() % 3); break;
            default: text.insert(at, 1, replacements[random() % replacements.size()]); break;
            }
        }
        ASSERT_EQ(decoded(text), decoded(spelledOtherwise(text))) << text;
    }
}

TEST(SnapshotEncoder, countsExactlyTheBytesThatItWrites) {
    for (const std::size_t records : {1U, 2U, 777U, 60'000U}) {
        const ScanSnapshot snapshot = sampleSnapshot(records, records);
        std::size_t written = 0;
        encodeSnapshot(snapshot, [&](std::string_view piece) { written += piece.size(); });
        EXPECT_EQ(encodedLength(snapshot), written) << records;
    }
}

}  // namespace
}  // namespace KestrelCore
