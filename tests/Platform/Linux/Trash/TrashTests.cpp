#include "Platform/Linux/Trash/Trash.hpp"

#include "Base/PercentCoding.hpp"
#include "Platform/FileStatus.hpp"
#include "Platform/Linux/Trash/TrashInfo.hpp"
#include "Platform/TrashAccess.hpp"
#include "support/ChildProcess.hpp"
#include "support/EnvironmentSetting.hpp"
#include "support/InMemory.hpp"
#include "support/SupervisedCalls.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace KestrelCore {

namespace fs = std::filesystem;

namespace {

constexpr const char* protectedMessage = "Trash and Time Machine content are protected from Kestrel deletion.";

class TrashTest : public testing::Test {
protected:
    std::string file(const std::string& name, const std::string& content = "content") const {
        return folder.makeFile(name, content);
    }
    std::string trashed(const std::string& name) const { return trash + "/files/" + name; }
    std::string info(const std::string& name) const {
        std::ostringstream text;
        text << std::ifstream{trash + "/info/" + name + ".trashinfo"}.rdbuf();
        return text.str();
    }
    static bool existsItself(const std::string& path) { return fileStatus(path).status.has_value(); }
    static std::size_t countIn(const std::string& path) {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator{path}, fs::directory_iterator{}));
    }
    static std::string put(const std::string& path) {
        TrashSizes sizes;
        return moveToTrash(URL::fromPath(path), std::nullopt, sizes).value().path().string();
    }
    static PlatformError failure(const std::string& path, const std::optional<ExpectedItem>& expected = std::nullopt) {
        try {
            TrashSizes sizes;
            (void)moveToTrash(URL::fromPath(path), expected, sizes);
        } catch (const PlatformError& error) {
            return error;
        }
        return {PlatformError::Domain::posix, 0, "no failure"};
    }
    static ExpectedItem expectation(const std::string& path) {
        const FileStatus status = fileStatus(path).status.value();
        return {status.device, status.inode, fileTypeBits(status.type)};
    }
    static std::string restoreFailure(const std::string& from, const std::string& to, const ExpectedItem& expected) {
        try {
            const auto remark = restoreFromTrash(URL::fromPath(from), URL::fromPath(to), expected);
            return remark ? remark->string() : "";
        } catch (const PlatformError& error) {
            return error.what();
        }
    }

    TemporaryFolder folder;
    std::string dataHome = folder.path() + "/data";
    std::string trash = dataHome + "/Trash";
    EnvironmentSetting setting{"XDG_DATA_HOME", dataHome.c_str()};
};

}  // namespace

TEST_F(TrashTest, movesAFileAndWritesDownWhereItWas) {
    const std::string path = file("old letter.txt");
    EXPECT_EQ(put(path), trashed("old letter.txt"));
    EXPECT_FALSE(existsItself(path));
    EXPECT_EQ(fs::file_size(trashed("old letter.txt")), 7U);
    const std::regex form{"\\[Trash Info\\]\nPath=" + percentEncodedPath(path) +
                          "\nDeletionDate=\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\n"};
    EXPECT_TRUE(std::regex_match(info("old letter.txt"), form)) << info("old letter.txt");
    EXPECT_EQ(fs::status(trash).permissions(), fs::perms::owner_all);
}

TEST_F(TrashTest, movesAFolderWholeAndNotesItsSize) {
    const std::string path = folder.path() + "/photos";
    fs::create_directories(path + "/2020/\xff\xfe");
    std::ofstream{path + "/2020/a"} << std::string(10'000, 'x');
    EXPECT_EQ(put(path), trashed("photos"));
    EXPECT_TRUE(existsItself(trashed("photos") + "/2020/\xff\xfe"));
    std::uint64_t bytes = 0;
    for (const std::string& part :
         {std::string{}, std::string{"/2020"}, std::string{"/2020/\xff\xfe"}, std::string{"/2020/a"}}) {
        struct stat status {};
        ASSERT_EQ(::lstat((trashed("photos") + part).c_str(), &status), 0);
        bytes += static_cast<std::uint64_t>(status.st_blocks) * 512;
    }
    struct stat infoStatus {};
    ASSERT_EQ(::stat((trash + "/info/photos.trashinfo").c_str(), &infoStatus), 0);
    std::ostringstream sizes;
    sizes << std::ifstream{trash + "/directorysizes"}.rdbuf();
    EXPECT_EQ(sizes.str(), std::to_string(bytes) + " " + std::to_string(infoStatus.st_mtim.tv_sec) + " photos\n");

    fs::create_directories(folder.path() + "/a b");
    EXPECT_EQ(put(folder.path() + "/a b"), trashed("a b"));
    std::ostringstream both;
    both << std::ifstream{trash + "/directorysizes"}.rdbuf();
    EXPECT_TRUE(both.str().starts_with(sizes.str()));
    EXPECT_TRUE(both.str().ends_with(" a%20b\n"));
    EXPECT_EQ(countIn(trash), 3U);
}

TEST_F(TrashTest, numbersEqualNamesAndNeverReplaces) {
    EXPECT_EQ(put(file("a", "1")), trashed("a"));
    EXPECT_EQ(put(file("a", "22")), trashed("a 2"));
    std::ofstream{trashed("a 3")} << "orphan";                       // an item without info
    std::ofstream{trash + "/info/a 4.trashinfo"} << "[Trash Info]";  // an info without item
    EXPECT_EQ(put(file("a", "333")), trashed("a 5"));
    EXPECT_EQ(fs::file_size(trashed("a")), 1U);
    EXPECT_EQ(fs::file_size(trashed("a 2")), 2U);
    EXPECT_EQ(fs::file_size(trashed("a 3")), 6U);
    EXPECT_EQ(fs::file_size(trashed("a 5")), 3U);
    EXPECT_FALSE(existsItself(trash + "/info/a 3.trashinfo"));
}

TEST_F(TrashTest, takesARandomNumberAfterAHundredEqualNames) {
    for (int i = 0; i < 103; ++i) put(file("same"));
    EXPECT_EQ(countIn(trash + "/files"), 103U);
    EXPECT_EQ(countIn(trash + "/info"), 103U);
    EXPECT_TRUE(existsItself(trashed("same 100")));
    EXPECT_FALSE(existsItself(trashed("same 101")));
}

TEST(TrashNames, takesTenThousandEqualNames) {
    const InMemory inMemory;
    const TemporaryFolder folder;
    const EnvironmentSetting dataHome{"XDG_DATA_HOME", (folder / "data").c_str()};
    TrashSizes sizes;
    for (int i = 0; i < 10'000; ++i)
        ASSERT_TRUE(moveToTrash(URL::fromPath(folder.makeFile("same")), std::nullopt, sizes)) << i;
    for (const char* part : {"data/Trash/files", "data/Trash/info"}) {
        const fs::directory_iterator all{folder / part};
        EXPECT_EQ(std::distance(begin(all), end(all)), 10'000);
    }
}

TEST_F(TrashTest, shortensLongNamesBetweenCharacters) {
    const std::string plain(255, 'n');
    const std::string accented = [] {
        std::string name;
        for (int i = 0; i < 127; ++i) name += "\u00e9";
        return name + "x";
    }();
    for (const std::string& name : {plain, accented, std::string{"x.trashinfo"}}) {
        const std::string path = file(name);
        const std::string first = put(path);
        const std::string second = put(file(name));
        for (const std::string& place : {first, second}) {
            const std::string newName = place.substr(place.rfind('/') + 1);
            EXPECT_LE(newName.size(), 245U);
            EXPECT_EQ(Text{newName}.view(), newName);  // still well-formed
            EXPECT_EQ(pathOfTrashInfo(info(newName)), path);
        }
        EXPECT_NE(first, second);
    }
}

TEST_F(TrashTest, keepsOddNames) {
    for (const char* name : {"new\nline", "100% = all", "-rf", " ", "\x1b[31m", "\u202e", "#?&"}) {
        const std::string path = file(name);
        EXPECT_EQ(put(path), trashed(name));
        EXPECT_EQ(pathOfTrashInfo(info(name)), path);
    }
}

TEST_F(TrashTest, leavesAnItemThatIsNotTheExpectedOne) {
    const std::string path = file("a");
    ExpectedItem expected = expectation(path);
    ++expected.inode;
    EXPECT_EQ(failure(path, expected).description(),
              Text{"The item changed since the scan. Scan again before deleting it."});
    EXPECT_TRUE(existsItself(path));
    EXPECT_FALSE(existsItself(trash));
}

TEST_F(TrashTest, refusesTheTrashAndWhatIsInIt) {
    put(file("a"));
    for (const std::string& path : {trash, trash + "/files", trash + "/info", trashed("a")})
        EXPECT_EQ(failure(path).description(), Text{protectedMessage}) << path;
    EXPECT_TRUE(existsItself(trashed("a")));
}

TEST_F(TrashTest, refusesAFolderThatHoldsTheTrash) {
    put(file("a"));
    const auto error = failure(dataHome);
    EXPECT_EQ(error.description(), Text{"“data” couldn’t be moved to the trash. The trash itself is in it."});
    EXPECT_EQ(countIn(trash + "/info"), 1U);
    EXPECT_EQ(countIn(trash + "/files"), 1U);
}

TEST_F(TrashTest, refusesOthersContentThatCouldNeverBeEmptied) {
    if (::geteuid() != 0) GTEST_SKIP() << "Only root can give items to another user";
    const auto give = [&](const std::string& path) { EXPECT_EQ(::lchown(path.c_str(), 65534, 65534), 0) << path; };
    const auto setMode = [&](const std::string& path, mode_t mode) { EXPECT_EQ(::chmod(path.c_str(), mode), 0); };
    const std::string home = folder.makeFolder("home");
    setMode(folder.path(), 0755);
    give(home);
    give(folder.makeFolder("data"));
    // Each an own folder with one folder of root's in it, and root's file in that.
    struct Case {
        const char* name;
        mode_t mode;
        bool isRefused;
    };
    const std::vector<Case> cases{{"writable by root", 0755, true},
                                  {"readable by root", 0700, true},
                                  {"sticky", 01777, true},
                                  {"writable by all", 0777, false}};
    for (const Case& one : cases) {
        const std::string path = home + "/" + one.name;
        folder.makeFile("home/" + std::string{one.name} + "/own/theirs/file");
        setMode(path + "/own/theirs", one.mode);
        give(path);
        give(path + "/own");
    }
    // Root's own file and empty folder can be removed by the owner of the folder that holds them.
    folder.makeFile("home/removable/file");
    folder.makeFolder("home/removable/empty");
    folder.makeFolder("home/removable/dropped");
    give(folder.makeFile("home/removable/dropped/own"));
    setMode(home + "/removable/dropped", 01777);
    give(home + "/removable");
    // Root's folder, which others may move but not list.
    folder.makeFile("home/unlisted/file");
    setMode(home + "/unlisted", 0733);

    inChild(ChildSetting::unprivileged, [&] {
        const auto refusal = [](const std::string& name, const std::string& path) {
            return "“" + name + "” couldn’t be moved to the trash because you don’t have permission to access it. “" +
                   path + "” belongs to another user and could not be emptied from the trash.";
        };
        for (const Case& one : cases) {
            if (!one.isRefused) continue;
            const std::string path = home + "/" + one.name;
            EXPECT_EQ(failure(path).description().string(), refusal(one.name, path + "/own/theirs"));
            EXPECT_TRUE(existsItself(path));
        }
        EXPECT_EQ(failure(home + "/unlisted").description().string(), refusal("unlisted", home + "/unlisted"));
        EXPECT_FALSE(existsItself(trash)) << "nothing is left behind";
        EXPECT_EQ(put(home + "/writable by all"), trashed("writable by all"));
        EXPECT_EQ(put(home + "/removable"), trashed("removable"));
    });
    for (const Case& one : cases)
        EXPECT_EQ(existsItself(home + "/" + one.name + "/own/theirs/file"), one.isRefused) << one.name;
    EXPECT_TRUE(existsItself(trashed("removable/dropped/own")));
}

TEST(TrashInNamespace, refusesContentOfUsersOutsideOfIt) {
    inChild(ChildSetting::unprivileged, [] {
        inChild(ChildSetting::mountNamespace, [] {
            // An own folder "share" that shows what is in the system's: root's, whom this namespace does not know.
            const TemporaryFolder folder;
            ASSERT_EQ(::mount("none", folder.path().c_str(), "tmpfs", 0, nullptr), 0);
            const std::string item = folder / "merged/share";
            const std::string trash = folder / "merged/data/Trash";
            for (const char* name : {"upper/share", "work", "merged"}) folder.makeFolder(name);
            const std::string layers =
                "lowerdir=/usr,upperdir=" + folder / "upper" + ",workdir=" + folder / "work" + ",userxattr";
            if (::mount("none", (folder / "merged").c_str(), "overlay", 0, layers.c_str()) != 0)
                GTEST_SKIP() << "No layered file systems here";
            const EnvironmentSetting dataHome{"XDG_DATA_HOME", (folder / "merged/data").c_str()};
            try {
                TrashSizes sizes;
                (void)moveToTrash(URL::fromPath(item), std::nullopt, sizes);
                ADD_FAILURE() << "it was moved";
            } catch (const PlatformError& error) {
                EXPECT_TRUE(error.description().view().ends_with("belongs to another user and could not be emptied "
                                                                 "from the trash."))
                    << error.what();
            }
            EXPECT_TRUE(fs::is_directory(item));
            EXPECT_FALSE(fs::exists(trash));
            EXPECT_EQ(::umount((folder / "merged").c_str()), 0);
            EXPECT_EQ(::umount(folder.path().c_str()), 0);
        });
    });
}

TEST_F(TrashTest, usesNoTrashThatBelongsToAnother) {
    if (::geteuid() != 0) GTEST_SKIP() << "Only root can give items to another user";
    inChild(ChildSetting::mountNamespace, [] {
        const TemporaryFolder folder;
        const EnvironmentSetting dataHome{"XDG_DATA_HOME", (folder / "data").c_str()};
        const std::string volume = folder.makeFolder("disk");
        const auto give = [](const std::string& path) { EXPECT_EQ(::chown(path.c_str(), 65534, 65534), 0); };
        ASSERT_EQ(::mount("none", volume.c_str(), "tmpfs", 0, "size=1m"), 0);
        const std::string item = folder.makeFile("disk/item");
        const std::string shared = folder.makeFolder("disk/.Trash");
        ASSERT_EQ(::chmod(shared.c_str(), 01777), 0);
        const std::string own = folder / "disk/.Trash-0";

        give(shared);  // theirs altogether
        EXPECT_EQ(put(item), own + "/files/item");
        EXPECT_EQ(countIn(shared), 0U);

        folder.makeFile("disk/item");
        ASSERT_EQ(::chown(shared.c_str(), 0, 0), 0);
        give(folder.makeFolder("disk/.Trash/0"));  // theirs in the shared one
        EXPECT_EQ(put(item), own + "/files/item 2");
        EXPECT_EQ(countIn(shared + "/0"), 0U);

        folder.makeFile("disk/item");
        give(own);
        EXPECT_EQ(failure(item).description(),
                  Text{"“item” couldn’t be moved to the trash because the volume “disk” doesn’t have one."});
        EXPECT_EQ(countIn(own + "/info"), 2U);
        EXPECT_TRUE(existsItself(item));
        EXPECT_EQ(::umount(volume.c_str()), 0);
    });
}

TEST_F(TrashTest, saysThatAnItemIsMissing) {
    EXPECT_EQ(failure(folder.path() + "/missing").code(), PlatformError::fileNoSuchFile);
    EXPECT_FALSE(existsItself(trash));
}

TEST_F(TrashTest, restoresAnItemToItsPlace) {
    const std::string path = file("a");
    const ExpectedItem expected = expectation(path);
    const std::string place = put(path);
    EXPECT_TRUE(isInTrash(URL::fromPath(place), expected));
    EXPECT_EQ(findInTrash(URL::fromPath(path), expected).value().path(), Text{place});
    EXPECT_EQ(restoreFailure(place, path, expected), "");
    EXPECT_TRUE(existsItself(path));
    EXPECT_EQ(countIn(trash + "/info"), 0U);
    EXPECT_EQ(countIn(trash + "/files"), 0U);
    EXPECT_FALSE(isInTrash(URL::fromPath(place), expected));
}

TEST_F(TrashTest, restoresNothingElseThanWhatTheTrashHasOnRecord) {
    const std::string path = file("a");
    const ExpectedItem expected = expectation(path);
    const std::string place = put(path);
    const std::string elsewhere = folder.path() + "/elsewhere";

    EXPECT_NE(restoreFailure(place, elsewhere, expected), "");
    EXPECT_NE(restoreFailure(place, path, ExpectedItem{expected.device, expected.inode + 1, 0}), "");
    EXPECT_NE(restoreFailure(file("b"), path, expected), "");         // not from a trash
    EXPECT_NE(restoreFailure(trashed("sub/a"), path, expected), "");  // not right in it
    EXPECT_NE(restoreFailure(trashed(".."), path, expected), "");
    EXPECT_NE(restoreFailure(trash + "/info/a.trashinfo", path, expected), "");

    file("a", "a new one");
    EXPECT_EQ(restoreFailure(place, path, expected).find("already exists") == std::string::npos, false);
    EXPECT_EQ(fs::file_size(path), 9U);
    EXPECT_TRUE(existsItself(place));

    fs::remove(path);
    fs::remove(trash + "/info/a.trashinfo");
    EXPECT_NE(restoreFailure(place, path, expected), "");
    EXPECT_TRUE(existsItself(place));
}

TEST_F(TrashTest, restoresOnlyIntoAFolderThatExistsAndIsNoLink) {
    fs::create_directory(folder.path() + "/sub");
    const std::string path = file("sub/a");
    const ExpectedItem expected = expectation(path);
    const std::string place = put(path);
    fs::remove(folder.path() + "/sub");
    EXPECT_EQ(restoreFailure(place, path, expected), "The folder “sub” doesn’t exist.");
    fs::create_directory(folder.path() + "/other");
    fs::create_directory_symlink(folder.path() + "/other", folder.path() + "/sub");
    EXPECT_NE(restoreFailure(place, path, expected), "");
    EXPECT_TRUE(existsItself(place));
    EXPECT_EQ(countIn(folder.path() + "/other"), 0U);
}

// Faults, and what others do meanwhile, at an exact call.

TEST_F(TrashTest, goesOnAfterARenameThatWasDoneAndReportedAsFailed) {
    for (const int error : {EIO, ENOENT, EEXIST}) {
        const std::string path = file("item");
        std::string place;
        std::string message;
        const ExpectedItem expected = expectation(path);
        const bool isSupervised = runSupervised(
            {SYS_renameat2},
            [&] {
                place = put(path);
                message = restoreFailure(place, path, expected);
            },
            [error](const SystemCall& call) { return call.make() == 0 ? error : EACCES; });
        if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
        EXPECT_EQ(place, trashed("item"));
        EXPECT_EQ(message, "");
        EXPECT_TRUE(existsItself(path));
        EXPECT_EQ(countIn(trash + "/files"), 0U);
        EXPECT_EQ(countIn(trash + "/info"), 0U);
    }
}

TEST_F(TrashTest, endsOnAFileSystemThatSaysThatEveryNameIsTaken) {
    const std::string path = file("item");
    int renames = 0;
    std::string message;
    const bool isSupervised = runSupervised(
        {SYS_renameat2}, [&] { message = failure(path).what(); },
        [&](const SystemCall&) { return ++renames < 1000 ? std::optional{EEXIST} : std::nullopt; });
    if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
    EXPECT_LT(renames, 200);
    EXPECT_EQ(message, "“item” couldn’t be moved to the trash. File exists.");
    EXPECT_TRUE(existsItself(path));
    EXPECT_EQ(countIn(trash + "/info"), 0U);
}

TEST_F(TrashTest, isWholeWithoutRandomNumbers) {
    for (int i = 0; i < 100; ++i) put(file("same"));
    const std::string path = file("same");
    const std::string held = folder.makeFolder("held");
    std::string message;
    std::string place;
    const bool isSupervised = runSupervised(
        {SYS_getrandom},
        [&] {
            message = failure(path).what();  // needs one for its name
            place = put(held);               // needs one for the note of its size, which can be done without
        },
        [](const SystemCall&) { return EIO; });
    if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
    EXPECT_EQ(message, "“same” couldn’t be moved to the trash. Input/output error.");
    EXPECT_TRUE(existsItself(path));
    EXPECT_EQ(place, trashed("held"));
    EXPECT_EQ(countIn(trash + "/info"), 101U);
    EXPECT_EQ(countIn(trash + "/files"), 101U);
}

TEST_F(TrashTest, refusesWhereTheSystemDoesNotTellWhatIsMounted) {
    const std::string path = file("item");
    std::string message;
    const bool isSupervised = runSupervised(
        {SYS_openat}, [&] { message = failure(path).what(); },
        [](const SystemCall& call) {
            return call.text(1) == "/proc/self/mountinfo" ? std::optional{ENOENT} : std::nullopt;
        });
    if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
    EXPECT_EQ(message,
              "“item” couldn’t be moved to the trash. Without /proc the system does not tell what is mounted in it.");
    EXPECT_TRUE(existsItself(path));
}

TEST_F(TrashTest, staysWhenItIsCancelledWhileItIsLookedThrough) {
    const std::string path = folder.makeFolder("item");
    folder.makeFolder("item/sub");
    CancellationToken cancellation;
    std::string message;
    const bool isSupervised = runSupervised(
        {SYS_getdents64},
        [&] {
            try {
                TrashSizes sizes;
                (void)moveToTrash(URL::fromPath(path), std::nullopt, sizes, cancellation);
            } catch (const PlatformError& error) {
                message = error.what();
            }
        },
        [&](const SystemCall&) -> std::optional<int> {
            cancellation.cancel();
            return std::nullopt;
        });
    if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
    EXPECT_EQ(message, "“item” couldn’t be moved to the trash. Operation canceled.");
    EXPECT_TRUE(existsItself(path + "/sub"));
}

TEST_F(TrashTest, staysWhenItIsCancelledWithinOneFolder) {
    const std::string path = folder.makeFolder("item");
    for (int i = 0; i < 50; ++i) folder.makeFile("item/f" + std::to_string(i));
    CancellationToken cancellation;
    std::string message;
    int looks = 0;
    const bool isSupervised = runSupervised(
        {SYS_newfstatat},
        [&] {
            try {
                TrashSizes sizes;
                (void)moveToTrash(URL::fromPath(path), std::nullopt, sizes, cancellation);
            } catch (const PlatformError& error) {
                message = error.what();
            }
        },
        [&](const SystemCall& call) -> std::optional<int> {
            if (!call.text(1).starts_with("f")) return std::nullopt;
            if (++looks == 3) cancellation.cancel();
            return std::nullopt;
        });
    if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
    EXPECT_EQ(message, "“item” couldn’t be moved to the trash. Operation canceled.");
    EXPECT_EQ(looks, 3);
    EXPECT_EQ(countIn(path), 50U);
}

TEST_F(TrashTest, tellsOfAnInfoFileThatStays) {
    for (const int failing : {1, 2}) {
        const std::string path = file("item");
        const ExpectedItem expected = expectation(path);
        const std::string place = put(path);
        std::string message;
        int failed = 0;
        const bool isSupervised = runSupervised(
            {SYS_unlinkat}, [&] { message = restoreFailure(place, path, expected); },
            [&](const SystemCall& call) {
                return call.text(1) == "item.trashinfo" && ++failed <= failing ? std::optional{EACCES} : std::nullopt;
            });
        if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
        EXPECT_TRUE(existsItself(path));
        EXPECT_EQ(message, failing == 1 ? ""
                                        : "“" + trash +
                                              "/info/item.trashinfo” could not be removed, so the trash may list "
                                              "what is not in it: Permission denied.");
        EXPECT_EQ(countIn(trash + "/info"), failing == 1 ? 0U : 1U);
    }
}

TEST_F(TrashTest, knowsARestoredItemAgainAfterALookThatFailed) {
    for (const int failing : {1, 2}) {
        const std::string path = file("item");
        const ExpectedItem expected = expectation(path);
        const std::string place = put(path);
        std::string message;
        int failed = 0;
        const bool isSupervised = runSupervised(
            {SYS_newfstatat}, [&] { message = restoreFailure(place, path, expected); },
            [&](const SystemCall& call) {
                // Only where it came from, and only once it is there again.
                const bool isBack = call.text(1) == "item" && existsItself(path);
                return isBack && ++failed <= failing ? std::optional{EIO} : std::nullopt;
            });
        if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
        EXPECT_EQ(message,
                  failing == 1 ? "" : "The item was put back, and can’t be looked at there. Input/output error.");
        EXPECT_TRUE(existsItself(path));
    }
}

TEST_F(TrashTest, takesNoMountAlongThatWasMadeMeanwhile) {
    // When the info file is written, and right before the rename.
    for (const long moment : {SYS_fsync, SYS_renameat2}) {
        const std::string path = folder.makeFolder("item");
        const std::string inner = folder.makeFolder("item/sub");
        inChild(ChildSetting::mountNamespace, [&] {
            std::string message;
            bool isMounted = false;
            const bool isSupervised = runSupervised(
                {moment}, [&] { message = failure(path).what(); },
                [&](const SystemCall&) -> std::optional<int> {
                    if (!isMounted) isMounted = ::mount("none", inner.c_str(), "tmpfs", 0, nullptr) == 0;
                    return std::nullopt;
                });
            if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
            EXPECT_TRUE(isMounted);
            EXPECT_EQ(message, "“item” couldn’t be moved to the trash. A file system is mounted on it or in it.");
            EXPECT_TRUE(existsItself(inner));
            EXPECT_EQ(countIn(trash + "/files"), 0U);
            EXPECT_EQ(countIn(trash + "/info"), 0U);
        });
        if (IsSkipped()) return;
    }
}

TEST_F(TrashTest, writesTheSizesOfOneRequestDownTogether) {
    constexpr int folders = 30;
    TrashSizes sizes;
    int writings = 0;
    const auto trashAll = [&](const std::string& name) {
        for (int i = 0; i < folders; ++i) {
            const std::string path = folder.makeFolder(name + std::to_string(i));
            ASSERT_TRUE(moveToTrash(URL::fromPath(path), std::nullopt, sizes));
        }
    };
    const bool isSupervised = runSupervised(
        {SYS_renameat},
        [&] {
            trashAll("alone");
            EXPECT_EQ(writings, folders);
            sizes.begin();
            trashAll("together");
            EXPECT_EQ(writings, folders);
            fs::rename(trashed("together0"), folder.path() + "/taken");  // by somebody else, with its info file
            fs::remove(trash + "/info/together0.trashinfo");
            sizes.end();
        },
        [&](const SystemCall& call) -> std::optional<int> {
            writings += call.text(3) == "directorysizes" ? 1 : 0;
            return std::nullopt;
        });
    if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
    EXPECT_EQ(writings, folders + 1);
    std::ifstream list{trash + "/directorysizes"};
    std::set<std::string> names;
    std::uint64_t bytes = 0;
    std::int64_t time = 0;
    for (std::string name; list >> bytes >> time >> name;) {
        struct stat status {};
        EXPECT_EQ(::stat((trash + "/info/" + name + ".trashinfo").c_str(), &status), 0) << name;
        EXPECT_EQ(time, status.st_mtim.tv_sec) << name;
        names.insert(name);
    }
    EXPECT_EQ(names.size(), 2U * folders - 1);
    EXPECT_FALSE(names.contains("together0"));
    EXPECT_EQ(countIn(trash), 3U);  // files, info and the sizes
}

TEST_F(TrashTest, leavesALongListOfSizesAloneWhenAFolderGoesBack) {
    const std::string path = folder.makeFolder("item");
    const ExpectedItem expected = expectation(path);
    const std::string place = put(path);
    const std::string list = trash + "/directorysizes";
    std::ofstream{list, std::ios::app} << "4096 1 " << std::string(70'000, 'x') << '\n';
    const ExpectedItem before = expectation(list);
    EXPECT_EQ(restoreFailure(place, path, expected), "");
    EXPECT_EQ(expectation(list), before);  // it was not written anew
}

TEST(TrashInfo, encodesAndDecodesEveryByte) {
    std::string bytes;
    for (int byte = 1; byte < 256; ++byte) bytes += static_cast<char>(byte);
    EXPECT_EQ(percentDecoded(percentEncodedPath(bytes)), bytes);
    EXPECT_EQ(percentEncodedPath("/a b%\n\xff"), "/a%20b%25%0A%FF");
    for (const char* malformed : {"%", "%1", "a%zz", "%00", "%-1"}) EXPECT_EQ(percentDecoded(malformed), std::nullopt);
}

TEST(TrashInfo, readsOnlyWhatItUnderstands) {
    EXPECT_EQ(pathOfTrashInfo("[Trash Info]\nPath=/a%20b\nDeletionDate=x\n"), "/a b");
    EXPECT_EQ(pathOfTrashInfo("# comment\n\n[Trash Info]\nDeletionDate=x\nPath=a"), "a");
    for (const char* malformed : {"", "Path=/a", "[Other]\nPath=/a", "[Trash Info]\n[Other]\nPath=/a",
                                  "[Trash Info]\nPath=%", "[Trash Info]", "[Trash Info]\npath=/a"})
        EXPECT_EQ(pathOfTrashInfo(malformed), std::nullopt) << malformed;
}

RC_GTEST_PROP(TrashInfo, survivesAnyText, (const std::string& text)) {
    const std::string begin = "[Trash Info]\n";
    for (const std::string& each : {text, begin + text, begin + "Path=" + text, begin + "DeletionDate=" + text}) {
        (void)pathOfTrashInfo(each);
        (void)dateOfTrashInfo(each);
    }
}

TEST(TrashInfo, readsTheLocalTimeOfADayThatThereIs) {
    const std::string begin = "[Trash Info]\nPath=/a\nDeletionDate=";
    const auto date = dateOfTrashInfo(begin + "2026-11-21T09:30:05\n");
    ASSERT_TRUE(date.has_value());
    std::tm local{};
    ::localtime_r(&*date, &local);
    EXPECT_EQ(trashInfoText("/a", local), begin + "2026-11-21T09:30:05\n");
    for (const char* malformed :
         {"", "2026-11-21", "2026-11-21T09:30:05Z", "2026-11-21 09:30:05", "20x6-11-21T09:30:05", "2026-06-31T09:30:05",
          "2026-13-01T09:30:05", "2026-11-21T24:00:00", "2026-11-21T09:60:00", "-026-11-21T09:30:05"})
        EXPECT_EQ(dateOfTrashInfo(begin + malformed), std::nullopt) << malformed;
    EXPECT_EQ(dateOfTrashInfo("[Trash Info]\nPath=/a\n"), std::nullopt);
}

}  // namespace KestrelCore
