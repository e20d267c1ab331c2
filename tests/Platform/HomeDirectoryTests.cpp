#include "Platform/HomeDirectory.hpp"

#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "support/EnvironmentSetting.hpp"

#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

namespace KestrelCore {

TEST(HomeDirectory, isTheFixedOneWhereThatIsSet) {
    const EnvironmentSetting fixed{"CFFIXED_USER_HOME", "/data//homes/./x/../ann/"};
    EXPECT_EQ(currentHomeDirectory(), "/data/homes/ann");
    EXPECT_EQ(FileManager::standard()->homeDirectory(), "/data/homes/ann");
}

TEST(HomeDirectory, comesFromThePasswdEntryBeforeTheEnvironment) {
    const passwd* entry = getpwuid(geteuid() == 0 ? getuid() : geteuid());
    if (entry == nullptr) GTEST_SKIP() << "This user has no passwd entry";
    const EnvironmentSetting fixed{"CFFIXED_USER_HOME", nullptr};
    const EnvironmentSetting home{"HOME", "/elsewhere"};
    EXPECT_EQ(currentHomeDirectory(), Path::standardized(entry->pw_dir));
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
