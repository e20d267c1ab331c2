#include "KestrelCore/Deletion/DeletionCoordinator.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "Platform/FileStatus.hpp"
#include "Platform/InterruptedRemovals.hpp"
#include "support/ChildProcess.hpp"
#include "support/DiskRecord.hpp"
#include "support/EnvironmentSetting.hpp"
#include "support/SystemCallFilter.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <linux/fs.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

// Whole requests on this machine's file systems: what a host is told of items that can't go, or only in part.

namespace KestrelCore {

namespace fs = std::filesystem;

namespace {

using Results = std::vector<DeletionItemResult>;

constexpr const char* removedMessage = "Permanently removed.";
constexpr const char* changedMessage = "The item changed since the scan. Scan again before deleting it.";
constexpr const char* missingMessage = "The item no longer exists or cannot be inspected.";
constexpr uid_t nobody = 65534;

Results execute(const std::vector<FileRecord>& records, DeletionMode mode = DeletionMode::permanent) {
    return DeletionCoordinator{FileManager::standard()}.execute({records, mode, "DELETE"});
}

Results removeAll(const std::vector<std::string>& paths) {
    std::vector<FileRecord> records;
    for (const std::string& path : paths) records.push_back(diskRecord(path));
    return execute(records);
}

bool existsItself(const std::string& path) { return fileStatus(path).status.has_value(); }

std::string noPermission(const std::string& path) {
    return "“" + fs::path{path}.filename().string() +
           "” couldn’t be removed because you don’t have permission to access it.";
}

/// The message of a folder of which a part could not be removed for want of a permission.
std::string stopped(const std::string& path, const std::string& at, const std::string& reason) {
    return noPermission(path) + " Some of its contents were removed; it stopped at “" + at + "”: " + reason + ".";
}

/// Sets a flag of a file or folder while it lives.
class ItemFlag {
public:
    ItemFlag(const std::string& path, int flag) : item_{::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC)} {
        if (::ioctl(item_, FS_IOC_GETFLAGS, &before_) != 0) return;
        int flags = before_ | flag;
        isSet_ = ::ioctl(item_, FS_IOC_SETFLAGS, &flags) == 0;
    }
    ItemFlag(const ItemFlag&) = delete;
    ItemFlag& operator=(const ItemFlag&) = delete;
    ~ItemFlag() {
        if (isSet_) ::ioctl(item_, FS_IOC_SETFLAGS, &before_);
        ::close(item_);
    }
    [[nodiscard]] bool isSet() const { return isSet_; }

private:
    int item_;
    int before_ = 0;
    bool isSet_ = false;
};

constexpr const char* noFlags = "Immutable items need root and a file system that has them";
constexpr const char* noOtherUser = "Only root can give items to another user";

/// A folder "top" with files in it and "held" in a folder of its own.
std::string makeTop(const TemporaryFolder& folder) {
    for (const char* file : {"top/a", "top/b", "top/sub/held"}) folder.makeFile(file, "content");
    return folder / "top";
}

void expectOnlyHeldIsLeft(const TemporaryFolder& folder) {
    EXPECT_TRUE(existsItself(folder / "top/sub/held"));
    EXPECT_FALSE(existsItself(folder / "top/a"));
    EXPECT_FALSE(existsItself(folder / "top/b"));
    EXPECT_EQ(InterruptedRemovals::in(folder.path()).count, 0U);
}

}  // namespace

TEST(DeletionOnDisk, stopsAtAnImmutableOrAppendOnlyItemAndGoesOnWithTheOthers) {
    for (const int flag : {FS_IMMUTABLE_FL, FS_APPEND_FL}) {
        for (const char* flagged : {"top/sub/held", "top/sub"}) {
            SCOPED_TRACE(std::string{flagged} + (flag == FS_APPEND_FL ? " append-only" : " immutable"));
            const TemporaryFolder folder;
            const std::string top = makeTop(folder);
            const std::string other = folder.makeFile("other", "content");
            const ItemFlag set{folder / flagged, flag};
            if (!set.isSet()) GTEST_SKIP() << noFlags;
            const Results results = removeAll({top, other});
            EXPECT_FALSE(results[0].succeeded);
            EXPECT_EQ(results[0].message.string(), stopped(top, top + "/sub/held", "Operation not permitted"));
            expectOnlyHeldIsLeft(folder);
            EXPECT_EQ(results[1].message, Text{removedMessage});
            EXPECT_FALSE(existsItself(other));
        }
    }
}

TEST(DeletionOnDisk, leavesAnItemWholeThatIsImmutableItself) {
    const TemporaryFolder folder;
    const std::string top = makeTop(folder);
    const std::string file = folder.makeFile("file", "content");
    const ItemFlag setFolder{top, FS_IMMUTABLE_FL};
    const ItemFlag setFile{file, FS_APPEND_FL};
    if (!setFolder.isSet() || !setFile.isSet()) GTEST_SKIP() << noFlags;
    const EnvironmentSetting dataHome{"XDG_DATA_HOME", (folder / "data").c_str()};
    const std::vector<FileRecord> records{diskRecord(top), diskRecord(file)};
    for (const DeletionMode mode : {DeletionMode::permanent, DeletionMode::trash})
        for (const DeletionItemResult& result : execute(records, mode)) EXPECT_FALSE(result.succeeded);
    EXPECT_EQ(removeAll({top})[0].message.string(), noPermission(top));
    for (const std::string& path : {top + "/a", top + "/b", top + "/sub/held", file}) EXPECT_TRUE(existsItself(path));
    EXPECT_TRUE(fs::is_empty(folder / "data/Trash/info"));
    EXPECT_EQ(InterruptedRemovals::in(folder.path()).count, 0U);
}

TEST(DeletionOnDisk, changesNoModesToGetAtAnItem) {
    inChild(ChildSetting::unprivileged, [] {
        for (const mode_t mode : {0555U, 0300U, 0000U}) {
            SCOPED_TRACE(mode);
            const TemporaryFolder folder;
            const std::string top = makeTop(folder);
            const std::string other = folder.makeFile("other", "content");
            ASSERT_EQ(::chmod((top + "/sub").c_str(), mode), 0);
            const Results results = removeAll({top, other});
            const std::string at = mode == 0555 ? "/sub/held" : "/sub";
            EXPECT_EQ(results[0].message.string(), stopped(top, top + at, "Permission denied"));
            EXPECT_TRUE(results[1].succeeded);
            struct stat status {};
            ASSERT_EQ(::lstat((top + "/sub").c_str(), &status), 0);
            EXPECT_EQ(status.st_mode & 07777, mode);
            ASSERT_EQ(::chmod((top + "/sub").c_str(), 0755), 0);
            expectOnlyHeldIsLeft(folder);
        }
        const TemporaryFolder folder;
        const std::string file = folder.makeFile("locked/file", "content");
        const std::string empty = folder.makeFolder("locked/empty");
        ASSERT_EQ(::chmod((folder / "locked").c_str(), 0555), 0);
        const Results results = removeAll({file, empty});
        EXPECT_EQ(results[0].message.string(), noPermission(file));
        EXPECT_EQ(results[1].message.string(), noPermission(empty));
        EXPECT_TRUE(existsItself(file));
    });
}

TEST(DeletionOnDisk, tellsOfAnApplicationThatIsGoneInPart) {
    const TemporaryFolder folder;
    folder.makeFile("App.app/closed/a");
    folder.makeFile("App.app/b");
    ::chmod((folder / "App.app/closed").c_str(), 0555);
    for (const char* name : {"App.app/closed/a", "App.app/b", "App.app/closed", "App.app", ""})
        (void)::chown((folder / name).c_str(), nobody, nobody);
    inChild(ChildSetting::unprivileged, [&] {
        const std::string app = folder / "App.app";
        const DeletionItemResult result = execute({diskRecord(app, FileKind::package)}).front();
        EXPECT_FALSE(result.succeeded);
        EXPECT_TRUE(result.message.hasPrefix("You have no permission to delete this application;"))
            << result.message.view();
        const std::string half =
            "or root has. Some of its contents were removed; it stopped at “" + app + "/closed/a”: ";
        EXPECT_NE(result.message.string().find(half), std::string::npos) << result.message.view();
    });
}

TEST(DeletionOnDisk, stopsAtOthersItemsInAStickyFolder) {
    if (::geteuid() != 0) GTEST_SKIP() << noOtherUser;
    const TemporaryFolder folder;
    const std::string theirs = folder.makeFile("shared/theirs", "content");
    const std::string top = folder / "home/top";
    for (const char* file : {"home/top/a", "home/top/b", "home/top/sub/held"}) folder.makeFile(file, "content");
    const std::string other = folder.makeFile("home/other", "content");
    for (const char* sticky : {"shared", "home/top/sub"}) ASSERT_EQ(::chmod((folder / sticky).c_str(), 01777), 0);
    for (const char* own : {"home", "home/top", "home/other"})
        ASSERT_EQ(::chown((folder / own).c_str(), nobody, nobody), 0);
    ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
    inChild(ChildSetting::unprivileged, [&] {
        const Results results = removeAll({theirs, top, other});
        EXPECT_EQ(results[0].message.string(), noPermission(theirs));
        EXPECT_EQ(results[1].message.string(), stopped(top, top + "/sub/held", "Operation not permitted"));
        EXPECT_TRUE(results[2].succeeded);
    });
    EXPECT_TRUE(existsItself(theirs));
    EXPECT_TRUE(existsItself(top + "/sub/held"));
    EXPECT_FALSE(existsItself(top + "/a"));
    EXPECT_FALSE(existsItself(other));
    EXPECT_EQ(InterruptedRemovals::in(folder / "home").count, 0U);
}

TEST(DeletionOnDisk, removesAProgramThatRuns) {
    const TemporaryFolder folder;
    const std::string program = folder / "program";
    fs::copy_file("/bin/sleep", program);
    const pid_t child = ::fork();
    if (child == 0) {
        ::execl(program.c_str(), program.c_str(), "1000", nullptr);
        ::_exit(127);
    }
    while (fs::read_symlink("/proc/" + std::to_string(child) + "/exe") != program &&
           ::waitpid(child, nullptr, WNOHANG) == 0)
        ::sched_yield();
    EXPECT_TRUE(removeAll({program})[0].succeeded);
    EXPECT_FALSE(existsItself(program));
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, WNOHANG), 0) << "it runs on";
    ::kill(child, SIGKILL);
    ::waitpid(child, &status, 0);
}

TEST(DeletionOnDisk, answersForEachItemInTheirOrder) {
    const TemporaryFolder folder;
    const std::string dir = folder.makeFolder("dir");
    const std::string inner = folder.makeFile("dir/inner", "content");
    const std::string first = folder.makeFile("first", "content");
    const std::string second = folder / "second";
    fs::create_hard_link(first, second);
    const std::vector<FileRecord> records{diskRecord(first), diskRecord(dir),   diskRecord(inner),
                                          diskRecord(dir),   diskRecord(first), diskRecord(second)};
    const std::vector<std::string> expected{removedMessage, removedMessage, missingMessage,
                                            missingMessage, missingMessage, removedMessage};
    const Results results = execute(records);
    ASSERT_EQ(results.size(), records.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(results[i].id, records[i].id()) << i;
        EXPECT_EQ(results[i].path, records[i].path()) << i;
        EXPECT_EQ(results[i].message.string(), expected[i]) << i;
    }
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(DeletionOnDisk, takesManyItemsAtOnce) {
    const TemporaryFolder folder;
    std::vector<FileRecord> records;
    for (std::size_t i = 0; i < 10'000; ++i) {
        records.push_back(diskRecord(folder.makeFile(std::to_string(i), "x")));
        if (i % 3 == 0) fs::remove(records.back().path().string());
    }
    const Results results = execute(records);
    ASSERT_EQ(results.size(), records.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        ASSERT_EQ(results[i].id, records[i].id());
        ASSERT_EQ(results[i].message.string(), i % 3 == 0 ? missingMessage : removedMessage) << i;
    }
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(DeletionOnDisk, neverTakesTheItemThatIsReallyCalledLikeARepairedName) {
    const TemporaryFolder folder;
    const EnvironmentSetting dataHome{"XDG_DATA_HOME", (folder / "data").c_str()};
    const std::string odd = folder.makeFile("\xff", "odd");
    const std::string literal = folder.makeFile("\xef\xbf\xbd", "literal");
    const FileRecord record = diskRecord(odd);
    ASSERT_EQ(record.path(), Text{literal});
    for (const DeletionMode mode : {DeletionMode::permanent, DeletionMode::trash})
        EXPECT_EQ(execute({record}, mode)[0].message, Text{changedMessage});
    EXPECT_EQ(fs::file_size(odd), 3U);
    EXPECT_EQ(fs::file_size(literal), 7U);
    fs::remove(literal);
    for (const DeletionMode mode : {DeletionMode::permanent, DeletionMode::trash})
        EXPECT_EQ(execute({record}, mode)[0].message, Text{missingMessage});
    EXPECT_TRUE(existsItself(odd));
}

TEST(DeletionOnDisk, removesFoldersWithoutTheCallThatForbidsMounts) {
    for (const int error : {ENOSYS, EPERM}) {
        const TemporaryFolder folder;
        const std::string top = makeTop(folder);
        inChild(ChildSetting::same, [&] {
            if (!refuseSystemCalls({SYS_openat2}, error)) GTEST_SKIP() << "No system call filters here";
            EXPECT_EQ(removeAll({top})[0].message, Text{removedMessage});
        });
        if (IsSkipped()) return;
        EXPECT_TRUE(fs::is_empty(folder.path()));
    }
}

TEST(DeletionOnDisk, neverRenamesOverAnItemWhereThatCannotBeForbidden) {
    // ENOSYS: a system without that call. EINVAL: a file system that knows no such rename.
    for (const int error : {ENOSYS, EINVAL}) {
        const TemporaryFolder folder;
        const EnvironmentSetting dataHome{"XDG_DATA_HOME", (folder / "data").c_str()};
        const std::string top = makeTop(folder);
        const std::string file = folder.makeFile("file", "content");
        inChild(ChildSetting::same, [&] {
            if (!refuseSystemCalls({SYS_renameat2}, error)) GTEST_SKIP() << "No system call filters here";
            for (const DeletionItemResult& result : execute({diskRecord(top), diskRecord(file)}, DeletionMode::trash)) {
                EXPECT_FALSE(result.succeeded);
                EXPECT_EQ(result.resultingPath, std::nullopt);
            }
            EXPECT_TRUE(fs::is_empty(folder / "data/Trash/info"));
            EXPECT_TRUE(fs::is_empty(folder / "data/Trash/files"));
            EXPECT_TRUE(existsItself(top + "/sub/held"));
            // A folder is guarded by its descriptor; a file by nothing.
            const Results results = removeAll({top, file});
            EXPECT_EQ(results[0].message, Text{removedMessage});
            EXPECT_EQ(results[1].message.string(),
                      std::string{"“file” couldn’t be removed. "} + std::strerror(error) + ".");
        });
        if (IsSkipped()) return;
        EXPECT_FALSE(existsItself(top));
        EXPECT_TRUE(existsItself(file));
    }
}

}  // namespace KestrelCore
