#include "KestrelCore/Platform/Linux/Trash.hpp"

#include "KestrelCore/Platform/FileStatus.hpp"
#include "KestrelCore/Platform/Linux/TrashInfo.hpp"
#include "KestrelCore/Platform/TrashAccess.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace KestrelCore {

namespace fs = std::filesystem;

namespace {

constexpr const char* protectedMessage = "Trash and Time Machine content are protected from Kestrel deletion.";

class TrashTest : public testing::Test {
protected:
    TrashTest() {
        if (const char* value = std::getenv("XDG_DATA_HOME")) before_ = value;
        ::setenv("XDG_DATA_HOME", dataHome.c_str(), 1);
    }
    ~TrashTest() override {
        if (before_) {
            ::setenv("XDG_DATA_HOME", before_->c_str(), 1);
        } else {
            ::unsetenv("XDG_DATA_HOME");
        }
    }

    std::string file(const std::string& name, const std::string& content = "content") const {
        const std::string path = folder.path() + "/" + name;
        std::ofstream{path} << content;
        return path;
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
        return moveToTrash(URL::fromPath(path), std::nullopt).value().path().string();
    }
    static PlatformError failure(const std::string& path, const std::optional<ExpectedItem>& expected = std::nullopt) {
        try {
            (void)moveToTrash(URL::fromPath(path), expected);
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
            restoreFromTrash(URL::fromPath(from), URL::fromPath(to), expected);
            return "";
        } catch (const PlatformError& error) {
            return error.what();
        }
    }

    TemporaryFolder folder;
    std::string dataHome = folder.path() + "/data";
    std::string trash = dataHome + "/Trash";

private:
    std::optional<std::string> before_;
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

TEST(TrashInfo, encodesAndDecodesEveryByte) {
    std::string bytes;
    for (int byte = 1; byte < 256; ++byte) bytes += static_cast<char>(byte);
    EXPECT_EQ(percentDecodedPath(percentEncodedPath(bytes)), bytes);
    EXPECT_EQ(percentEncodedPath("/a b%\n\xff"), "/a%20b%25%0A%FF");
    for (const char* malformed : {"%", "%1", "a%zz", "%00", "%-1"})
        EXPECT_EQ(percentDecodedPath(malformed), std::nullopt);
}

TEST(TrashInfo, readsOnlyWhatItUnderstands) {
    EXPECT_EQ(pathOfTrashInfo("[Trash Info]\nPath=/a%20b\nDeletionDate=x\n"), "/a b");
    EXPECT_EQ(pathOfTrashInfo("# comment\n\n[Trash Info]\nDeletionDate=x\nPath=a"), "a");
    for (const char* malformed : {"", "Path=/a", "[Other]\nPath=/a", "[Trash Info]\n[Other]\nPath=/a",
                                  "[Trash Info]\nPath=%", "[Trash Info]", "[Trash Info]\npath=/a"})
        EXPECT_EQ(pathOfTrashInfo(malformed), std::nullopt) << malformed;
}

}  // namespace KestrelCore
