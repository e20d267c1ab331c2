#include "KestrelCore/Exchange/SnapshotExport.hpp"

#include "KestrelCore/Exchange/SnapshotImport.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"

#include "fuzz/ImportInput.hpp"
#include "support/Records.hpp"
#include "support/SampleSnapshots.hpp"
#include "support/ScannedSnapshots.hpp"
#include "support/TemporaryFolder.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <set>
#include <string>
#include <vector>

namespace KestrelCore {

namespace {

using Fuzzing::writtenAs;
using testing::aRecord;
using testing::aSnapshot;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr FileIdentity shared{.device = 7, .inode = 99};

/// "/r" with a file of two names, of which the one that counts lies in "/r/a". In "/r/b" lie 1000 bytes more that the
/// scan did not list.
ScanSnapshot linked() {
    return aSnapshot(
        "/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory, .allocated = 0, .aggregate = 5096}),
               aRecord({.path = "/r/a", .kind = FileKind::directory, .allocated = 0, .aggregate = 4096}),
               aRecord({.path = "/r/a/x", .identity = shared}),
               aRecord({.path = "/r/b", .kind = FileKind::directory, .allocated = 0, .aggregate = 1000}),
               aRecord({.path = "/r/b/x", .aggregate = 0, .identity = shared, .isDuplicate = true})});
}

std::string written(const auto& scan, const Text& path, ExchangeFormat format) {
    std::string text;
    ExportOptions options;
    options.format = format;
    EXPECT_TRUE(exportFolder(
        scan, path, [&](std::string_view bytes) { text += bytes; }, options));
    return text;
}

/// What our own form holds of each record, in a line.
std::set<std::string> told(const ScanSnapshot& snapshot) {
    std::set<std::string> lines;
    for (const FileRecord& record : snapshot.records()) {
        const auto date = record.modifiedAt();
        lines.insert(fmt::format("{} {} {} {} {} {} {}{}{}", record.path().view(), rawValue(record.kind()),
                                 record.logicalBytes(), record.allocatedBytes(), record.displayBytes(),
                                 date ? date->rfc3339() : "", record.isHidden(), record.isCloudPlaceholder(),
                                 record.isHardLinkDuplicate()));
    }
    return lines;
}

std::int64_t totalOf(const std::string& text) {
    std::string refusal;
    const auto scan = Fuzzing::imported(text, 4096, refusal);
    EXPECT_TRUE(scan) << refusal;
    return scan ? scan->snapshot.totalAllocatedBytes() : -1;
}

}  // namespace

TEST(Export, writesOfAGenerationWhatItWritesOfItsSnapshot) {
    const TemporaryFolder folder;
    SnapshotHistory history{URL::fromPath(folder.path() + "/history.sqlite")};
    std::vector<ScanSnapshot> all{asScanned(sampleSnapshot(3000, 5))};
    for (std::uint64_t seed = 0; seed < 3; ++seed) all.push_back(changed(all.back(), seed));
    all.push_back(oddSnapshot(3));
    for (const ScanSnapshot& each : all) {
        const GenerationReader reader = history.open(history.add(each).number);
        const Text root = each.scope().root.path();
        for (const ExchangeFormat format : {ExchangeFormat::ncdu, ExchangeFormat::csv})
            EXPECT_TRUE(written(reader, root, format) == written(each, root, format)) << reader.generation().number;
    }
}

TEST(Export, comesBackFromOurOwnFormAsItWas) {
    // The first import makes sums of the sample that fit.
    std::string refusal;
    const auto first =
        Fuzzing::imported(writtenAs(asScanned(sampleSnapshot(2000, 8)), ExchangeFormat::lines), 4096, refusal);
    ASSERT_TRUE(first) << refusal;
    const auto second = Fuzzing::imported(writtenAs(first->snapshot, ExchangeFormat::lines), 4096, refusal);
    ASSERT_TRUE(second) << refusal;
    EXPECT_EQ(told(second->snapshot), told(first->snapshot));
    EXPECT_GT(first->snapshot.records().size(), 1900U);
    EXPECT_EQ(totalOf(writtenAs(first->snapshot, ExchangeFormat::ncdu)), first->snapshot.totalAllocatedBytes());
}

TEST(Export, tellsNcduOfLinksSoThatItsSumsAreOurs) {
    const ScanSnapshot snapshot = linked();
    const std::string whole = written(snapshot, "/r", ExchangeFormat::ncdu);
    EXPECT_THAT(whole, HasSubstr(R"({"name":"x","asize":10,"dsize":4096,"mtime":978308200,"ino":99,"hlnkc":true})"));
    EXPECT_THAT(whole, HasSubstr(R"([{"name":"b","asize":10,"dsize":1000)"));
    EXPECT_EQ(totalOf(whole), 5096);
    // Where the name that counts is not written, the other one takes nothing.
    const std::string part = written(snapshot, "/r/b", ExchangeFormat::ncdu);
    EXPECT_THAT(part, Not(HasSubstr("hlnkc")));
    EXPECT_EQ(totalOf(part), 1000);
    EXPECT_EQ(totalOf(written(snapshot, "/r/a", ExchangeFormat::ncdu)), 4096);
    EXPECT_EQ(totalOf(written(snapshot, "/r/b", ExchangeFormat::lines)), 1000);
}

TEST(Export, tellsNcduOfWhatCouldNotBeRead) {
    const ScanSnapshot snapshot = aSnapshot("/r",
                                            {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory}),
                                             aRecord({.path = "/r/half", .kind = FileKind::directory})},
                                            {{"/r/half", "Input/output error"}, {"/r/locked", "Permission denied"}});
    const std::string text = written(snapshot, "/r", ExchangeFormat::ncdu);
    EXPECT_THAT(text, HasSubstr(R"("read_error":true}],)"));
    EXPECT_THAT(text, HasSubstr(R"({"name":"locked","read_error":true})"));
    std::string refusal;
    EXPECT_EQ(Fuzzing::imported(text, 4096, refusal)->unread, 2);
}

TEST(Export, letsNoNameBecomeAFormula) {
    const ScanSnapshot snapshot =
        aSnapshot("/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory}),
                         aRecord({.path = "/r/=1+1"}), aRecord({.path = "/r/-a,\"b\"\n.txt"})});
    const std::string text = written(snapshot, "/r", ExchangeFormat::csv);
    EXPECT_THAT(text, HasSubstr("\r\n/r/=1+1,'=1+1,file,"));
    EXPECT_THAT(text, HasSubstr("\r\n\"/r/-a,\"\"b\"\"\n.txt\",\"'-a,\"\"b\"\"\n.txt\",file,txt,4096,10,4096,"));
}

TEST(Export, givesNothingForWhatIsNoFolder) {
    const ScanSnapshot snapshot = linked();
    for (const char* path : {"/r/a/x", "/s"}) EXPECT_FALSE(exportFolder(snapshot, path, [](std::string_view) {}));
    ExportOptions cancelled;
    cancelled.cancellation.cancel();
    EXPECT_FALSE(exportFolder(
        asScanned(sampleSnapshot(5000, 1)), "/home/someone", [](std::string_view) {}, cancelled));
}

}  // namespace KestrelCore
