#include "KestrelCore/Deletion/TrashReceipts.hpp"

#include "Deletion/TrashReceiptText.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "support/DiskRecord.hpp"
#include "support/EnvironmentSetting.hpp"
#include "support/SupervisedCalls.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sys/syscall.h>

namespace KestrelCore {

namespace fs = std::filesystem;

namespace {

class TrashReceiptsTest : public testing::Test {
protected:
    std::string file(const std::string& name) const { return folder.makeFile(name, "content"); }
    std::vector<DeletionItemResult> trash(std::vector<FileRecord> records) {
        return receipts.execute(coordinator, {std::move(records), DeletionMode::trash, std::nullopt});
    }

    TemporaryFolder folder;
    EnvironmentSetting dataHome{"XDG_DATA_HOME", (folder / "data").c_str()};
    TrashReceipts receipts{folder.path() + "/receipts"};
    DeletionCoordinator coordinator{FileManager::standard()};
};

TrashReceipt aReceipt() {
    return {.id = UUID::random(),
            .path = "/home/anna/old \u00e9%\n",
            .resultingPath = Text{"/t/files/old"},
            .trashedAt = Date{816948000.25},
            .identity = {64768, 18446744073709551615U},
            .fileTypeBits = 16384};
}

}  // namespace

TEST_F(TrashReceiptsTest, putsTrashedItemsBack) {
    const std::string first = file("first one");
    const std::string second = file("second");
    const auto results = trash({diskRecord(first), diskRecord(folder.path() + "/missing"), diskRecord(second)});
    ASSERT_EQ(results.size(), 3U);
    EXPECT_TRUE(results[0].succeeded) << results[0].message.string();
    EXPECT_FALSE(results[1].succeeded);
    EXPECT_TRUE(results[2].succeeded);

    const auto kept = receipts.receipts();
    ASSERT_EQ(kept.size(), 2U);
    EXPECT_EQ(kept[0].path, Text{second});  // newest first
    EXPECT_EQ(kept[1].resultingPath, results[0].resultingPath);
    EXPECT_EQ(TrashReceipts::presentPlace(kept[1]), results[0].resultingPath);

    const DeletionItemResult restored = receipts.restore(kept[1]);
    EXPECT_TRUE(restored.succeeded) << restored.message.string();
    EXPECT_EQ(restored.message, Text{"Restored from Trash."});
    EXPECT_TRUE(fs::exists(first));
    EXPECT_EQ(receipts.receipts().size(), 1U);
}

TEST_F(TrashReceiptsTest, neverOverwrites) {
    const std::string path = file("a");
    ASSERT_TRUE(trash({diskRecord(path)})[0].succeeded);
    std::ofstream{path} << "a new one";
    const DeletionItemResult result = receipts.restore(receipts.receipts().at(0));
    EXPECT_FALSE(result.succeeded);
    EXPECT_EQ(fs::file_size(path), 9U);
    EXPECT_EQ(receipts.receipts().size(), 1U);
    EXPECT_TRUE(TrashReceipts::presentPlace(receipts.receipts()[0]));
}

TEST_F(TrashReceiptsTest, restoresUnderAnotherNameInTheSameFolder) {
    const std::string path = file("a");
    ASSERT_TRUE(trash({diskRecord(path)})[0].succeeded);
    const TrashReceipt receipt = receipts.receipts().at(0);
    for (const char* name : {"", ".", "..", "sub/b", "../b", "/b"}) {
        EXPECT_FALSE(receipts.restore(receipt, Text{name}).succeeded) << name;
    }
    EXPECT_FALSE(receipts.restore(receipt, Text{std::string_view{"b\0c", 3}}).succeeded);
    file("taken");
    EXPECT_FALSE(receipts.restore(receipt, "taken").succeeded);
    const DeletionItemResult restored = receipts.restore(receipt, "b");
    EXPECT_TRUE(restored.succeeded) << restored.message.string();
    EXPECT_EQ(restored.resultingPath, Text{folder / "b"});
    EXPECT_TRUE(fs::exists(folder / "b"));
    EXPECT_FALSE(fs::exists(path));
    EXPECT_TRUE(receipts.receipts().empty());
}

TEST_F(TrashReceiptsTest, shareTheirRequest) {
    (void)trash({diskRecord(file("a")), diskRecord(file("b"))});
    (void)trash({diskRecord(file("c"))});
    const auto kept = receipts.receipts();
    ASSERT_EQ(kept.size(), 3U);
    EXPECT_TRUE(kept[0].request.has_value());
    EXPECT_EQ(kept[1].request, kept[2].request);
    EXPECT_NE(kept[0].request, kept[1].request);
}

TEST_F(TrashReceiptsTest, findsAnItemWhoseMoveWasInterrupted) {
    const std::string path = file("a");
    const auto results = trash({diskRecord(path)});
    TrashReceipt receipt = receipts.receipts().at(0);
    receipt.resultingPath = std::nullopt;  // as it was written before the move
    EXPECT_EQ(TrashReceipts::presentPlace(receipt), results[0].resultingPath);
    EXPECT_TRUE(receipts.restore(receipt).succeeded);
    EXPECT_TRUE(fs::exists(path));
}

TEST_F(TrashReceiptsTest, touchesNothingWhenAReceiptCannotBeWritten) {
    const std::string path = file("a");
    file("receipts");  // a file where the folder should be
    const auto results = trash({diskRecord(path)});
    EXPECT_FALSE(results[0].succeeded);
    EXPECT_TRUE(fs::exists(path));
}

TEST_F(TrashReceiptsTest, areWrittenTogetherBeforeTheFirstMove) {
    folder.makeFolder("receipts");  // a new one is synced into its parent, once
    std::vector<FileRecord> records;
    for (int i = 0; i < 20; ++i) records.push_back(diskRecord(file(std::to_string(i))));
    int syncs = 0;
    std::optional<std::size_t> atFirstMove;
    const bool isSupervised = runSupervised(
        {SYS_fsync, SYS_syncfs, SYS_renameat2}, [&] { (void)trash(records); },
        [&](const SystemCall& call) -> std::optional<int> {
            if (call.number != SYS_renameat2) {
                ++syncs;
            } else if (!atFirstMove) {
                atFirstMove = receipts.receipts().size();
            }
            return std::nullopt;
        });
    if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
    EXPECT_EQ(atFirstMove, 20U);
    EXPECT_LE(syncs, 20 + 4);  // the trash's own files are synced one by one
    for (const TrashReceipt& receipt : receipts.receipts()) EXPECT_TRUE(receipt.resultingPath);
}

TEST_F(TrashReceiptsTest, goWithTheItemsThatACancellationLeaves) {
    const std::vector<FileRecord> records{diskRecord(file("a")), diskRecord(file("b")), diskRecord(file("c"))};
    CancellationToken cancellation;
    const auto results = receipts.execute(
        coordinator, {records, DeletionMode::trash, std::nullopt},
        [&](const DeletionItemResult&) {
            cancellation.cancel();
            return true;
        },
        cancellation);
    ASSERT_EQ(results.size(), 1U);
    EXPECT_TRUE(results[0].succeeded);
    ASSERT_EQ(receipts.receipts().size(), 1U);
    EXPECT_EQ(receipts.receipts()[0].path, Text{folder / "a"});
    EXPECT_TRUE(fs::exists(folder / "c"));
}

TEST_F(TrashReceiptsTest, touchNothingWithoutRandomNumbers) {
    const std::string path = file("a");
    const FileRecord record = diskRecord(path);
    std::vector<DeletionItemResult> results;
    const bool isSupervised = runSupervised(
        {SYS_getrandom}, [&] { results = trash({record}); }, [](const SystemCall&) { return EIO; });
    if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
    ASSERT_EQ(results.size(), 1U);
    EXPECT_FALSE(results[0].succeeded);
    EXPECT_EQ(results[0].message, Text{"Input/output error"});
    EXPECT_TRUE(fs::exists(path));
}

TEST_F(TrashReceiptsTest, restoresNothingThatTheSafetyPolicyRefuses) {
    TrashReceipt receipt = aReceipt();
    receipt.path = "/System/x";
    EXPECT_EQ(receipts.restore(receipt).message,
              Text{"This location is managed by Linux and is view-only in Kestrel."});
    receipt.path = folder.path() + "/x";
    EXPECT_EQ(receipts.restore(receipt).message, Text{"The item is no longer in the Trash."});
}

TEST_F(TrashReceiptsTest, skipsFilesThatAreNoReceipts) {
    ASSERT_TRUE(trash({diskRecord(file("a"))})[0].succeeded);
    const std::string place = folder.path() + "/receipts/";
    std::ofstream{place + "note.txt"} << "x";
    std::ofstream{place + UUID::random().uuidString() + ".receipt"} << "x";
    std::ofstream{place + UUID::random().uuidString() + ".receipt"} << std::string(100'000, 'x');
    fs::create_symlink("/dev/zero", place + UUID::random().uuidString() + ".receipt");
    fs::create_directory(place + UUID::random().uuidString() + ".receipt");
    EXPECT_EQ(receipts.receipts().size(), 1U);
}

TEST(TrashReceipt, readsWhatItWrites) {
    TrashReceipt receipt = aReceipt();
    EXPECT_EQ(trashReceipt(receipt.id, receiptText(receipt)), receipt);
    receipt.resultingPath = std::nullopt;
    EXPECT_EQ(trashReceipt(receipt.id, receiptText(receipt)), receipt);
    receipt.request = UUID::random();
    EXPECT_EQ(trashReceipt(receipt.id, receiptText(receipt)), receipt);
}

TEST(TrashReceipt, refusesWhatIsMalformed) {
    const TrashReceipt receipt = aReceipt();
    const std::string sound = receiptText(receipt);
    const auto with = [&](const std::string& from, const std::string& to) {
        std::string text = sound;
        text.replace(text.find(from), from.size(), to);
        return trashReceipt(receipt.id, text);
    };
    EXPECT_EQ(with("[Kestrel", "[Other"), std::nullopt);
    EXPECT_EQ(with("Path=/home", "Path=home"), std::nullopt);
    EXPECT_EQ(with("/anna", "/.."), std::nullopt);
    EXPECT_EQ(with("%25", "%2"), std::nullopt);
    EXPECT_EQ(with("%25", "%00"), std::nullopt);
    EXPECT_EQ(with("%25", "%FF"), std::nullopt);
    EXPECT_EQ(with("Item=64768", "Item=-1"), std::nullopt);
    EXPECT_EQ(with(" 16384", ""), std::nullopt);
    EXPECT_EQ(with("16384", "16384 1"), std::nullopt);
    EXPECT_EQ(with("18446744073709551615", "18446744073709551616"), std::nullopt);
    EXPECT_EQ(with("TrashedAt=", "TrashedAt=nan"), std::nullopt);
    EXPECT_EQ(with("TrashedAt=8", "TrashedAt=inf"), std::nullopt);
    EXPECT_EQ(trashReceipt(receipt.id, ""), std::nullopt);
}

TEST(TrashReceipt, isKeptWithoutAResultingPathThatCannotBeRead) {
    TrashReceipt receipt = aReceipt();
    std::string text = receiptText(receipt);
    text.replace(text.find("=/t/files"), 9, "=/t//files");
    receipt.resultingPath = std::nullopt;
    EXPECT_EQ(trashReceipt(receipt.id, text), receipt);
}

RC_GTEST_PROP(TrashReceipt, survivesAnyText, (const std::string& text)) {
    (void)trashReceipt(UUID{}, "[Kestrel Trash Receipt]\n" + text);
}

}  // namespace KestrelCore
