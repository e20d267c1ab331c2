#include "KestrelCore/Platform/FileManager.hpp"
#include "support/EnvironmentSetting.hpp"
#include "support/FakeFileManager.hpp"
#include "support/TemporaryFolder.hpp"
#include "support/UnprivilegedThread.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

// What every file manager must do, run against the one in memory and the one of this machine.

namespace KestrelCore {
namespace {

/// A folder in memory.
class FakeArena {
public:
    FakeArena() { fake_.addFolder("/arena"); }
    std::optional<ExpectedItem> identity(const char* name) { return fake_.identity(path(name)); }
    FileManager& manager() { return fake_; }
    Text path(const char* name) const { return Path::appending("/arena", name); }
    void addFolder(const char* name) { fake_.addFolder(path(name)); }
    void addFile(const char* name) { fake_.addFile(path(name), 4096); }
    void addLink(const char* name, const char* target) { fake_.addLink(path(name), target); }
    void addHardLink(const char* name, const char* file) { fake_.addHardLink(path(name), path(file)); }
    void denyReading(const char* name) { fake_.denyReading(path(name)); }
    void denyWriting(const char* name) { fake_.denyWriting(path(name)); }

private:
    FakeFileManager fake_;
};

/// A temporary folder on the disk.
class RealArena {
public:
    RealArena() : dataHome_{"XDG_DATA_HOME", folder_.makeFolder("data").c_str()} {}

    FileManager& manager() { return *FileManager::standard(); }
    std::optional<ExpectedItem> identity(const char* name) {
        struct stat status;
        if (lstat(path(name).string().c_str(), &status) != 0) return std::nullopt;
        return ExpectedItem{.device = status.st_dev, .inode = status.st_ino, .fileTypeBits = status.st_mode & S_IFMT};
    }
    Text path(const char* name) const { return Path::appending(Text{folder_.path()}, name); }
    void addFolder(const char* name) { ASSERT_EQ(mkdir(path(name).string().c_str(), 0755), 0); }
    void addFile(const char* name) { std::ofstream{path(name).string()} << std::string(4096, 'x'); }
    void addLink(const char* name, const char* target) { ASSERT_EQ(symlink(target, path(name).string().c_str()), 0); }
    void addHardLink(const char* name, const char* file) {
        ASSERT_EQ(link(path(file).string().c_str(), path(name).string().c_str()), 0);
    }
    void denyReading(const char* name) { deny(name, 0); }
    void denyWriting(const char* name) { deny(name, 0555); }

private:
    /// From here on the test runs without rights of its own, to whom the arena is open.
    void deny(const char* name, mode_t mode) {
        ASSERT_EQ(chmod(folder_.path().c_str(), 0755), 0);
        ASSERT_EQ(chmod(path(name).string().c_str(), mode), 0);
        unprivileged_.emplace();
    }

    TemporaryFolder folder_;
    EnvironmentSetting dataHome_;  ///< the trash is in it
    std::optional<UnprivilegedThread> unprivileged_;
};

template <typename Arena>
class FileManagerContract : public testing::Test {
protected:
    FileManager& manager() { return arena.manager(); }
    URL url(const char* name) { return URL::fromPath(arena.path(name)); }

    /// The items below a folder, relative to the arena, with whether their URL is a folder's.
    std::map<Text, bool> enumerated(const char* name) {
        std::map<Text, bool> items;
        const std::size_t prefix = arena.path("x").byteCount() - 1;
        manager().enumerate(url(name), [&](const URL& item, std::optional<std::int64_t>) {
            items[item.path().slice(prefix, item.path().byteCount() - prefix)] = item.hasDirectoryPath();
            return true;
        });
        return items;
    }

    /// The error that an operation throws.
    template <typename Operation>
    PlatformError failure(const Operation& operation) {
        try {
            operation();
        } catch (const PlatformError& error) {
            return error;
        }
        ADD_FAILURE() << "The operation did not fail";
        return {PlatformError::Domain::posix, 0, ""};
    }

    Arena arena;
};

using Arenas = testing::Types<FakeArena, RealArena>;
TYPED_TEST_SUITE(FileManagerContract, Arenas);

}  // namespace

TYPED_TEST(FileManagerContract, existenceFollowsLinks) {
    this->arena.addFolder("folder");
    this->arena.addFile("file");
    this->arena.addLink("link", "folder");
    this->arena.addLink("dangling", "nowhere");
    this->arena.addLink("loop", "loop");
    for (const char* name : {"folder", "file", "link"})
        EXPECT_TRUE(this->manager().exists(this->arena.path(name))) << name;
    for (const char* name : {"missing", "dangling", "loop", "file/below"})
        EXPECT_FALSE(this->manager().exists(this->arena.path(name))) << name;
    EXPECT_FALSE(this->manager().exists(""));
    EXPECT_FALSE(this->manager().exists(Text{std::string_view{"/\0x", 3}}));
}

TYPED_TEST(FileManagerContract, readabilityIsAboutTheItemItself) {
    this->arena.addFile("file");
    EXPECT_TRUE(this->manager().isReadable(this->arena.path("file")));
    EXPECT_FALSE(this->manager().isReadable(this->arena.path("missing")));
    this->arena.denyReading("file");
    EXPECT_FALSE(this->manager().isReadable(this->arena.path("file")));
}

TYPED_TEST(FileManagerContract, listsNamesWithHiddenOnesAndWithoutDots) {
    this->arena.addFolder("folder");
    this->arena.addFile("folder/.hidden");
    this->arena.addFile("folder/é");
    this->arena.addLink("folder/dangling", "nowhere");
    std::vector<Text> names = this->manager().contentsOfDirectory(this->arena.path("folder"));
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<Text>{".hidden", "dangling", "é"}));
}

TYPED_TEST(FileManagerContract, listsURLsWithATrailingSlashForFoldersOnly) {
    this->arena.addFolder("folder");
    this->arena.addFolder("folder/sub");
    this->arena.addFile("folder/file");
    this->arena.addFile("folder/.hidden");
    this->arena.addLink("folder/link", "sub");
    std::map<Text, bool> items;
    for (const URL& item : this->manager().contentsOfDirectory(this->url("folder"), true)) {
        EXPECT_EQ(item.path(), Path::appending(this->arena.path("folder"), item.lastPathComponent()));
        items[item.lastPathComponent()] = item.hasDirectoryPath();
    }
    EXPECT_EQ(items, (std::map<Text, bool>{{"file", false}, {"link", false}, {"sub", true}}));
    EXPECT_EQ(this->manager().contentsOfDirectory(this->url("folder"), false).size(), 4U);
}

TYPED_TEST(FileManagerContract, listsThroughALinkToAFolder) {
    this->arena.addFolder("folder");
    this->arena.addFile("folder/file");
    this->arena.addLink("link", "folder");
    EXPECT_EQ(this->manager().contentsOfDirectory(this->arena.path("link")), std::vector<Text>{"file"});
}

TYPED_TEST(FileManagerContract, saysWhyAFolderCannotBeListed) {
    this->arena.addFile("file");
    const PlatformError missing =
        this->failure([&] { (void)this->manager().contentsOfDirectory(this->arena.path("missing")); });
    EXPECT_EQ(missing.domain(), PlatformError::Domain::fileManager);
    EXPECT_EQ(missing.code(), 260);
    EXPECT_EQ(missing.description(), "The folder “missing” doesn’t exist.");
    ASSERT_NE(missing.underlying(), nullptr);
    EXPECT_EQ(missing.underlying()->domain(), PlatformError::Domain::posix);
    EXPECT_EQ(missing.underlying()->code(), ENOENT);
    const PlatformError file =
        this->failure([&] { (void)this->manager().contentsOfDirectory(this->url("file"), false); });
    EXPECT_EQ(file.code(), 256);
    EXPECT_EQ(file.underlying()->code(), ENOTDIR);
}

TYPED_TEST(FileManagerContract, saysThatAFolderMayNotBeListed) {
    this->arena.addFolder("private");
    this->arena.denyReading("private");
    const PlatformError error =
        this->failure([&] { (void)this->manager().contentsOfDirectory(this->arena.path("private")); });
    EXPECT_EQ(error.code(), 257);
    EXPECT_EQ(error.description(),
              "The folder “private” couldn’t be opened because you don’t have permission to view it.");
    EXPECT_EQ(error.underlying()->code(), EACCES);
}

TYPED_TEST(FileManagerContract, enumeratesEverythingBelowWithoutFollowingLinks) {
    this->arena.addFolder("folder");
    this->arena.addFolder("folder/.hidden");
    this->arena.addFile("folder/.hidden/file");
    this->arena.addFolder("folder/App.app");
    this->arena.addFile("folder/App.app/inside");
    this->arena.addFolder("outside");
    this->arena.addFile("outside/file");
    this->arena.addLink("folder/link", "../outside");
    EXPECT_EQ(this->enumerated("folder"), (std::map<Text, bool>{{"folder/.hidden", true},
                                                                {"folder/.hidden/file", false},
                                                                {"folder/App.app", true},
                                                                {"folder/App.app/inside", false},
                                                                {"folder/link", false}}));
}

TYPED_TEST(FileManagerContract, enumeratesAFolderBeforeItsContentAndItsContentBeforeItsSiblings) {
    this->arena.addFolder("folder");
    for (const char* name : {"folder/a", "folder/a/b", "folder/c"}) this->arena.addFolder(name);
    for (const char* name : {"folder/a/1", "folder/a/b/2", "folder/c/3"}) this->arena.addFile(name);
    std::vector<Text> paths;
    this->manager().enumerate(this->url("folder"), [&](const URL& item, std::optional<std::int64_t>) {
        paths.push_back(item.path());
        return true;
    });
    ASSERT_EQ(paths.size(), 6U);
    for (std::size_t i = 0; i < paths.size(); ++i) {
        const Text parent = Path::deletingLastComponent(paths[i]);
        if (parent == this->arena.path("folder")) continue;
        const auto found = std::find(paths.begin(), paths.end(), parent) - paths.begin();
        ASSERT_LT(static_cast<std::size_t>(found), i) << paths[i].string();
        for (std::size_t j = static_cast<std::size_t>(found) + 1; j < i; ++j)
            EXPECT_TRUE(Path::isBeneath(paths[j], parent)) << paths[j].string();
    }
}

TYPED_TEST(FileManagerContract, anEnumerationOfWhatIsNoFolderYieldsNothing) {
    this->arena.addFile("file");
    this->arena.addFolder("folder");
    this->arena.addFile("folder/inside");
    this->arena.addLink("link", "folder");
    for (const char* name : {"file", "missing", "link"}) {
        EXPECT_TRUE(this->manager().enumerate(this->url(name), [](const URL&, std::optional<std::int64_t>) {
            ADD_FAILURE();
            return true;
        })) << name;
        EXPECT_EQ(this->manager().allocatedBytesBelow(this->url(name)), 0) << name;
    }
}

TYPED_TEST(FileManagerContract, anEnumerationSkipsUnreadableFoldersSilently) {
    this->arena.addFolder("folder");
    this->arena.addFolder("folder/private");
    this->arena.addFile("folder/private/inside");
    this->arena.addFile("folder/file");
    this->arena.denyReading("folder/private");
    EXPECT_EQ(this->enumerated("folder"), (std::map<Text, bool>{{"folder/file", false}, {"folder/private", true}}));
}

TYPED_TEST(FileManagerContract, anEnumerationStopsWhenItsVisitorSaysSo) {
    this->arena.addFolder("folder");
    for (const char* name : {"folder/a", "folder/b", "folder/c"}) this->arena.addFile(name);
    int seen = 0;
    this->manager().enumerate(this->url("folder"),
                              [&seen](const URL&, std::optional<std::int64_t>) { return ++seen < 2; });
    EXPECT_EQ(seen, 2);
}

TYPED_TEST(FileManagerContract, measuresFilesButNotFolders) {
    this->arena.addFolder("folder");
    this->arena.addFolder("folder/sub");
    this->arena.addFile("folder/file");
    this->arena.addFile("folder/sub/file");
    const auto bytes = this->manager().allocatedBytes(this->url("folder/file"));
    ASSERT_TRUE(bytes.has_value());
    EXPECT_GE(*bytes, 4096);
    EXPECT_EQ(this->manager().allocatedBytes(this->url("folder")), std::nullopt);
    EXPECT_EQ(this->manager().allocatedBytes(this->url("missing")), std::nullopt);

    std::int64_t sum = 0;
    this->manager().enumerate(this->url("folder"), [&sum](const URL& item, std::optional<std::int64_t> size) {
        EXPECT_EQ(size.has_value(), !item.hasDirectoryPath());
        sum += size.value_or(0);
        return true;
    });
    EXPECT_EQ(sum, 2 * *bytes);
    EXPECT_EQ(this->manager().allocatedBytesBelow(this->url("folder")), sum);
}

TYPED_TEST(FileManagerContract, measuresAFileWithSeveralNamesOnce) {
    this->arena.addFolder("folder");
    this->arena.addFile("folder/file");
    this->arena.addHardLink("folder/again", "folder/file");
    this->arena.addFile("outside");
    this->arena.addHardLink("folder/other", "outside");
    const auto bytes = this->manager().allocatedBytes(this->url("outside"));
    ASSERT_TRUE(bytes.has_value());
    EXPECT_EQ(this->manager().allocatedBytesBelow(this->url("folder")), 2 * *bytes);
}

TYPED_TEST(FileManagerContract, createsAFolderWithTheMissingOnesAbove) {
    this->manager().createDirectory(this->url("a/b/c"));
    this->arena.addLink("link", "a");
    EXPECT_TRUE(this->manager().exists(this->arena.path("a/b/c")));
    EXPECT_NO_THROW(this->manager().createDirectory(this->url("a/b/c")));
    EXPECT_NO_THROW(this->manager().createDirectory(this->url("link")));
    EXPECT_NO_THROW(this->manager().createDirectory(this->url("link/d")));
    EXPECT_TRUE(this->manager().exists(this->arena.path("a/d")));
}

TYPED_TEST(FileManagerContract, saysWhyAFolderCannotBeCreated) {
    this->arena.addFolder("parent");
    this->arena.addFile("parent/file");
    const PlatformError over = this->failure([&] { this->manager().createDirectory(this->url("parent/file")); });
    EXPECT_EQ(over.code(), 516);
    EXPECT_EQ(over.description(), "The file “file” couldn’t be saved in the folder “parent” because a file with the "
                                  "same name already exists.");
    EXPECT_EQ(over.underlying()->code(), EEXIST);
    const PlatformError below = this->failure([&] { this->manager().createDirectory(this->url("parent/file/new")); });
    EXPECT_EQ(below.code(), 512);
    EXPECT_EQ(below.description(), "The file “new” couldn’t be saved in the folder “file”.");
    EXPECT_EQ(below.underlying()->code(), ENOTDIR);
}

TYPED_TEST(FileManagerContract, saysThatAFolderMayNotBeCreated) {
    this->arena.addFolder("locked");
    this->arena.denyWriting("locked");
    const PlatformError error = this->failure([&] { this->manager().createDirectory(this->url("locked/new")); });
    EXPECT_EQ(error.code(), 513);
    EXPECT_EQ(error.description(), "You don’t have permission to save the file “new” in the folder “locked”.");
    EXPECT_EQ(error.underlying()->code(), EACCES);
}

TYPED_TEST(FileManagerContract, removesAFileAFolderWithItsContentAndALinkButNotItsTarget) {
    this->arena.addFolder("folder");
    this->arena.addFolder("folder/sub");
    this->arena.addFile("folder/sub/file");
    this->arena.addFile("file");
    this->arena.addFolder("target");
    this->arena.addFile("target/file");
    this->arena.addLink("link", "target");
    this->arena.addLink("folder/link", "../target");
    for (const char* name : {"folder", "file", "link"}) {
        this->manager().removeItem(this->url(name));
        EXPECT_FALSE(this->manager().exists(this->arena.path(name))) << name;
    }
    EXPECT_TRUE(this->manager().exists(this->arena.path("target/file")));
}

TYPED_TEST(FileManagerContract, saysWhyNothingWasRemoved) {
    const PlatformError missing = this->failure([&] { this->manager().removeItem(this->url("missing")); });
    EXPECT_EQ(missing.code(), 4);
    EXPECT_EQ(missing.description(), "“missing” couldn’t be removed.");
    EXPECT_EQ(missing.underlying()->code(), ENOENT);
}

TYPED_TEST(FileManagerContract, saysThatAnItemMayNotBeRemoved) {
    this->arena.addFolder("locked");
    this->arena.addFile("locked/file");
    this->arena.denyWriting("locked");
    const PlatformError error = this->failure([&] { this->manager().removeItem(this->url("locked/file")); });
    EXPECT_EQ(error.code(), 513);
    EXPECT_EQ(error.description(), "“file” couldn’t be removed because you don’t have permission to access it.");
    EXPECT_TRUE(this->manager().exists(this->arena.path("locked/file")));
}

TYPED_TEST(FileManagerContract, takesAwayOnlyWhatIsStillTheExpectedItem) {
    this->arena.addFile("file");
    this->arena.addFile("other");
    const std::optional<ExpectedItem> other = this->arena.identity("other");
    const std::optional<ExpectedItem> same = this->arena.identity("file");
    std::optional<ExpectedItem> otherKind = same;
    otherKind->fileTypeBits = S_IFDIR;
    for (const auto& expected : {other, otherKind}) {
        const PlatformError removal = this->failure([&] { this->manager().removeItem(this->url("file"), expected); });
        EXPECT_EQ(removal.description(), "The item changed since the scan. Scan again before deleting it.");
        const PlatformError trash =
            this->failure([&] { (void)this->manager().trashItem(this->url("file"), expected); });
        EXPECT_EQ(trash.description(), "The item changed since the scan. Scan again before deleting it.");
        EXPECT_TRUE(this->manager().exists(this->arena.path("file")));
    }
    this->manager().removeItem(this->url("file"), same);
    EXPECT_FALSE(this->manager().exists(this->arena.path("file")));
    std::optional<ExpectedItem> ofAnyKind = other;
    ofAnyKind->fileTypeBits = 0;
    (void)this->manager().trashItem(this->url("other"), ofAnyKind);
    EXPECT_FALSE(this->manager().exists(this->arena.path("other")));
}

TYPED_TEST(FileManagerContract, movesAnItemWholeToTheTrashAndReplacesNothingThere) {
    this->arena.addFolder("a");
    this->arena.addFolder("a/item");
    this->arena.addFile("a/item/file");
    this->arena.addFolder("b");
    this->arena.addFile("b/item");
    const std::optional<URL> first = this->manager().trashItem(this->url("a/item"));
    const std::optional<URL> second = this->manager().trashItem(this->url("b/item"));
    ASSERT_TRUE(first && second);
    EXPECT_NE(*first, *second);
    EXPECT_FALSE(this->manager().exists(this->arena.path("a/item")));
    EXPECT_FALSE(this->manager().exists(this->arena.path("b/item")));
    EXPECT_TRUE(this->manager().exists(Path::appending(first->path(), "file")));
    EXPECT_TRUE(this->manager().exists(second->path()));
}

TYPED_TEST(FileManagerContract, saysWhyNothingWasTrashed) {
    const PlatformError missing = this->failure([&] { (void)this->manager().trashItem(this->url("missing")); });
    EXPECT_EQ(missing.code(), 4);
    EXPECT_EQ(missing.description(), "“missing” couldn’t be moved to the trash.");
    this->arena.addFolder("locked");
    this->arena.addFile("locked/file");
    this->arena.denyWriting("locked");
    const PlatformError error = this->failure([&] { (void)this->manager().trashItem(this->url("locked/file")); });
    EXPECT_EQ(error.domain(), PlatformError::Domain::fileManager);
    EXPECT_TRUE(this->manager().exists(this->arena.path("locked/file")));
}

}  // namespace KestrelCore
