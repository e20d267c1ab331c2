#include "Platform/PrivateFolder.hpp"

#include "KestrelCore/Base/PlatformError.hpp"
#include "support/ChildProcess.hpp"
#include "support/SupervisedCalls.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace KestrelCore {

namespace fs = std::filesystem;

namespace {

unsigned mode(const std::string& path) { return static_cast<unsigned>(fs::status(path).permissions()); }

TEST(PrivateFolder, isForThisUserOnlyAndBecomesSo) {
    const TemporaryFolder folder;
    const std::string path = folder / "data/receipts";
    const mode_t mask = umask(0);
    PrivateFolder{path}.write({{"a", "text"}});
    umask(mask);
    EXPECT_EQ(mode(path), 0700U);
    EXPECT_EQ(mode(folder / "data"), 0700U);
    EXPECT_EQ(mode(path + "/a"), 0600U);
    fs::permissions(path, fs::perms{0755});
    PrivateFolder{path}.write({{"a", "another"}});
    EXPECT_EQ(mode(path), 0700U);
    EXPECT_EQ(PrivateFolder{path}.read("a"), "another");
}

TEST(PrivateFolder, isOnTheDiskBeforeWhatIsInIt) {
    const TemporaryFolder folder;
    const auto syncs = [&] {
        int count = 0;
        const bool isSupervised = runSupervised(
            {SYS_fsync},
            [&] {
                PrivateFolder{folder / "receipts"}.write({{"a", "text"}});
            },
            [&](const SystemCall&) -> std::optional<int> {
                ++count;
                return std::nullopt;
            });
        return isSupervised ? std::optional{count} : std::nullopt;
    };
    const auto first = syncs();
    if (!first) GTEST_SKIP() << "System calls can't be supervised here";
    EXPECT_EQ(*first, 3);  // the parent, the file, the folder
    EXPECT_EQ(syncs(), 2);
}

TEST(PrivateFolder, saysWhyItCannotBeMade) {
    inChild(ChildSetting::unprivileged, [] {
        const TemporaryFolder folder;
        const std::string data = folder.makeFolder("data");
        fs::permissions(data, fs::perms{0500});
        try {
            PrivateFolder{data + "/receipts"}.write({{"a", "text"}});
            ADD_FAILURE() << "written";
        } catch (const PlatformError& error) {
            EXPECT_EQ(error.code(), PlatformError::fileWriteNoPermission);
            EXPECT_EQ(error.description(),
                      Text{"You don’t have permission to save the file “receipts” in the folder “data”."});
        }
    });
}

}  // namespace

}  // namespace KestrelCore
