#include "KestrelCore/Deletion/DeletionCoordinator.hpp"

#include "Base/FileManagerErrors.hpp"
#include "KestrelCore/Deletion/SafetyPolicy.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "support/DiskRecord.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <thread>

namespace KestrelCore {

namespace {

constexpr const char* confirmationMessage = "Type DELETE to confirm permanent removal.";
constexpr const char* removedMessage = "Permanently removed.";
constexpr const char* trashedMessage = "Moved to Trash. Space is reclaimed after Trash is emptied.";
constexpr const char* changedMessage = "The item changed since the scan. Scan again before deleting it.";
constexpr const char* missingMessage = "The item no longer exists or cannot be inspected.";
constexpr const char* refusedApplicationMessage =
    "You have no permission to delete this application; the owner of its folder or root has.";

/// Records what it is asked to take away and answers as told. Looks at nothing else.
class ScriptedFileManager final : public FileManager {
public:
    std::vector<std::string> removed;
    std::vector<std::string> trashed;
    std::vector<std::optional<ExpectedItem>> expectations;
    std::function<void()> failure = [] {};  ///< throws what the operation is to fail with
    std::optional<URL> trashPlace;
    std::optional<Text> remark;         ///< what a removal leaves behind
    std::vector<std::string> requests;  ///< how they began and ended

    std::optional<URL> trashItem(const URL& url, const std::optional<ExpectedItem>& expected,
                                 const CancellationToken&) override {
        failure();
        trashed.push_back(url.path().string());
        expectations.push_back(expected);
        return trashPlace;
    }
    std::optional<Text> removeItem(const URL& url, const std::optional<ExpectedItem>& expected,
                                   const CancellationToken&) override {
        failure();
        removed.push_back(url.path().string());
        expectations.push_back(expected);
        return remark;
    }
    void beginRequest() override { requests.push_back("begin"); }
    void endRequest() override { requests.push_back("end"); }

    [[nodiscard]] bool isReadable(const Text&) const override { return false; }
    [[nodiscard]] bool exists(const Text&) const override { return false; }
    [[nodiscard]] std::vector<Text> contentsOfDirectory(const Text&) const override { return {}; }
    [[nodiscard]] std::vector<URL> contentsOfDirectory(const URL&, bool) const override { return {}; }
    bool enumerate(const URL&, const std::function<bool(const URL&, std::optional<std::int64_t>)>&) const override {
        return false;
    }
    [[nodiscard]] std::optional<std::int64_t> allocatedBytes(const URL&) const override { return std::nullopt; }
    void createDirectory(const URL&) override {}
    [[nodiscard]] Text homeDirectory() const override { return "/home/nobody"; }
};

class DeletionCoordinatorTest : public testing::Test {
protected:
    std::string file(const std::string& name) const { return folder.makeFile(name, name); }
    std::vector<DeletionItemResult> permanently(std::vector<FileRecord> records) {
        return coordinator.execute({std::move(records), DeletionMode::permanent, "DELETE"});
    }

    TemporaryFolder folder;
    std::shared_ptr<ScriptedFileManager> fileManager = std::make_shared<ScriptedFileManager>();
    DeletionCoordinator coordinator{fileManager};
};

}  // namespace

TEST(DeletionMode, hasRawValues) {
    EXPECT_EQ(rawValue(DeletionMode::trash), "trash");
    EXPECT_EQ(rawValue(DeletionMode::permanent), "permanent");
    EXPECT_EQ(fromRawValue<DeletionMode>("permanent"), DeletionMode::permanent);
    EXPECT_EQ(fromRawValue<DeletionMode>("trash"), DeletionMode::trash);
    EXPECT_EQ(fromRawValue<DeletionMode>("Trash"), std::nullopt);
}

TEST_F(DeletionCoordinatorTest, asksForTheExactConfirmationBeforeAPermanentRemoval) {
    const FileRecord first = diskRecord(file("a"));
    const FileRecord second = diskRecord("/System/x");  // not even refused: nothing is looked at
    for (const std::optional<Text>& typed :
         {std::optional<Text>{}, {"delete"}, {" DELETE"}, {"DELETE "}, {"DELETE\n"}, {""}, {"D\u0301ELETE"}}) {
        const auto results = coordinator.execute({{first, second}, DeletionMode::permanent, typed});
        ASSERT_EQ(results.size(), 2U);
        for (const DeletionItemResult& result : results) {
            EXPECT_FALSE(result.succeeded);
            EXPECT_EQ(result.message, Text{confirmationMessage});
            EXPECT_EQ(result.resultingPath, std::nullopt);
        }
        EXPECT_EQ(results[0].id, first.id());
        EXPECT_EQ(results[1].path, second.path());
    }
    EXPECT_TRUE(fileManager->removed.empty());
}

TEST_F(DeletionCoordinatorTest, removesForGoodAfterTheConfirmation) {
    const FileRecord record = diskRecord(file("a"));
    const auto results = permanently({record});
    ASSERT_EQ(results.size(), 1U);
    EXPECT_TRUE(results[0].succeeded);
    EXPECT_EQ(results[0].id, record.id());
    EXPECT_EQ(results[0].message, Text{removedMessage});
    EXPECT_EQ(results[0].resultingPath, std::nullopt);
    EXPECT_EQ(fileManager->removed, std::vector{record.path().string()});
    const FileIdentity identity = record.identity().value();
    EXPECT_EQ(fileManager->expectations[0], (ExpectedItem{identity.device, identity.inode, 0100000}));
}

TEST_F(DeletionCoordinatorTest, movesToTheTrashWithoutAConfirmation) {
    fileManager->trashPlace = URL::fromPath("/trash/files/a 2");
    const auto results = coordinator.execute({{diskRecord(file("a"))}, DeletionMode::trash, std::nullopt});
    ASSERT_EQ(results.size(), 1U);
    EXPECT_TRUE(results[0].succeeded);
    EXPECT_EQ(results[0].message, Text{trashedMessage});
    EXPECT_EQ(results[0].resultingPath, Text{"/trash/files/a 2"});

    fileManager->trashPlace = std::nullopt;
    EXPECT_EQ(coordinator.execute({{diskRecord(file("b"))}, DeletionMode::trash, "whatever"})[0].resultingPath,
              std::nullopt);
}

TEST_F(DeletionCoordinatorTest, goesOnAfterAnItemThatFailsAndKeepsTheOrder) {
    const FileRecord first = diskRecord(file("b"));
    const FileRecord blocked = diskRecord("/System/Library");
    const FileRecord last = diskRecord(file("a"));
    const auto results = permanently({first, blocked, last});
    ASSERT_EQ(results.size(), 3U);
    EXPECT_TRUE(results[0].succeeded);
    EXPECT_FALSE(results[1].succeeded);
    EXPECT_EQ(results[1].message, Text{"This location is managed by Linux and is view-only in Kestrel."});
    EXPECT_TRUE(results[2].succeeded);
    EXPECT_EQ(fileManager->removed, (std::vector{first.path().string(), last.path().string()}));
}

TEST_F(DeletionCoordinatorTest, answersAnEmptyRequestWithNothing) {
    EXPECT_TRUE(permanently({}).empty());
    EXPECT_TRUE(coordinator.execute({{}, DeletionMode::permanent, std::nullopt}).empty());
}

TEST_F(DeletionCoordinatorTest, leavesAReplacedItemInPlace) {
    const FileRecord record = diskRecord(file("a"));
    std::filesystem::rename(file("other"), record.path().string());
    const auto results = permanently({record});
    EXPECT_EQ(results[0].message, Text{changedMessage});
    EXPECT_TRUE(fileManager->removed.empty());
}

TEST_F(DeletionCoordinatorTest, refusesAnItemOfAnotherTypeWithTheSameIdentity) {
    const FileRecord folderRecord = diskRecord(file("a"), FileKind::package);  // a package is a folder
    EXPECT_EQ(permanently({folderRecord})[0].message, Text{changedMessage});
    EXPECT_TRUE(fileManager->removed.empty());
}

TEST_F(DeletionCoordinatorTest, refusesAPathThatIsNotInItsStandardForm) {
    const std::string path = file("a");
    const std::string name = std::filesystem::path{folder.path()}.filename();
    std::filesystem::create_directory(folder.path() + "/dir");
    for (const std::string& written :
         {folder.path() + "//a", folder.path() + "/./a", folder.path() + "/../" + name + "/a", folder.path() + "/dir/",
          folder.path() + "/dir/.", folder.path() + "/dir/../dir"}) {
        EXPECT_EQ(permanently({diskRecord(written)})[0].message, Text{changedMessage}) << written;
    }
    EXPECT_TRUE(fileManager->removed.empty());
}

TEST_F(DeletionCoordinatorTest, refusesPathsThatNameNothing) {
    EXPECT_EQ(permanently({diskRecord("")})[0].succeeded, false);
    EXPECT_EQ(permanently({diskRecord("/")})[0].message,
              Text{"Kestrel never removes a disk, system folder, or home-directory root."});
    EXPECT_EQ(permanently({diskRecord("relative")})[0].succeeded, false);
    EXPECT_EQ(permanently({diskRecord(folder.path() + std::string("/a\0b", 4))})[0].message, Text{missingMessage});
    EXPECT_TRUE(fileManager->removed.empty());
}

TEST_F(DeletionCoordinatorTest, refusesTheOwnExecutableUnderAnotherName) {
    // A hard link can't lead to another file system.
    const auto executable = std::filesystem::read_symlink("/proc/self/exe");
    const TemporaryFolder beside{executable.parent_path()};
    const std::string link = beside / "harmless";
    std::filesystem::create_hard_link(executable, link);
    EXPECT_EQ(permanently({diskRecord(link)})[0].message, Text{"Kestrel cannot remove itself while it is running."});
    EXPECT_TRUE(fileManager->removed.empty());
}

TEST_F(DeletionCoordinatorTest, explainsARefusedPermissionOnAnApplication) {
    const std::string path = folder.makeFolder("Tool.app");
    const FileRecord application = diskRecord(path, FileKind::package);
    const FileRecord document = diskRecord(file("a.txt"));
    using Error = PlatformError;
    const auto posix = [](int code) { return std::make_shared<const Error>(Error::posix(code)); };
    const std::vector<PlatformError> refusals{Error::posix(EPERM),
                                              Error::posix(EACCES),
                                              {Error::Domain::fileManager, 513, "bare"},
                                              {Error::Domain::fileManager, 512, "beneath", posix(EPERM)},
                                              {Error::Domain::fileManager, 512, "beneath", posix(EACCES)},
                                              {Error::Domain::posix, 513, "the domain is not examined"}};
    for (const PlatformError& refusal : refusals) {
        fileManager->failure = [&] { throw refusal; };
        const auto results = permanently({application, document});
        EXPECT_FALSE(results[0].succeeded);
        EXPECT_EQ(results[0].message, Text{refusedApplicationMessage}) << refusal.what();
        EXPECT_EQ(results[1].message, refusal.description());
        EXPECT_EQ(coordinator.execute({{application}, DeletionMode::trash, {}})[0].message,
                  Text{refusedApplicationMessage});
    }
    // The library's own errors have codes too.
    fileManager->failure = [] { throw KestrelError::accessDenied("denied"); };
    EXPECT_EQ(permanently({application})[0].message, Text{refusedApplicationMessage});
    EXPECT_EQ(permanently({document})[0].message, Text{"denied"});
}

TEST_F(DeletionCoordinatorTest, passesOtherFailuresOnAsTheyStand) {
    const std::string path = folder.makeFolder("Tool.app");
    const FileRecord application = diskRecord(path, FileKind::package);
    fileManager->failure = [&] { throw fileManagerError(FileOperation::trash, path, EROFS); };
    EXPECT_EQ(coordinator.execute({{application}, DeletionMode::trash, {}})[0].message,
              Text{"“Tool.app” couldn’t be moved to the trash."});
    fileManager->failure = [&] { throw std::runtime_error{"something else"}; };
    EXPECT_EQ(permanently({application})[0].message, Text{"something else"});
}

TEST_F(DeletionCoordinatorTest, namesWhatAnInterruptedRemovalLeftInTheFolder) {
    const FileRecord record = diskRecord(file("a"));
    file(".kestrel-removing-0123456789abcdef");
    file(".kestrel-removing-tooshort");
    EXPECT_EQ(permanently({record})[0].message, Text{"Permanently removed. An earlier removal was interrupted and left "
                                                     "“.kestrel-removing-0123456789abcdef” in the same folder."});
    EXPECT_EQ(permanently({diskRecord(folder.path() + "/.kestrel-removing-0123456789abcdef")})[0].message,
              Text{removedMessage});
    EXPECT_EQ(coordinator.execute({{record}, DeletionMode::trash, {}})[0].message, Text{trashedMessage});
}

TEST_F(DeletionCoordinatorTest, namesFewOfManyThatWereLeft) {
    const FileRecord record = diskRecord(file("a"));
    for (int i = 0; i < 7; ++i) file(".kestrel-removing-000000000000000" + std::to_string(i));
    EXPECT_EQ(permanently({record})[0].message,
              Text{"Permanently removed. An earlier removal was interrupted and left "
                   "“.kestrel-removing-0000000000000000”, “.kestrel-removing-0000000000000001”, "
                   "“.kestrel-removing-0000000000000002” and 4 more in the same folder."});
}

TEST_F(DeletionCoordinatorTest, stopsAfterACancellation) {
    const std::vector<FileRecord> records{diskRecord(file("a")), diskRecord(file("b"))};
    CancellationToken cancellation;
    const auto cancel = [&cancellation](const DeletionItemResult&) {
        cancellation.cancel();
        return true;
    };
    EXPECT_EQ(coordinator.execute({records, DeletionMode::permanent, "DELETE"}, cancel, cancellation).size(), 1U);
    EXPECT_TRUE(coordinator.execute({records, DeletionMode::permanent, "DELETE"}, cancel, cancellation).empty());
    EXPECT_EQ(fileManager->removed.size(), 1U);
}

TEST_F(DeletionCoordinatorTest, tellsTheFileManagerWhereARequestBeginsAndEnds) {
    fileManager->failure = [this] { EXPECT_EQ(fileManager->requests.size() % 2, 1U); };
    EXPECT_TRUE(permanently({diskRecord(file("a")), diskRecord(file("b"))})[1].succeeded);
    EXPECT_EQ(fileManager->requests, (std::vector<std::string>{"begin", "end"}));
    // Also one that stops before its end.
    (void)coordinator.execute({{diskRecord(file("c")), diskRecord(file("d"))}, DeletionMode::trash, std::nullopt},
                              [](const DeletionItemResult&) { return false; });
    EXPECT_EQ(fileManager->requests, (std::vector<std::string>{"begin", "end", "begin", "end"}));
    EXPECT_EQ(fileManager->trashed.size(), 1U);
}

TEST_F(DeletionCoordinatorTest, passesOnWhatARemovalLeavesBehind) {
    fileManager->remark = "Something stays.";
    const DeletionItemResult result = permanently({diskRecord(file("a"))}).front();
    EXPECT_TRUE(result.succeeded);
    EXPECT_EQ(result.message, "Permanently removed. Something stays.");
}

TEST_F(DeletionCoordinatorTest, runsOneRequestAtATime) {
    std::atomic<int> inside = 0;
    std::atomic<bool> hasOverlapped = false;
    fileManager->failure = [&] {
        if (++inside > 1) hasOverlapped = true;
        std::this_thread::yield();
        --inside;
    };
    std::vector<FileRecord> records;
    for (int i = 0; i < 50; ++i) records.push_back(diskRecord(file(std::to_string(i))));
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] { EXPECT_EQ(coordinator.execute({records, DeletionMode::trash, {}}).size(), 50U); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_FALSE(hasOverlapped);
    EXPECT_EQ(fileManager->trashed.size(), 200U);
}

TEST_F(DeletionCoordinatorTest, addsNothingToARefusal) {
    file(".kestrel-removing-0123456789abcdef");
    const std::string target = file("target");
    const std::string link = folder.path() + "/link";
    std::filesystem::create_symlink(target, link);
    const auto results = permanently({diskRecord(link), diskRecord(folder.path() + "/gone")});
    EXPECT_EQ(results[0].message, Text{"The path contains a symbolic link and must be reviewed in your file manager."});
    EXPECT_EQ(results[0].errorCase, KestrelError::Case::safetyViolation);
    EXPECT_EQ(results[1].message, Text{missingMessage});
    EXPECT_EQ(results[1].errorCase, KestrelError::Case::staleItem);

    fileManager->failure = [] { throw PlatformError::posix(EIO); };
    const auto failed = permanently({diskRecord(target)});
    EXPECT_EQ(failed[0].errorCase, std::nullopt);
    EXPECT_EQ(coordinator.execute({{diskRecord(target)}, DeletionMode::permanent, "no"})[0].errorCase, std::nullopt);
}

}  // namespace KestrelCore
