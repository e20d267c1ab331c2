#include "Platform/Linux/Removal/SafeRemoval.hpp"

#include "Platform/DeletionGuard.hpp"
#include "Platform/FileStatus.hpp"
#include "support/InMemory.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
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
                                          const std::optional<ExpectedItem>& expected = std::nullopt) {
    try {
        removeSafely(URL::fromPath(path), expected);
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
    EXPECT_TRUE(interruptedRemovals(folder.path()).empty());
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

}  // namespace KestrelCore
