#include "KestrelCore/Base/Path.hpp"

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace KestrelCore {
namespace {

using Cases = std::vector<std::pair<const char*, const char*>>;

TEST(Path, lastComponent) {
    for (const auto& [path, expected] : Cases{{"", ""},
                                              {"/", "/"},
                                              {"//", ""},
                                              {"a", "a"},
                                              {"/a/b", "b"},
                                              {"/a/b//", "b"},
                                              {"/a/..", ".."},
                                              {"/a/\u0301b", "\u0301b"}}) {
        EXPECT_EQ(Path::lastComponent(path).view(), expected) << path;
    }
}

TEST(Path, extension) {
    for (const auto& [path, expected] : Cases{{"/.bashrc", ""},
                                              {"/.a.b", "b"},
                                              {"a.", ""},
                                              {"a.tar.gz", "gz"},
                                              {"foo.app/", "app"},
                                              {"x.my file", "my file"},
                                              {"/a.b/c", ""},
                                              {"/", ""},
                                              {"..", ""},
                                              {"..a", "a"},
                                              {"a.é", "é"}}) {
        EXPECT_EQ(Path::extension(path).view(), expected) << path;
    }
}

TEST(Path, deletingTheLastComponentTidiesSlashes) {
    for (const auto& [path, expected] : Cases{{"/a/b", "/a"},
                                              {"/a", "/"},
                                              {"/", "/"},
                                              {"/a/b/", "/a"},
                                              {"a", ""},
                                              {"", ""},
                                              {"//", ""},
                                              {"//a", "/"},
                                              {"/a//b///c", "/a/b"}}) {
        EXPECT_EQ(Path::deletingLastComponent(path).view(), expected) << path;
    }
}

TEST(Path, deletingTheExtension) {
    for (const auto& [path, expected] : Cases{{"/a/b.txt", "/a/b"},
                                              {"/a.b/c", "/a.b/c"},
                                              {"/a/b.", "/a/b"},
                                              {"/a/.b", "/a/.b"},
                                              {"/a/..", "/a/.."},
                                              {"b.app/", "b"}}) {
        EXPECT_EQ(Path::deletingExtension(path).view(), expected) << path;
    }
}

TEST(Path, standardizedByTextAlone) {
    for (const auto& [path, expected] : Cases{{"/", "/"},
                                              {"//", "/"},
                                              {"/a/./b/", "/a/b"},
                                              {"/a/..", "/"},
                                              {"/../a", "/a"},
                                              {"/a/b/../../..", "/"},
                                              {"/a/.b/..c/...", "/a/.b/..c/..."},
                                              {"/private/tmp", "/private/tmp"},
                                              {"a/../..", ".."},
                                              {"./a", "a"},
                                              {"", ""}}) {
        EXPECT_EQ(Path::standardized(path).view(), expected) << path;
    }
}

TEST(Path, whatIsStandardizedSharesItsBytes) {
    const Text path{"/Users/anna/.config/..x"};
    EXPECT_EQ(Path::standardized(path).view().data(), path.view().data());
    EXPECT_EQ(Path::deletingLastComponent(path).view().data(), path.view().data());
    EXPECT_EQ(Path::lastComponent(path).view().data(), path.view().data() + 20);
}

TEST(Path, appendingPutsOneSlashBetween) {
    EXPECT_EQ(Path::appending("/a", "b").view(), "/a/b");
    EXPECT_EQ(Path::appending("/a/", "b").view(), "/a/b");
    EXPECT_EQ(Path::appending("/a/", "/b").view(), "/a/b");
    EXPECT_EQ(Path::appending("/", "b/c").view(), "/b/c");
    EXPECT_EQ(Path::appending("", "b").view(), "b");
}

TEST(Path, components) {
    const auto joined = [](const char* path) {
        std::string result;
        for (const Text& component : Path::components(path)) result.append(component.view()).append("|");
        return result;
    };
    EXPECT_EQ(joined("/"), "/|");
    EXPECT_EQ(joined("//a//b/"), "/|a|b|");
    EXPECT_EQ(joined("a/b"), "a|b|");
    EXPECT_EQ(joined(""), "");
}

TEST(Path, uppermostTakesEachPlaceOnceAndNothingBelowAnother) {
    const auto uppermost = [](const std::vector<Text>& paths) {
        std::vector<std::string> result;
        for (const Text& path : Path::uppermost(paths)) result.push_back(path.string());
        return result;
    };
    using Paths = std::vector<std::string>;
    EXPECT_EQ(uppermost({}), Paths{});
    EXPECT_EQ(uppermost({"/b/x/y", "/b", "/a", "/b/x", "/a", "/bc"}), (Paths{"/b", "/a", "/bc"}));
    EXPECT_EQ(uppermost({"/a", "/", "/a/b"}), Paths{"/"});
    // Equal as texts, but two folders on a disk that tells them apart.
    EXPECT_EQ(uppermost({"/\u00E9", "/e\u0301/x"}), (Paths{"/\u00E9", "/e\u0301/x"}));
}

TEST(Path, isBeneathAFolderOnlyBehindASlash) {
    EXPECT_TRUE(Path::isBeneath("/System/x", "/System"));
    EXPECT_FALSE(Path::isBeneath("/System", "/System"));
    EXPECT_FALSE(Path::isBeneath("/SystemFoo", "/System"));
    EXPECT_TRUE(Path::isBeneath("/a", "/"));
    EXPECT_FALSE(Path::isBeneath("/", "/"));
    EXPECT_FALSE(Path::isBeneath("", "/"));
    EXPECT_TRUE(Path::isBeneath("/e\u0301/x", "/\u00E9"));
    EXPECT_TRUE(Path::isBeneath("/\u00E9/x", "/e\u0301"));
    EXPECT_FALSE(Path::isBeneath("/e\u0301/x", "/e"));
}

TEST(Path, aSlashBeforeACombiningMarkIsABoundaryToo) { EXPECT_TRUE(Path::isBeneath("/a/\u0301b", "/a")); }

RC_GTEST_PROP(Path, standardizingIsDoneOnceAndLeavesNoDots, ()) {
    static const std::vector<std::string> pieces = {"/", "/", ".", "..", "a", "b.c", "\u00E9"};
    std::string path = "/";
    const auto count = *rc::gen::inRange<int>(0, 12);
    for (int i = 0; i < count; ++i) path += *rc::gen::elementOf(pieces);
    const Text standardized = Path::standardized(path);
    RC_ASSERT(Path::standardized(standardized).view() == standardized.view());
    const auto components = Path::components(standardized);
    std::string rebuilt;
    for (std::size_t i = 1; i < components.size(); ++i) {
        RC_ASSERT(components[i] != Text{"."} && components[i] != Text{".."});
        rebuilt += "/" + components[i].string();
    }
    RC_ASSERT(standardized.view() == (rebuilt.empty() ? "/" : rebuilt));
}

}  // namespace
}  // namespace KestrelCore
