#include "Reclaim/GitIndex.hpp"

#include "fuzz/GitIndexInput.hpp"
#include "support/GitRepository.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace KestrelCore {

namespace {

std::string bytesOf(const std::string& path) {
    std::ifstream in{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{in}, {}};
}

/// A repository with some files added, made by Git.
class GitIndexTest : public ::testing::Test {
protected:
    /// Of a working copy that tracks all that is in it so far.
    GitIndex made(const std::string& initialization, const std::string& change = "add -A") {
        testing::git(folder_.path(), "init " + initialization + " .");
        testing::git(folder_.path(), change);
        const auto index = GitIndex::of(bytesOf(folder_ / ".git/index"));
        EXPECT_TRUE(index.has_value());
        return index.value();
    }

    TemporaryFolder folder_;
    std::string long_ = std::string(200, 'l') + '/' + std::string(200, 'm');
    std::vector<std::string> files_{"a", "build/out/lib.o", "build.ninja", "build-x/y", "ü/\"q\"", "z\n/w", long_};
    std::vector<std::string> made_ = [this] {
        std::vector<std::string> paths;
        for (const std::string& file : files_) paths.push_back(folder_.makeFile(file, file));
        return paths;
    }();
};

/// A number's bytes, the largest first.
std::string big(std::uint32_t value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift & 0xFF);
    return bytes;
}

std::string entry(const std::string& path, const std::string& flags = std::string(2, '\0')) {
    std::string bytes = std::string(60, '\1') + flags + path;
    return bytes + std::string(8 - bytes.size() % 8, '\0');
}

std::string index(std::uint32_t version, const std::vector<std::string>& entries, const std::string& extensions = {}) {
    std::string bytes = "DIRC" + big(version) + big(static_cast<std::uint32_t>(entries.size()));
    for (const std::string& each : entries) bytes += each;
    return bytes + extensions + std::string(20, '\2');
}

}  // namespace

TEST_F(GitIndexTest, knowsWhatEachFormTracks) {
    for (const auto& [initialization, change] :
         std::vector<std::pair<std::string, std::string>>{{"", "add -A"},
                                                          {"", "update-index --index-version 4"},
                                                          {"", "add -N a"},
                                                          {"--object-format=sha256", "add -A"}}) {
        std::filesystem::remove_all(folder_ / ".git");
        testing::git(folder_.path(), "init " + initialization + " .");
        testing::git(folder_.path(), "add -A");
        const GitIndex index = made(initialization, change);
        SCOPED_TRACE(initialization + " " + change);
        for (const std::string& file : files_) EXPECT_TRUE(index.tracks(file)) << file;
        for (const char* folder : {"", "build", "build/out", "build-x", "ü", "z\n"})
            EXPECT_TRUE(index.tracks(folder)) << folder;
        for (const char* other : {"b", "build/ou", "build/out/lib", "build/out/lib.o/x", "buil", "build-", "y", "zz"})
            EXPECT_FALSE(index.tracks(other)) << other;
        EXPECT_TRUE(index.sharedName().empty());
    }
}

TEST_F(GitIndexTest, ofASplitOneNamesTheOtherPart) {
    (void)made("");
    testing::git(folder_.path(), "update-index --split-index");
    folder_.makeFile("later/x");
    testing::git(folder_.path(), "add later/x a");
    const auto index = GitIndex::of(bytesOf(folder_ / ".git/index"));
    ASSERT_TRUE(index.has_value());
    EXPECT_TRUE(index->tracks("later"));
    EXPECT_FALSE(index->tracks("build"));
    const auto shared = GitIndex::of(bytesOf(folder_ / ".git" + '/' + index->sharedName()));
    ASSERT_TRUE(shared.has_value());
    EXPECT_TRUE(shared->tracks("build"));
}

TEST_F(GitIndexTest, ofASparseOneKnowsFoldersThatAreNotThere) {
    (void)made("");
    testing::git(folder_.path(), "commit -m m");
    testing::git(folder_.path(), "sparse-checkout set --cone --sparse-index build-x");
    ASSERT_FALSE(std::filesystem::exists(folder_ / "build/out/lib.o"));
    const auto index = GitIndex::of(bytesOf(folder_ / ".git/index"));
    ASSERT_TRUE(index.has_value());
    for (const char* path : {"build", "build/out", "build/out/lib.o", "build-x/y"})
        EXPECT_TRUE(index->tracks(path)) << path;
    EXPECT_FALSE(index->tracks("buil"));
}

TEST_F(GitIndexTest, isReadToItsLastByteOrNotAtAll) {
    (void)made("");
    const std::string bytes = bytesOf(folder_ / ".git/index");
    for (std::size_t length = 0; length < bytes.size(); ++length)
        EXPECT_FALSE(GitIndex::of(bytes.substr(0, length)).has_value()) << length;
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        std::string changed = bytes;
        changed[at] = static_cast<char>(changed[at] ^ 0x55);
        Fuzzing::exerciseGitIndex(changed);
    }
}

TEST(GitIndex, everyFileOfTheCorpusIsReadOrRefused) {
    std::size_t read = 0;
    for (const auto& file : std::filesystem::directory_iterator{std::string{KESTREL_FUZZ_CORPUS} + "/gitindex"}) {
        const std::string bytes = bytesOf(file.path());
        Fuzzing::exerciseGitIndex(bytes);
        if (GitIndex::of(bytes)) ++read;
    }
    EXPECT_GE(read, 4U);
}

TEST(GitIndex, refusesWhatItDoesNotKnow) {
    EXPECT_TRUE(GitIndex::of(index(2, {entry("a")})).has_value());
    EXPECT_TRUE(GitIndex::of(index(2, {entry("a")}, "TREE" + big(2) + "xy")).has_value());
    EXPECT_FALSE(GitIndex::of(index(2, {entry("a")}, "tree" + big(2) + "xy")).has_value());
    EXPECT_FALSE(GitIndex::of(index(2, {entry("a")}, "TREE" + big(3) + "xy")).has_value());
    EXPECT_FALSE(GitIndex::of(index(1, {entry("a")})).has_value());
    EXPECT_FALSE(GitIndex::of(index(5, {entry("a")})).has_value());
    EXPECT_FALSE(GitIndex::of("").has_value());
    EXPECT_FALSE(GitIndex::of("PK" + index(2, {})).has_value());
    // More entries than there are bytes for.
    std::string many = index(2, {entry("a")});
    many.replace(8, 4, big(0xFFFFFFFF));
    EXPECT_FALSE(GitIndex::of(many).has_value());
    // A path that would drop more than the one before has, and one beyond any length.
    const std::string start = std::string(60, '\1') + std::string(2, '\0');
    EXPECT_TRUE(GitIndex::of(index(4, {start + '\0' + "abc" + '\0', start + '\2' + "d" + '\0'}))->tracks("ad"));
    EXPECT_FALSE(GitIndex::of(index(4, {start + '\0' + "abc" + '\0', start + '\4' + "d" + '\0'})).has_value());
    EXPECT_FALSE(GitIndex::of(index(4, {start + std::string(9, '\xFF') + "d" + '\0'})).has_value());
    // Order is Git's care; what is asked is answered anyway.
    EXPECT_TRUE(GitIndex::of(index(2, {entry("b"), entry("a")}))->tracks("a"));
}

}  // namespace KestrelCore
