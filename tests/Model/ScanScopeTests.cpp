#include "KestrelCore/Model/ScanScope.hpp"

#include <gtest/gtest.h>

namespace KestrelCore {

TEST(ScanScope, standardisesTheRootAndTakesTheRestFromTheURLAsGiven) {
    const ScanScope scope{URL::fromPath("/Users/a/b/../c")};
    EXPECT_EQ(scope.root.path(), Text{"/Users/a/c"});
    EXPECT_EQ(scope.displayName, Text{"c"});
    EXPECT_EQ(scope.volumeIdentifier, Text{"/Users/a/b/../c"});
}

TEST(ScanScope, isCalledMacintoshHDOnlyWhenTheLastComponentIsEmpty) {
    EXPECT_EQ(ScanScope{*URL::parse("file://")}.displayName, Text{"Macintosh HD"});
    EXPECT_EQ(ScanScope{URL::fromPath("/")}.displayName, Text{"/"});
}

TEST(ScanScope, keepsWhatIsGiven) {
    const ScanScope scope{URL::fromPath("/a/b"), Text{""}, Text{"volume"}};
    EXPECT_TRUE(scope.displayName.isEmpty());
    EXPECT_EQ(scope.volumeIdentifier, Text{"volume"});
}

TEST(ScanScope, storedValuesAreNotTouched) {
    const ScanScope scope = ScanScope::stored(*URL::parse("file:///a/../b"), Text{""}, Text{""});
    EXPECT_EQ(scope.root.absoluteString(), Text{"file:///a/../b"});
    EXPECT_TRUE(scope.displayName.isEmpty());
    EXPECT_TRUE(scope.volumeIdentifier.isEmpty());
}

}  // namespace KestrelCore
