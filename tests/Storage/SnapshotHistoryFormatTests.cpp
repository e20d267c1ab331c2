#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"
#include "support/Records.hpp"
#include "support/ScannedSnapshots.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace KestrelCore {

namespace {

using testing::aRecord;
using testing::aSnapshot;

class SnapshotHistoryFormatTest : public ::testing::Test {
protected:
    [[nodiscard]] std::string file() const { return folder_.path() + "/history.sqlite"; }
    [[nodiscard]] URL url() const { return URL::fromPath(file()); }

    void run(const char* statement) const {
        sqlite3* handle = nullptr;
        ASSERT_EQ(sqlite3_open(file().c_str(), &handle), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(handle, statement, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(handle);
        sqlite3_close(handle);
    }
    [[nodiscard]] std::string bytes() const {
        std::ifstream in{file(), std::ios::binary};
        return {std::istreambuf_iterator<char>{in}, {}};
    }

private:
    TemporaryFolder folder_;
};

ScanSnapshot aScan() {
    return asScanned(aSnapshot("/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory}),
                                      aRecord({.path = "/r/file"}), aRecord({.path = "/r/other"})}),
                     Date{1});
}

std::vector<std::string> pathsOf(const ScanSnapshot& snapshot) {
    std::vector<std::string> paths;
    for (const FileRecord& record : snapshot.records()) paths.push_back(record.path().string());
    return paths;
}

}  // namespace

TEST_F(SnapshotHistoryFormatTest, keepsHowAGenerationWasMade) {
    SnapshotHistory history{url()};
    const std::vector<Text> leftOut{"node_modules", "/r/\"quoted\"\n", "caf\u00e9"};
    const GenerationSource source{.name = Text{"server.json.gz"}, .host = Text{"server"}};
    const auto added = history.add(aScan(), {.origin = GenerationOrigin::import,
                                             .isComplete = false,
                                             .leftOut = leftOut,
                                             .crossesMounts = true,
                                             .source = source});
    (void)history.add(aScan());
    const auto removal = history.removing(2, {"/r/file"});
    ASSERT_TRUE(removal);
    EXPECT_TRUE(removal->leftOut.empty());

    const auto kept = history.generation(added.number);
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->origin, GenerationOrigin::import);
    EXPECT_FALSE(kept->isComplete);
    EXPECT_EQ(kept->leftOut, leftOut);
    EXPECT_TRUE(kept->crossesMounts);
    EXPECT_EQ(kept->source, source);
    const auto plain = history.generation(2);
    ASSERT_TRUE(plain);
    EXPECT_FALSE(plain->crossesMounts);
    EXPECT_EQ(plain->source, GenerationSource{});

    // What is made from it was made so, too.
    (void)history.add(aScan(), {.leftOut = leftOut});
    const auto rest = history.removing(4, {"/r/file"});
    ASSERT_TRUE(rest);
    EXPECT_EQ(rest->leftOut, leftOut);
}

TEST_F(SnapshotHistoryFormatTest, tellsWhenWhatWasLeftOutHasBeenChanged) {
    SnapshotHistory history{url()};
    (void)history.add(aScan(), {.leftOut = {"secret"}});
    run("UPDATE generations SET provenance = '';");
    EXPECT_THROW((void)history.generations(), KestrelError);
}

TEST_F(SnapshotHistoryFormatTest, readsAFileOfFormatOneAndBringsItUpToDateWithTheFirstChange) {
    std::filesystem::copy_file(KESTREL_TEST_DATA "/history/format1.sqlite", file());
    std::filesystem::permissions(file(), std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    const std::string before = bytes();
    SnapshotHistory history{url()};
    const auto holdsBoth = [&] {
        EXPECT_TRUE(history.check().empty());
        EXPECT_EQ(pathsOf(history.load(1)),
                  (std::vector<std::string>{"/mnt/photos", "/mnt/photos/2023", "/mnt/photos/2023/lake.jpg",
                                            "/mnt/photos/2024", "/mnt/photos/2024/sea.jpg"}));
        EXPECT_EQ(history.load(2).records().size(), 6U);
        const auto first = history.generation(1);
        ASSERT_TRUE(first);
        EXPECT_EQ(first->totalAllocatedBytes, 20'480);
        EXPECT_TRUE(first->leftOut.empty());
        EXPECT_EQ(first->source, GenerationSource{});
    };
    holdsBoth();
    EXPECT_EQ(bytes(), before);

    const auto third = history.add(history.load(2), {.leftOut = {"*.png"}});
    EXPECT_EQ(third.number, 3);
    holdsBoth();
    const auto kept = history.generation(3);
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->leftOut, std::vector<Text>{"*.png"});
    EXPECT_EQ(bytes()[63], 2);  // where SQLite keeps the number of the format
}

}  // namespace KestrelCore
