#include "commands/ScanRoot.hpp"
#include "output/Session.hpp"

#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// The real path of a new folder: the temporary folder of the system may itself be behind a link.
std::string realPath(const TemporaryFolder& folder) { return std::filesystem::canonical(folder.path()).string(); }

}  // namespace

TEST(ScanRoot, keepsAFolderThatIsNamedAsItIs) {
    const TemporaryFolder folder;
    const std::string path = realPath(folder);
    const ScanRoot root = resolveScanRoot(path + "/./");
    EXPECT_EQ(root.scope.root.path(), path);
    EXPECT_TRUE(root.scope.root.hasDirectoryPath());
    EXPECT_EQ(root.scope.displayName, std::filesystem::path{path}.filename().string());
    EXPECT_FALSE(root.wasLink);
}

TEST(ScanRoot, followsALinkAndTellsThatItDid) {
    const TemporaryFolder folder;
    const std::string path = realPath(folder);
    std::filesystem::create_directories(path + "/real folder/inner");
    std::filesystem::create_directory_symlink("real folder", path + "/link");
    for (const char* name : {"/link", "/link/"}) {
        const ScanRoot root = resolveScanRoot(path + name);
        EXPECT_EQ(root.scope.root.path(), path + "/real folder") << name;
        EXPECT_TRUE(root.wasLink) << name;
    }
    // A link above the root counts too: the paths of the snapshot are other ones than the user typed.
    EXPECT_TRUE(resolveScanRoot(path + "/link/inner").wasLink);
}

TEST(ScanRoot, refusesWhatIsNotThereAndNamesThatAreNotUTF8) {
    const TemporaryFolder folder;
    const std::string path = realPath(folder);
    std::filesystem::create_directory_symlink("nowhere", path + "/dangling");
    std::filesystem::create_directory(path + "/b\xff");
    for (const std::string& name : {path + "/missing", path + "/dangling", path + "/b\xff", std::string{}}) {
        EXPECT_THROW((void)resolveScanRoot(name), PathError) << name;
    }
}

}  // namespace KestrelCLI
