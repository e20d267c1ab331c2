#include "store/ConfigurationFile.hpp"

#include "support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using KestrelCore::TemporaryFolder;
using testing::HasSubstr;
using testing::IsEmpty;

namespace KestrelCLI {

namespace {

namespace fs = std::filesystem;

class ConfigurationFile : public testing::Test {
protected:
    [[nodiscard]] Settings read() const {
        Settings settings;
        settings.file = path_;
        readConfigurationFile("/home/anna", settings);
        return settings;
    }
    /// The one problem of what is at the place; nothing of it may hold.
    [[nodiscard]] std::string problem() const {
        const Settings settings = read();
        EXPECT_EQ(settings.units.source, SettingSource::builtIn);
        EXPECT_EQ(settings.problems.size(), 1U);
        return settings.problems.empty() ? "" : sentenceOf(settings, settings.problems.front());
    }

    TemporaryFolder folder_;
    std::string path_ = folder_ / "config.toml";
};

}  // namespace

TEST(ConfigurationPath, followsTheVariableOnlyWhereThatIsAbsolute) {
    EXPECT_EQ(configurationPath("/home/anna", std::nullopt), "/home/anna/.config/kestrel/config.toml");
    EXPECT_EQ(configurationPath("/home/anna", "/etc/anna"), "/etc/anna/kestrel/config.toml");
    EXPECT_EQ(configurationPath("/home/anna", ""), "/home/anna/.config/kestrel/config.toml");
    EXPECT_EQ(configurationPath("/home/anna", "here"), "/home/anna/.config/kestrel/config.toml");
    EXPECT_EQ(configurationPath("", std::nullopt), "");
}

TEST_F(ConfigurationFile, isNotMissed) {
    const Settings settings = read();
    EXPECT_FALSE(settings.hasFile);
    EXPECT_THAT(settings.problems, IsEmpty());
}

TEST_F(ConfigurationFile, isReadThroughALink) {
    (void)folder_.makeFile("elsewhere", "units = \"iec\"\n");
    fs::create_symlink("elsewhere", path_);
    const Settings settings = read();
    EXPECT_TRUE(settings.hasFile);
    EXPECT_THAT(settings.problems, IsEmpty());
    EXPECT_EQ(settings.units.value, SizeUnits::binary);
}

TEST_F(ConfigurationFile, mustBeAFile) {
    fs::create_directory(path_);
    EXPECT_EQ(problem(), path_ + ": It is a folder, and is to be a file.");
    fs::remove(path_);
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_EQ(problem(), path_ + ": It is no regular file.");
    fs::remove(path_);
    fs::create_symlink("/dev/zero", path_);
    EXPECT_EQ(problem(), path_ + ": It is no regular file.");
    fs::remove(path_);
    fs::create_symlink("nowhere", path_);
    EXPECT_EQ(problem(), path_ + ": It is a link that leads nowhere.");
    fs::remove(path_);
    fs::create_symlink("config.toml", path_);
    EXPECT_THAT(problem(), HasSubstr("It can't be read: Too many levels of symbolic links."));
}

TEST_F(ConfigurationFile, mustNotBeASocket) {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path_.size(), sizeof address.sun_path);
    path_.copy(address.sun_path, path_.size());
    ASSERT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(problem(), path_ + ": It is no regular file.");
    close(descriptor);
}

TEST_F(ConfigurationFile, isThisUsersOwn) {
    (void)folder_.makeFile("config.toml", "units = \"iec\"\n");
    for (const mode_t mode : {0602U, 0622U, 0666U}) {
        ASSERT_EQ(chmod(path_.c_str(), mode), 0);
        EXPECT_THAT(problem(), HasSubstr("Other users may write to it"));
    }
    ASSERT_EQ(chmod(path_.c_str(), 0444), 0);
    EXPECT_THAT(read().problems, IsEmpty());
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a file to somebody else";
    ASSERT_EQ(chown(path_.c_str(), 4711, 4711), 0);
    EXPECT_THAT(problem(), HasSubstr("It belongs to another user"));
}

TEST_F(ConfigurationFile, isSmallText) {
    const std::string rest(65'536 - 14, '#');
    (void)folder_.makeFile("config.toml", "units = \"iec\"\n" + rest);
    EXPECT_THAT(read().problems, IsEmpty());
    (void)folder_.makeFile("config.toml", "units = \"iec\"\n" + rest + "#");
    EXPECT_THAT(problem(), HasSubstr("It has more than 65536 bytes"));
    (void)folder_.makeFile("config.toml", std::string{"\0\1\2", 3});
    EXPECT_THAT(problem(), HasSubstr(path_ + ":1: "));
    (void)folder_.makeFile("config.toml", "exclude = [\"\xff\"]\n");
    EXPECT_EQ(problem(), path_ + ":1: The file is to be UTF-8, which this line is not.");
    (void)folder_.makeFile("config.toml", "a = " + std::string(20'000, '['));
    EXPECT_THAT(problem(), HasSubstr(path_ + ":1: "));
}

}  // namespace KestrelCLI
