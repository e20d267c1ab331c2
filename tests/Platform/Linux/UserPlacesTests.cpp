#include "KestrelCore/Platform/UserPlaces.hpp"

#include "KestrelCore/Platform/DesktopLocations.hpp"
#include "support/EnvironmentSetting.hpp"

#include <gtest/gtest.h>

namespace KestrelCore {

TEST(UserPlaces, followTheVariablesForThisUserAndTheStandardForOthers) {
    const EnvironmentSetting home{"CFFIXED_USER_HOME", "/nowhere/anna"};
    const EnvironmentSetting data{"XDG_DATA_HOME", "/elsewhere"};
    EXPECT_EQ(UserPlaces::current().applicationData, "/elsewhere");
    EXPECT_EQ(UserPlaces::current().trash, "/elsewhere/Trash");
    EXPECT_EQ(UserPlaces::ofHome("/nowhere/b\xff").trash, "/nowhere/b\xff/.local/share/Trash");
    EXPECT_TRUE(DesktopLocations::existHere());
}

}  // namespace KestrelCore
