#include "Platform/HomeDirectory.hpp"

#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Platform/DesktopLocations.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "Platform/Linux/Trash/HomeTrash.hpp"
#include "support/EnvironmentSetting.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace KestrelCore {

TEST(HomeDirectory, isTheFixedOneWhereThatIsSet) {
    const EnvironmentSetting fixed{"CFFIXED_USER_HOME", "/data//homes/./x/../ann/"};
    EXPECT_EQ(currentHomeDirectory(), "/data/homes/ann");
    EXPECT_EQ(FileManager::standard()->homeDirectory(), "/data/homes/ann");
}

TEST(HomeDirectory, oneThatIsNotUTF8IsAnErrorAndNoOtherPlace) {
    const EnvironmentSetting fixed{"CFFIXED_USER_HOME", "/nowhere/b\xff/"};
    const EnvironmentSetting dataHome{"XDG_DATA_HOME", nullptr};
    EXPECT_EQ(currentHomePath(), "/nowhere/b\xff");
    for (const auto& ask : {std::function<void()>{[] { (void)currentHomeDirectory(); }},
                            std::function<void()>{[] { (void)FileManager::standard()->homeDirectory(); }},
                            std::function<void()>{[] { (void)DesktopLocations::current(); }}}) {
        try {
            ask();
            ADD_FAILURE();
        } catch (const PlatformError& error) {
            EXPECT_EQ(error.code(), PlatformError::fileReadInvalidFileName);
            EXPECT_EQ(error.description(),
                      "The name of the home directory is not UTF-8, so nothing in it can be named.");
        }
    }
    // What needs no text goes on with the bytes.
    const std::vector<std::string> homes = knownHomeDirectories();
    EXPECT_NE(std::find(homes.begin(), homes.end(), "/nowhere/b\xff"), homes.end());
    EXPECT_EQ(homeTrashPath(), "/nowhere/b\xff/.local/share/Trash");
}

TEST(HomeDirectory, isWhereTheShellHasIt) {
    const EnvironmentSetting fixed{"CFFIXED_USER_HOME", nullptr};
    const EnvironmentSetting home{"HOME", "/elsewhere//ann/"};
    EXPECT_EQ(currentHomeDirectory(), "/elsewhere/ann");
    const EnvironmentSetting stronger{"CFFIXED_USER_HOME", "/fixed"};
    EXPECT_EQ(currentHomeDirectory(), "/fixed");
}

TEST(HomeDirectory, comesFromThePasswdEntryWithoutAnAbsoluteOneInTheEnvironment) {
    const passwd* entry = getpwuid(geteuid() == 0 ? getuid() : geteuid());
    if (entry == nullptr) GTEST_SKIP() << "This user has no passwd entry";
    const Text ofUser = Path::standardized(entry->pw_dir);
    const EnvironmentSetting fixed{"CFFIXED_USER_HOME", nullptr};
    for (const char* value : {static_cast<const char*>(nullptr), "", "ann", "~", "./home"}) {
        const EnvironmentSetting home{"HOME", value};
        EXPECT_EQ(currentHomeDirectory(), ofUser) << (value == nullptr ? "unset" : value);
    }
}

TEST(HomeDirectory, anEmptyFixedOneCountsAsUnset) {
    const EnvironmentSetting unset{"CFFIXED_USER_HOME", nullptr};
    const Text home = currentHomeDirectory();
    const EnvironmentSetting empty{"CFFIXED_USER_HOME", ""};
    EXPECT_EQ(currentHomeDirectory(), home);
}

TEST(HomeDirectory, theOwnBundleOfAPlainExecutableIsItsFolder) {
    EXPECT_EQ(Path::lastComponent(mainExecutablePath()), "kestrel-tests");
    EXPECT_EQ(mainBundlePath(), Path::deletingLastComponent(mainExecutablePath()));
}

}  // namespace KestrelCore
