#include "KestrelCore/Deletion/DeletionPlan.hpp"

#include "KestrelCore/Deletion/DeletionCoordinator.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "support/ChildProcess.hpp"
#include "support/DiskRecord.hpp"
#include "support/EnvironmentSetting.hpp"
#include "support/SupervisedCalls.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <sys/mount.h>
#include <sys/syscall.h>

namespace KestrelCore {

namespace fs = std::filesystem;

namespace {

constexpr const char* trashMessage = "Trash and Time Machine content are protected from Kestrel deletion.";

/// The plan's objection, which the deletion must share.
std::optional<KestrelError> objectionToBoth(const FileRecord& record) {
    const auto objection = DeletionPlan{}.objection(record);
    DeletionCoordinator coordinator{FileManager::standard()};
    for (const DeletionMode mode : {DeletionMode::trash, DeletionMode::permanent}) {
        const DeletionItemResult result = coordinator.execute({{record}, mode, "DELETE"}).front();
        EXPECT_FALSE(result.succeeded);
        EXPECT_EQ(result.message, objection ? objection->errorDescription() : Text{});
        EXPECT_EQ(result.errorCase, objection ? std::optional{objection->errorCase()} : std::nullopt);
    }
    EXPECT_EQ(DeletionPlan{}.refusal(record), objection ? std::optional{objection->errorDescription()} : std::nullopt);
    return objection;
}

}  // namespace

TEST(DeletionPlan, refusesTheOwnExecutableUnderAnotherName) {
    // A hard link can't lead to another file system, and beside the executable everything is refused by its path.
    const fs::path executable = fs::read_symlink("/proc/self/exe");
    const TemporaryFolder folder{executable.parent_path().parent_path()};
    const std::string link = folder / "harmless";
    fs::create_hard_link(executable, link);
    EXPECT_EQ(objectionToBoth(diskRecord(link)),
              KestrelError::safetyViolation("Kestrel cannot remove itself while it is running."));
    EXPECT_TRUE(fs::exists(link));
}

TEST(DeletionPlan, refusesTheTrashAndWhatIsInIt) {
    const TemporaryFolder folder;
    const EnvironmentSetting dataHome{"XDG_DATA_HOME", (folder / "data").c_str()};
    const std::string item = folder.makeFile("data/Trash/files/a", "content");
    for (const std::string& path : {item, folder / "data/Trash/files", folder / "data/Trash"}) {
        EXPECT_EQ(objectionToBoth(diskRecord(path)), KestrelError::safetyViolation(trashMessage)) << path;
        EXPECT_TRUE(fs::exists(path));
    }
    const std::string other = folder.makeFile("data/other");
    EXPECT_EQ(DeletionPlan{}.objection(diskRecord(other)), std::nullopt);
}

TEST(DeletionPlan, tellsAChangedItemFromARefusedOne) {
    const TemporaryFolder folder;
    const FileRecord record = diskRecord(folder.makeFile("a", "content"));
    EXPECT_EQ(DeletionPlan{}.refusal(record), std::nullopt);
    fs::rename(folder.makeFile("new"), record.path().string());
    const auto changed = objectionToBoth(record);
    ASSERT_TRUE(changed);
    EXPECT_EQ(changed->errorCase(), KestrelError::Case::staleItem);
    fs::remove(record.path().string());
    EXPECT_EQ(objectionToBoth(record), KestrelError::staleItem("The item no longer exists or cannot be inspected."));
    const auto blocked = objectionToBoth(diskRecord("/System/x"));
    ASSERT_TRUE(blocked);
    EXPECT_EQ(blocked->errorCase(), KestrelError::Case::safetyViolation);
}

TEST(DeletionPlan, saysThatAFileSystemIsMountedOnAnItemOrInIt) {
    const TemporaryFolder folder;
    const std::string inner = folder.makeFolder("item/inner");
    const FileRecord outer = diskRecord(folder / "item");
    folder.makeFolder("item inner");
    const FileRecord namesake = diskRecord(folder / "item inner");
    inChild(ChildSetting::mountNamespace, [&] {
        ASSERT_EQ(::mount("none", inner.c_str(), "tmpfs", 0, nullptr), 0);
        const KestrelError mounted = KestrelError::unavailable("A file system is mounted on it or in it.");
        EXPECT_EQ(DeletionPlan{}.objection(outer), mounted);
        EXPECT_EQ(DeletionPlan{}.objection(diskRecord(inner)), mounted);
        EXPECT_EQ(DeletionPlan{}.objection(namesake), std::nullopt);
    });
}

TEST(DeletionPlan, objectsWhereTheSystemDoesNotTellWhatIsMounted) {
    const TemporaryFolder folder;
    const FileRecord record = diskRecord(folder.makeFile("a"));
    std::optional<KestrelError> objection;
    const bool isSupervised = runSupervised(
        {SYS_openat}, [&] { objection = DeletionPlan{}.objection(record); },
        [](const SystemCall& call) {
            return call.text(1) == "/proc/self/mountinfo" ? std::optional{ENOENT} : std::nullopt;
        });
    if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
    EXPECT_EQ(objection, KestrelError::unavailable("Without /proc the system does not tell what is mounted in it."));
}

}  // namespace KestrelCore
