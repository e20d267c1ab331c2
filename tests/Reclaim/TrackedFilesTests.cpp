#include "Reclaim/TrackedFiles.hpp"

#include "support/GitRepository.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <sys/stat.h>

namespace KestrelCore {

namespace {

class TrackedFilesTest : public ::testing::Test {
protected:
    /// Asked anew, since what was read once is kept.
    [[nodiscard]] std::string reason(const std::string& name) const {
        TrackedFiles tracked;
        const auto reason = tracked.reasonToKeep(Text{folder_ / name});
        return reason ? reason->string() : "";
    }
    [[nodiscard]] bool isKept(const std::string& name) const { return !reason(name).empty(); }
    /// Two files, of which one is committed.
    void makeRepository(const std::string& name) const {
        folder_.makeFile(name + "/build/kept");
        folder_.makeFile(name + "/dist/made");
        testing::git(folder_ / name, "init .");
        testing::git(folder_ / name, "add build");
        testing::git(folder_ / name, "commit -m m");
    }

    TemporaryFolder folder_;
};

}  // namespace

TEST_F(TrackedFilesTest, keepsWhatTheRepositoryAboveTracks) {
    makeRepository("p");
    EXPECT_EQ(reason("p/build"),
              folder_ / "p/build" + " is tracked by the repository " + folder_ / "p" + ", or holds what is.");
    EXPECT_TRUE(isKept("p/build/kept"));
    EXPECT_FALSE(isKept("p/dist"));
    EXPECT_FALSE(isKept("p/build/other"));
    EXPECT_FALSE(isKept("other"));
    // A repository that lies in what another one tracks, and tracks something else.
    makeRepository("p/build/inner");
    testing::git(folder_ / "p/build/inner", "rm -r -f --cached build");
    EXPECT_TRUE(isKept("p/build/kept"));
    EXPECT_FALSE(isKept("p/build/inner/dist"));
    std::filesystem::remove(folder_ / "p/.git/index");
    EXPECT_FALSE(isKept("p/build/kept"));
}

TEST_F(TrackedFilesTest, readsTheIndexOfFurtherWorkingCopiesAndSubmodules) {
    makeRepository("p");
    testing::git(folder_ / "p", "worktree add ../w");
    EXPECT_TRUE(isKept("w/build"));
    EXPECT_FALSE(isKept("w/dist"));
    makeRepository("q");
    testing::git(folder_ / "q", "submodule add ../p deep/module");
    EXPECT_TRUE(isKept("q/deep/module/build"));
    EXPECT_FALSE(isKept("q/deep/module/dist"));
    testing::git(folder_ / "p", "update-index --split-index");
    folder_.makeFile("p/later/x");
    testing::git(folder_ / "p", "add later");
    EXPECT_TRUE(isKept("p/later"));
    EXPECT_TRUE(isKept("p/build"));
    EXPECT_FALSE(isKept("p/dist"));
}

TEST_F(TrackedFilesTest, keepsAllBelowWhatItCannotRead) {
    makeRepository("p");
    folder_.makeFile("p/.git/index", "DIRC");
    EXPECT_EQ(reason("p/dist"), folder_ / "p/dist" + " lies in the repository " + folder_ / "p" +
                                    ", and what that tracks can’t be read.");
    // Nobody is waited for.
    std::filesystem::remove(folder_ / "p/.git/index");
    ASSERT_EQ(mkfifo((folder_ / "p/.git/index").c_str(), 0600), 0);
    EXPECT_TRUE(isKept("p/dist"));
    for (const char* pointer : {"gitdir: /nowhere/at/all\n", "no pointer\n", ""}) {
        folder_.makeFile("q/.git", pointer);
        EXPECT_TRUE(isKept("q/dist")) << pointer;
    }
}

TEST_F(TrackedFilesTest, keepsAllBelowTheWorkingCopiesOfOthers) {
    for (const char* store : {".hg", ".svn", ".jj"}) {
        folder_.makeFolder(std::string{"of"} + store + '/' + store);
        EXPECT_TRUE(isKept(std::string{"of"} + store + "/a/build")) << store;
    }
    EXPECT_FALSE(isKept("of.svn"));
    makeRepository("p");
    EXPECT_FALSE(isKept("p/dist"));
    folder_.makeFolder("p/.jj");
    EXPECT_TRUE(isKept("p/dist"));
}

}  // namespace KestrelCore
