#include "Platform/POSIX/Removal/SafeRemoval.hpp"

#include "Platform/FileStatus.hpp"
#include "Platform/InterruptedRemovals.hpp"
#include "Platform/POSIX/Removal/HiddenItem.hpp"
#include "support/ChildProcess.hpp"
#include "support/InMemory.hpp"
#include "support/SupervisedCalls.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace KestrelCore {

namespace fs = std::filesystem;

namespace {

constexpr const char* changedMessage = "The item changed since the scan. Scan again before deleting it.";

void writeFile(const std::string& path, const std::string& content = "content") { std::ofstream{path} << content; }

std::optional<PlatformError> removalError(const std::string& path,
                                          const std::optional<ExpectedItem>& expected = std::nullopt,
                                          const CancellationToken& cancellation = {}) {
    try {
        EXPECT_EQ(removeSafely(URL::fromPath(path), expected, cancellation), std::nullopt);
        return std::nullopt;
    } catch (const PlatformError& error) {
        return error;
    }
}

ExpectedItem expectation(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return {status.st_dev, status.st_ino, static_cast<std::uint32_t>(status.st_mode & S_IFMT)};
}

bool existsItself(const std::string& path) { return fileStatus(path).status.has_value(); }

std::size_t countIn(const std::string& folder) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator{folder}, fs::directory_iterator{}));
}

/// A file and a folder with one file and a folder in it, and their removals under supervision.
class SupervisedRemoval : public testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(top + "/sub");
        writeFile(top + "/sub/held");
        writeFile(file);
    }

    /// The text of each item's failure, "" where there is none. False where calls can't be supervised.
    bool remove(std::initializer_list<long> calls, const std::function<std::optional<int>(const SystemCall&)>& decide) {
        return runSupervised(
            calls,
            [this] {
                for (const std::string& item : {file, top}) {
                    const auto error = removalError(item, std::nullopt, cancellation);
                    failures.push_back(error ? error->description().string() : "");
                }
            },
            decide);
    }
    void expectAllStays() const {
        EXPECT_TRUE(existsItself(file));
        EXPECT_TRUE(existsItself(top + "/sub/held"));
        EXPECT_EQ(countIn(folder.path()), 2U);
    }

    TemporaryFolder folder;
    std::string file = folder.path() + "/file";
    std::string top = folder.path() + "/top";
    CancellationToken cancellation;
    std::vector<std::string> failures;
};

constexpr const char* noSupervision = "System calls can't be supervised here";

}  // namespace

TEST(SafeRemoval, removesAFileAndNothingBesideIt) {
    const TemporaryFolder folder;
    writeFile(folder.path() + "/a");
    writeFile(folder.path() + "/b");
    EXPECT_EQ(removalError(folder.path() + "/a", expectation(folder.path() + "/a")), std::nullopt);
    EXPECT_EQ(countIn(folder.path()), 1U);
    EXPECT_TRUE(existsItself(folder.path() + "/b"));
}

TEST(SafeRemoval, removesAFolderWithEverythingInIt) {
    const TemporaryFolder folder;
    const std::string top = folder.path() + "/top";
    fs::create_directories(top + "/a/b/c");
    fs::create_directories(top + "/empty");
    writeFile(top + "/a/b/file");
    for (int i = 0; i < 1500; ++i) writeFile(top + "/a/" + std::to_string(i), "");
    for (const char* name : {"\xff\xfe", "new\nline", "-rf", " ", "\x1b[31m", ".hidden", "..."})
        writeFile(top + "/a/b/" + name);
    ASSERT_EQ(::mkfifo((top + "/fifo").c_str(), 0600), 0);
    writeFile(top + "/linked");
    fs::create_hard_link(top + "/linked", folder.path() + "/twin");
    EXPECT_EQ(removalError(top, expectation(top)), std::nullopt);
    EXPECT_FALSE(existsItself(top));
    EXPECT_EQ(countIn(folder.path()), 1U);  // the hard link outside keeps its content
    EXPECT_EQ(fs::file_size(folder.path() + "/twin"), 7U);
}

TEST(SafeRemoval, neverFollowsLinks) {
    const TemporaryFolder folder;
    const std::string outside = folder.path() + "/outside";
    const std::string top = folder.path() + "/top";
    fs::create_directory(outside);
    writeFile(outside + "/precious");
    fs::create_directory(top);
    fs::create_directory_symlink(outside, top + "/link");
    fs::create_symlink(outside + "/precious", top + "/fileLink");
    fs::create_symlink("/proc/self/root", top + "/rootLink");
    EXPECT_EQ(removalError(top), std::nullopt);
    EXPECT_TRUE(existsItself(outside + "/precious"));

    // The item itself is a link: the link goes.
    fs::create_directory_symlink(outside, folder.path() + "/link");
    EXPECT_EQ(removalError(folder.path() + "/link"), std::nullopt);
    EXPECT_TRUE(existsItself(outside + "/precious"));

    // A link above the item: refused.
    fs::create_directory_symlink(outside, folder.path() + "/link");
    EXPECT_EQ(removalError(folder.path() + "/link/precious").value().description(), Text{changedMessage});
    EXPECT_TRUE(existsItself(outside + "/precious"));
}

TEST(SafeRemoval, leavesAnItemThatIsNotTheExpectedOne) {
    const TemporaryFolder folder;
    const std::string file = folder.path() + "/file";
    const std::string directory = folder.path() + "/directory";
    writeFile(file);
    fs::create_directory(directory);
    for (const std::string& path : {file, directory}) {
        const ExpectedItem right = expectation(path);
        EXPECT_EQ(removalError(path, ExpectedItem{right.device + 1, right.inode, right.fileTypeBits})->description(),
                  Text{changedMessage});
        EXPECT_EQ(removalError(path, ExpectedItem{right.device, right.inode + 1, right.fileTypeBits})->description(),
                  Text{changedMessage});
        EXPECT_EQ(removalError(path, ExpectedItem{right.device, right.inode, S_IFLNK})->description(),
                  Text{changedMessage});
        EXPECT_TRUE(existsItself(path));
        EXPECT_EQ(removalError(path, ExpectedItem{right.device, right.inode, 0}), std::nullopt);
    }
}

TEST(SafeRemoval, refusesPathsThatDoNotNameOneItemPlainly) {
    const TemporaryFolder folder;
    const std::string directory = folder.path() + "/directory";
    fs::create_directory(directory);
    writeFile(folder.path() + "/a%00b");
    for (const std::string& path :
         {std::string{"/"}, directory + "/.", directory + "/..", folder.path() + "//directory",
          folder.path() + "/./directory", folder.path() + std::string("/a\0b", 4)}) {
        const auto error = removalError(path);
        ASSERT_TRUE(error) << path;
        EXPECT_EQ(error->code(), PlatformError::fileWriteUnknown) << path;
    }
    EXPECT_EQ(countIn(folder.path()), 2U);
}

TEST(SafeRemoval, saysThatAnItemIsMissing) {
    const TemporaryFolder folder;
    const auto error = removalError(folder.path() + "/missing");
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), PlatformError::fileNoSuchFile);
    EXPECT_EQ(error->underlying()->code(), ENOENT);
    EXPECT_EQ(removalError(folder.path() + "/missing/below")->code(), PlatformError::fileNoSuchFile);
}

TEST(SafeRemoval, removesATreeOfAnyDepthWithFewDescriptors) {
    const InMemory inMemory;
    const TemporaryFolder folder;
    constexpr int levels = 100'000;
    int parent = ::open(folder.path().c_str(), O_RDONLY | O_DIRECTORY);
    for (int i = 0; i < levels; ++i) {
        ASSERT_EQ(::mkdirat(parent, "d", 0700), 0) << i;
        const int child = ::openat(parent, "d", O_RDONLY | O_DIRECTORY);
        ::close(parent);
        parent = child;
        if (i % 1000 == 0) ::close(::openat(parent, "file", O_CREAT | O_WRONLY, 0600));
    }
    ::close(parent);

    // In a process of its own, which has 64 descriptors and a small stack.
    const pid_t child = ::fork();
    if (child == 0) {
        const rlimit descriptors{64, 64};
        ::setrlimit(RLIMIT_NOFILE, &descriptors);
        ::_exit(removalError(folder.path() + "/d") ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(countIn(folder.path()), 0U);
}

TEST(SafeRemoval, getsAlongWithHardlyAnyDescriptors) {
    const InMemory inMemory;
    const TemporaryFolder folder;
    std::string path = folder.path() + "/d";
    for (int i = 0; i < 100; ++i) {
        fs::create_directory(path);
        for (const char* name : {"/a", "/b", "/c"}) fs::create_directory(path + name);
        path += "/d";
    }
    const pid_t child = ::fork();
    if (child == 0) {
        const rlimit descriptors{16, 16};
        ::setrlimit(RLIMIT_NOFILE, &descriptors);
        ::_exit(removalError(folder.path() + "/d") ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(countIn(folder.path()), 0U);
}

TEST(SafeRemoval, removesWideFoldersBelowDeepOnes) {
    const InMemory inMemory;
    const TemporaryFolder folder;
    // Deep enough for upper folders to be closed, and each with so much in it that its listing takes several turns.
    std::string path = folder.path() + "/top";
    fs::create_directory(path);
    for (int i = 0; i < 80; ++i) {
        for (int j = 0; j < 30; ++j) fs::create_directory(path + "/folder" + std::to_string(j));
        path += "/folder7";
    }
    EXPECT_EQ(removalError(folder.path() + "/top"), std::nullopt);
    EXPECT_EQ(countIn(folder.path()), 0U);
}

TEST(SafeRemoval, removesAFolderOfMoreEntriesThanItReadsAtOnce) {
    const InMemory inMemory;
    const TemporaryFolder folder;
    const std::string top = folder.makeFolder("top");
    const int opened = ::open(top.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int i = 0; i < 150'000; ++i) {
        const std::string name = std::to_string(i);
        ASSERT_EQ(i % 1000 == 0 ? ::mkdirat(opened, name.c_str(), 0700)
                                : ::mknodat(opened, name.c_str(), S_IFREG | 0600, 0),
                  0);
    }
    ::close(opened);
    EXPECT_EQ(removalError(top), std::nullopt);
    EXPECT_EQ(countIn(folder.path()), 0U);
}

TEST(SafeRemoval, endsOnAFolderThatIsRefilledAllTheTime) {
    const InMemory inMemory;
    const TemporaryFolder folder;
    const std::string top = folder.path() + "/top";
    fs::create_directories(top + "/sub");
    for (int i = 0; i < 200; ++i) writeFile(top + "/sub/" + std::to_string(i), "");
    const int sub = ::open((top + "/sub").c_str(), O_RDONLY | O_DIRECTORY);
    std::atomic<bool> stop = false;
    std::thread refiller{[&] {
        for (int i = 0; !stop; ++i) {
            const std::string name = "again" + std::to_string(i % 1000);
            const int file = ::openat(sub, name.c_str(), O_CREAT | O_WRONLY, 0600);
            if (file >= 0) ::close(file);
        }
    }};
    const auto error = removalError(top);
    stop = true;
    refiller.join();
    ::close(sub);
    // It is either gone, or reported as refilled and back under its name.
    if (error) {
        EXPECT_EQ(error->code(), PlatformError::fileWriteUnknown);
        EXPECT_EQ(error->underlying()->code(), ENOTEMPTY);
        EXPECT_NE(
            error->description().view().find("Some of its contents were removed; it stopped at “" + top + "/sub”: "),
            std::string_view::npos)
            << error->what();
        EXPECT_TRUE(existsItself(top));
    } else {
        EXPECT_FALSE(existsItself(top));
    }
    EXPECT_EQ(InterruptedRemovals::in(folder.path()).count, 0U);
}

TEST(SafeRemoval, withstandsSomeoneWhoExchangesFoldersAllTheTime) {
    const InMemory inMemory;
    const TemporaryFolder folder;
    const std::string outside = folder.path() + "/outside";
    const std::string victim = folder.path() + "/victim";
    const std::string link = folder.path() + "/link";
    fs::create_directories(outside + "/sub");
    for (const char* name : {"/f", "/sub/f"}) writeFile(outside + name);
    fs::create_directory_symlink(outside, link);

    std::atomic<bool> stop = false;
    std::thread swapper{[&] {
        for (unsigned i = 0; !stop; ++i) {
            if (i / 64 % 2 == 0) {
                (void)::renameat2(AT_FDCWD, victim.c_str(), AT_FDCWD, link.c_str(), RENAME_EXCHANGE);
                continue;
            }
            // Through a descriptor of the folder itself: by its path, while the link stands there, this very thread
            // would carry the folder outside away.
            const int inner = ::open(victim.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (inner < 0) continue;
            (void)::renameat2(inner, "sub", AT_FDCWD, link.c_str(), RENAME_EXCHANGE);
            ::close(inner);
        }
    }};
    constexpr int tries = 20'000;
    int escapes = 0;
    for (int i = 0; i < tries; ++i) {
        // Whatever stands there by now is made into a victim again.
        if (::mkdir(victim.c_str(), 0700) == 0) {
            (void)::mkdir((victim + "/sub").c_str(), 0700);
            const int file = ::open((victim + "/sub/f").c_str(), O_CREAT | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, 0600);
            if (file >= 0) ::close(file);
        }
        struct stat status {};
        if (::lstat(victim.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) continue;
        (void)removalError(victim, ExpectedItem{status.st_dev, status.st_ino, S_IFDIR});
        if (!existsItself(outside + "/f") || !existsItself(outside + "/sub/f")) ++escapes;
        if (escapes > 0) break;
        if (!existsItself(link)) fs::create_directory_symlink(outside, link);
    }
    stop = true;
    swapper.join();
    EXPECT_EQ(escapes, 0);
}

TEST(SafeRemoval, knowsTheNamesItUses) {
    EXPECT_TRUE(isRemovalName(".kestrel-removing-0123456789abcdef"));
    EXPECT_FALSE(isRemovalName(".kestrel-removing-0123456789abcdeF"));
    EXPECT_FALSE(isRemovalName(".kestrel-removing-0123456789abcde"));
    EXPECT_FALSE(isRemovalName(".kestrel-removing-0123456789abcdef0"));
}

TEST_F(SupervisedRemoval, touchesNothingWithoutRandomNumbers) {
    if (!remove({SYS_getrandom}, [](const SystemCall&) { return EIO; })) GTEST_SKIP() << noSupervision;
    EXPECT_EQ(failures, (std::vector<std::string>{"“file” couldn’t be removed. Input/output error.",
                                                  "“top” couldn’t be removed. Input/output error."}));
    expectAllStays();
}

TEST_F(SupervisedRemoval, goesOnAfterARenameThatWasDoneAndReportedAsFailed) {
    for (const int error : {EIO, ENOENT, EEXIST, EINTR}) {
        SetUp();
        failures.clear();
        const auto late = [error](const SystemCall& call) { return call.make() == 0 ? error : EACCES; };
        if (!remove({SYS_renameat2}, late)) GTEST_SKIP() << noSupervision;
        EXPECT_EQ(failures, (std::vector<std::string>{"", ""})) << error;
        EXPECT_EQ(countIn(folder.path()), 0U) << error;
    }
}

TEST_F(SupervisedRemoval, putsBackOverARenameThatWasDoneAndReportedAsFailed) {
    const auto late = [](const SystemCall& call) {
        if (call.number == SYS_unlinkat)
            return (call.arguments[2] & AT_REMOVEDIR) == 0 ? std::optional{EBUSY} : std::nullopt;
        (void)call.make();
        return std::optional{EIO};
    };
    if (!remove({SYS_renameat2, SYS_unlinkat}, late)) GTEST_SKIP() << noSupervision;
    EXPECT_EQ(failures[0], "“file” couldn’t be removed. Device or resource busy.");
    expectAllStays();
}

TEST_F(SupervisedRemoval, knowsWhatWentAlthoughItWasReportedAsFailed) {
    const auto late = [](const SystemCall& call) { return call.make() == 0 ? EIO : EACCES; };
    if (!remove({SYS_unlinkat}, late)) GTEST_SKIP() << noSupervision;
    EXPECT_EQ(failures, (std::vector<std::string>{"", ""}));
    EXPECT_EQ(countIn(folder.path()), 0U);
}

TEST_F(SupervisedRemoval, takesItsOwnFolderAwayWhereMakingItWasReportedAsFailed) {
    for (const int error : {EIO, ENOENT, EEXIST}) {
        SetUp();
        failures.clear();
        const auto late = [error](const SystemCall& call) { return call.make() == 0 ? error : EACCES; };
        if (!remove({SYS_mkdirat}, late)) GTEST_SKIP() << noSupervision;
        EXPECT_EQ(failures, (std::vector<std::string>{"", ""})) << error;
        EXPECT_EQ(countIn(folder.path()), 0U) << error;
    }
}

TEST_F(SupervisedRemoval, triesAgainToTakeItsOwnFolderAway) {
    int failed = 0;
    const auto fail = [&failed](const SystemCall& call) -> std::optional<int> {
        if (!isRemovalName(call.text(1))) return std::nullopt;
        // It can never be looked at, and only every other try to remove it is let through.
        if (call.number == SYS_unlinkat && failed++ % 2 == 1) return std::nullopt;
        return EACCES;
    };
    if (!remove({SYS_newfstatat, SYS_unlinkat}, fail)) GTEST_SKIP() << noSupervision;
    EXPECT_EQ(failures, (std::vector<std::string>{"", ""}));
    EXPECT_GT(failed, 0);
    EXPECT_EQ(countIn(folder.path()), 0U);
}

TEST_F(SupervisedRemoval, tellsOfItsOwnFolderWhenThatStays) {
    const auto fail = [](const SystemCall& call) {
        return isRemovalName(call.text(1)) ? std::optional{ENOTEMPTY} : std::nullopt;
    };
    std::optional<Text> remark;
    if (!runSupervised(
            {SYS_unlinkat}, [&] { remark = removeSafely(URL::fromPath(file), std::nullopt); }, fail))
        GTEST_SKIP() << noSupervision;
    fs::remove_all(top);
    ASSERT_EQ(countIn(folder.path()), 1U);
    const std::string left = fs::directory_iterator { folder.path() } -> path().filename().string();
    EXPECT_EQ(remark, Text{"The hidden folder “" + left +
                           "”, made for the removal, is still in the same folder: Directory not empty."});
}

TEST_F(SupervisedRemoval, tellsOfItsOwnFolderWhenTheItemStaysToo) {
    const auto fail = [](const SystemCall&) { return EROFS; };
    std::optional<PlatformError> failure;
    if (!runSupervised(
            {SYS_unlinkat}, [&] { failure = removalError(file); }, fail))
        GTEST_SKIP() << noSupervision;
    ASSERT_TRUE(failure);
    EXPECT_TRUE(existsItself(file));
    EXPECT_EQ(countIn(folder.path()), 3U);
    const std::string message = failure->description().string();
    EXPECT_TRUE(message.starts_with("“file” couldn’t be removed. Read-only file system. The hidden folder “" +
                                    std::string{".kestrel-removing-"}))
        << message;
}

TEST_F(SupervisedRemoval, tellsWhatIsGoneWhenTheEmptiedFolderCannotBeLookedAt) {
    bool isEmptied = false;
    const auto fail = [&](const SystemCall& call) -> std::optional<int> {
        if (call.number == SYS_unlinkat) isEmptied = isEmptied || call.text(1) == "sub";
        if (call.number != SYS_newfstatat || call.text(1) != "top" || !isEmptied) return std::nullopt;
        isEmptied = false;
        return EIO;
    };
    if (!remove({SYS_newfstatat, SYS_unlinkat}, fail)) GTEST_SKIP() << noSupervision;
    EXPECT_EQ(failures[1], "“top” couldn’t be removed. Some of its contents were removed; it stopped at “" + top +
                               "”: Input/output error.");
    EXPECT_TRUE(existsItself(top));
    EXPECT_EQ(countIn(folder.path()), 1U);
}

TEST_F(SupervisedRemoval, tellsWhatIsGoneWhenTheEmptiedFolderIsAnotherOne) {
    bool isEmptied = false;
    const auto exchange = [&](const SystemCall& call) -> std::optional<int> {
        if (call.number == SYS_unlinkat) isEmptied = isEmptied || call.text(1) == "sub";
        if (call.number != SYS_newfstatat || call.text(1) != "top" || !isEmptied) return std::nullopt;
        isEmptied = false;
        const fs::path place = fs::read_symlink("/proc/self/fd/" + std::to_string(call.descriptor(0))) / "top";
        fs::rename(place, folder.path() + "/elsewhere");
        fs::create_directory(place);
        return std::nullopt;
    };
    if (!remove({SYS_newfstatat, SYS_unlinkat}, exchange)) GTEST_SKIP() << noSupervision;
    EXPECT_EQ(failures[1],
              std::string{changedMessage} + " Some of its contents were removed; it stopped at “" + top + "”.");
    EXPECT_TRUE(existsItself(top));
}

TEST_F(SupervisedRemoval, saysWhyAnItemCannotBeLookedAtRatherThanThatItChanged) {
    const auto fail = [this](const SystemCall& call) -> std::optional<int> {
        const bool isMoved = !existsItself(file) && existsItself(top);
        return call.text(1) == "file" && isMoved ? std::optional{EIO} : std::nullopt;
    };
    // Once only: it is looked at again before it is put back.
    bool hasFailed = false;
    if (!remove({SYS_newfstatat}, [&](const SystemCall& call) -> std::optional<int> {
            const auto error = hasFailed ? std::nullopt : fail(call);
            hasFailed = hasFailed || error;
            return error;
        }))
        GTEST_SKIP() << noSupervision;
    EXPECT_EQ(failures[0], "“file” couldn’t be removed. Input/output error.");
    EXPECT_TRUE(existsItself(file));
}

TEST_F(SupervisedRemoval, endsOnAFileSystemThatSaysThatEveryNameIsTaken) {
    int renames = 0;
    // In the end it gives in, so that this ends whatever happens.
    const auto lie = [&renames](const SystemCall&) { return ++renames < 1000 ? std::optional{EEXIST} : std::nullopt; };
    if (!remove({SYS_renameat2}, lie)) GTEST_SKIP() << noSupervision;
    EXPECT_EQ(failures[0], "“file” couldn’t be removed. File exists.");
    EXPECT_LT(renames, 100);
    expectAllStays();
}

TEST_F(SupervisedRemoval, lastLooksAtAnItemWhereNobodyElseCanEnter) {
    std::vector<std::string> places;
    const auto look = [&](const SystemCall& call) -> std::optional<int> {
        if (call.text(1) != "file" && call.text(1) != "top") return std::nullopt;
        const auto place = fs::read_symlink("/proc/self/fd/" + std::to_string(call.descriptor(0)));
        struct stat status {};
        EXPECT_EQ(::fstat(call.descriptor(0), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0700U);
        EXPECT_EQ(status.st_uid, ::geteuid());
        EXPECT_EQ(place.parent_path(), folder.path());
        EXPECT_TRUE(isRemovalName(place.filename().string())) << place;
        places.push_back(call.text(1));
        return std::nullopt;
    };
    if (!remove({SYS_unlinkat}, look)) GTEST_SKIP() << noSupervision;
    EXPECT_EQ(places, (std::vector<std::string>{"file", "top"}));
    EXPECT_EQ(countIn(folder.path()), 0U);
}

TEST_F(SupervisedRemoval, getsAlongWithoutAFolderOfItsOwn) {
    for (const int error : {ENOSPC, EACCES, EIO}) {
        SetUp();
        failures.clear();
        if (!remove({SYS_mkdirat}, [error](const SystemCall&) { return error; })) GTEST_SKIP() << noSupervision;
        EXPECT_EQ(failures, (std::vector<std::string>{"", ""})) << error;
        EXPECT_EQ(countIn(folder.path()), 0U) << error;
    }
}

TEST_F(SupervisedRemoval, refusesWhereTheSystemDoesNotTellWhatIsMounted) {
    const auto hide = [](const SystemCall& call) {
        return call.text(1) == "/proc/self/mountinfo" ? std::optional{ENOENT} : std::nullopt;
    };
    if (!remove({SYS_openat}, hide)) GTEST_SKIP() << noSupervision;
    EXPECT_EQ(failures[0], "“file” couldn’t be removed. Without /proc the system does not tell what is mounted in it.");
    expectAllStays();
}

TEST_F(SupervisedRemoval, putsBackWhatWasOnlyMovedAsideWhenItIsCancelled) {
    const auto cancel = [this](const SystemCall&) -> std::optional<int> {
        cancellation.cancel();
        return std::nullopt;
    };
    if (!remove({SYS_renameat2}, cancel)) GTEST_SKIP() << noSupervision;
    EXPECT_EQ(failures[0], "“file” couldn’t be removed. Operation canceled.");
    expectAllStays();
}

TEST_F(SupervisedRemoval, tellsWhatIsGoneWhenItIsCancelledWithinAFolder) {
    fs::remove(file);
    for (int i = 0; i < 20; ++i) writeFile(top + "/" + std::to_string(i));
    int removed = 0;
    const auto cancel = [&](const SystemCall&) -> std::optional<int> {
        if (++removed == 5) cancellation.cancel();
        return std::nullopt;
    };
    if (!remove({SYS_unlinkat}, cancel)) GTEST_SKIP() << noSupervision;
    EXPECT_TRUE(failures[1].starts_with(
        "“top” couldn’t be removed. Some of its contents were removed; it stopped at “" + top + "/"))
        << failures[1];
    EXPECT_TRUE(failures[1].ends_with("”: Operation canceled.")) << failures[1];
    EXPECT_EQ(countIn(top), 16U);  // five files are gone, and the folder in it is there
    EXPECT_EQ(countIn(folder.path()), 1U);
}

TEST_F(SupervisedRemoval, goesThroughAFolderInTheOrderOfInodes) {
    std::vector<std::pair<ino_t, std::string>> files;
    std::vector<std::pair<ino_t, std::string>> folders;
    for (int i = 0; i < 40; ++i) {
        const std::string name = std::to_string(i * 7919 % 1000);
        if (i % 2 == 0) {
            fs::create_directory(top + "/" + name);
        } else {
            writeFile(top + "/" + name);
        }
        (i % 2 == 0 ? folders : files).emplace_back(expectation(top + "/" + name).inode, name);
    }
    folders.emplace_back(expectation(top + "/sub").inode, "sub");
    std::vector<std::string> expected;
    for (auto* items : {&files, &folders}) {
        std::sort(items->begin(), items->end());
        for (const auto& [inode, name] : *items) expected.push_back(name);
    }
    std::vector<std::string> order;
    const auto note = [&](const SystemCall& call) -> std::optional<int> {
        if (std::find(expected.begin(), expected.end(), call.text(1)) != expected.end()) order.push_back(call.text(1));
        return std::nullopt;
    };
    if (!remove({SYS_unlinkat}, note)) GTEST_SKIP() << noSupervision;
    EXPECT_EQ(order, expected);
}

TEST(SafeRemoval, removesAllOrNothingHoweverFewDescriptorsThereAre) {
    const InMemory inMemory;
    int whole = 0;
    int gone = 0;
    for (rlim_t most = 3; most < 20; ++most) {
        const TemporaryFolder folder;
        const std::string top = folder.path() + "/top";
        fs::create_directories(top + "/a/b/c/d");
        for (const char* name : {"/f", "/a/f", "/a/b/f", "/a/b/c/f", "/a/b/c/d/f"}) writeFile(top + name);
        inChild(ChildSetting::same, [&] {
            const rlimit descriptors{most, most};
            ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &descriptors), 0);
            (void)removalError(top);
        });
        if (!existsItself(top)) {
            ++gone;
        } else {
            ++whole;
            EXPECT_EQ(std::distance(fs::recursive_directory_iterator{top}, {}), 9) << most << " descriptors";
        }
        EXPECT_EQ(InterruptedRemovals::in(folder.path()).count, 0U) << most << " descriptors";
    }
    EXPECT_GT(whole, 0);
    EXPECT_GT(gone, 0);
}

TEST(InterruptedRemovals, namesFewOfManyAndOnlyThoseOfThisUser) {
    const TemporaryFolder folder;
    for (int i = 0; i < 10; ++i) folder.makeFolder(".kestrel-removing-000000000000000" + std::to_string(i));
    std::size_t own = 10;
    if (::geteuid() == 0) {
        const std::string planted = folder.path() + "/.kestrel-removing-0000000000000001";
        ASSERT_EQ(::chown(planted.c_str(), 65534, 65534), 0);
        --own;
    }
    const InterruptedRemovals found = InterruptedRemovals::in(folder.path());
    EXPECT_EQ(found.count, own);
    ASSERT_EQ(found.names.size(), 3U);
    EXPECT_EQ(found.names[0], Text{".kestrel-removing-0000000000000000"});
    EXPECT_EQ(InterruptedRemovals::in(folder.path() + "/missing").count, 0U);
}

}  // namespace KestrelCore
