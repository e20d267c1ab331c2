#include "KestrelCore/Platform/DesktopLocations.hpp"

#include "KestrelCore/Base/PlatformError.hpp"
#include "support/EnvironmentSetting.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace KestrelCore {

TEST(DesktopLocations, aFolderThatIsNotUTF8IsAnErrorAndNoOtherPlace) {
    const EnvironmentSetting dirs{"XDG_DATA_DIRS", "/nowhere/a:/nowhere/b\xff"};
    EXPECT_EQ(DesktopLocations::current().systemDataFolders, std::vector<Text>{"/nowhere/a"});
    for (const char* variable :
         {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME", "FLATPAK_USER_DIR"}) {
        const EnvironmentSetting folder{variable, "/nowhere/b\xff"};
        EXPECT_THROW((void)DesktopLocations::current(), PlatformError) << variable;
    }
}

}  // namespace KestrelCore
