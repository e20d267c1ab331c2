#include "KestrelCore/Base/URL.hpp"

#include "support/ChildProcess.hpp"
#include "support/TemporaryFolder.hpp"

#include <filesystem>
#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace KestrelCore {
namespace {

TEST(URL, keepsAnAbsolutePathAsItStands) {
    EXPECT_EQ(URL::fromPath("/a/./b//c/..").path().view(), "/a/./b//c/..");
    EXPECT_EQ(URL::fromPath("/%41").absoluteString().view(), "file:///%2541");
    EXPECT_EQ(URL::fromPath("/e\u0301").absoluteString().view(), "file:///e%CC%81");
    EXPECT_EQ(URL::fromPath("/a b?#[]").absoluteString().view(), "file:///a%20b%3F%23%5B%5D");
}

TEST(URL, aDirectoryShowsInTheTextAndNotInThePath) {
    const URL folder = URL::fromPath("/a/b", true);
    EXPECT_EQ(folder.absoluteString().view(), "file:///a/b/");
    EXPECT_EQ(folder.path().view(), "/a/b");
    EXPECT_TRUE(folder.hasDirectoryPath());
    EXPECT_FALSE(URL::fromPath("/a/b").hasDirectoryPath());
    EXPECT_NE(folder, URL::fromPath("/a/b"));
    EXPECT_TRUE(URL::fromPath("/", true).absoluteString() == Text{"file:///"});
}

TEST(URL, aRelativePathIsResolvedAgainstTheWorkingDirectory) {
    const Text folder{std::filesystem::current_path().string()};
    EXPECT_EQ(URL::fromPath("x/../y").path(), Path::appending(folder, "y"));
    EXPECT_EQ(URL::fromPath("").path(), folder);
    EXPECT_EQ(URL::fromPath(".").path(), folder);
}

TEST(URL, aRelativePathNamesNothingBelowTheRootWhereTheWorkingDirectoryIsGone) {
    const TemporaryFolder folder;
    inChild(ChildSetting::same, [&] {
        std::filesystem::current_path(folder.makeFolder("gone"));
        std::filesystem::remove(folder / "gone");
        for (const char* path : {"tmp/x", "", ".", "../tmp"}) {
            const URL url = URL::fromPath(path, true);
            EXPECT_FALSE(url.path().view().starts_with('/')) << path;
            EXPECT_FALSE(url.standardized().path().view().starts_with('/')) << path;
            EXPECT_FALSE(url.appending("a").path().view().starts_with('/')) << path;
        }
    });
}

TEST(URL, escapedSlashesAndNULStayEncodedInThePath) {
    EXPECT_EQ(URL::fromPath(Text{std::string_view{"/a\0b", 4}}).path().view(), "/a%00b");
    EXPECT_EQ(URL::parse("file:///a%2fb")->path().view(), "/a%2fb");
    EXPECT_EQ(URL::parse("file:///a%2fb")->pathComponents().size(), 2U);
}

TEST(URL, aPathThatDecodesToNoTextIsEmpty) {
    EXPECT_EQ(URL::parse("file:///%FF")->path().view(), "");
    EXPECT_EQ(URL::parse("file:///%C3/x")->path().view(), "");
    EXPECT_EQ(URL::parse("file:///%FF")->standardized().absoluteString().view(), "file:///%FF");
}

TEST(URL, readingEncodesWhatMayNotStandRaw) {
    EXPECT_EQ(URL::parse("file:///a b%20c%zz")->absoluteString().view(), "file:///a%20b%20c%25zz");
    EXPECT_EQ(URL::parse("file:///a%zz")->path().view(), "/a%zz");
    EXPECT_EQ(URL::parse("file:///x%")->path().view(), "/x%");
    EXPECT_EQ(URL::parse("file:///a?b c#d#e")->absoluteString().view(), "file:///a?b%20c#d%23e");
}

TEST(URL, readingRefusesTheEmptyTextAndAMalformedAuthority) {
    for (const char* text : {"", "http://[", "http://]", "http://[]/", "http://[::1", "http://host:80x/",
                             "http://[::1]x/", "http://a[b/", "file://[a]b@c/"}) {
        EXPECT_FALSE(URL::parse(text).has_value()) << text;
    }
    for (const char* text : {"file:", "http://[::1]:80/a", "http://user:pw@host:80/", "http://host:/", "x", "?q", "#f",
                             "a:b", "1:b", "//host/a"}) {
        EXPECT_TRUE(URL::parse(text).has_value()) << text;
    }
}

TEST(URL, thePathLeavesOutEverythingAroundIt) {
    const std::vector<std::pair<const char*, const char*>> cases = {{"file://host:80/a/b?c#d", "/a/b"},
                                                                    {"file:///", "/"},
                                                                    {"file:////", "/"},
                                                                    {"file://", ""},
                                                                    {"mailto:x", "x"},
                                                                    {"a/b/", "a/b"},
                                                                    {"?q", ""},
                                                                    {"//host/a", "/a"}};
    for (const auto& [text, expected] : cases) EXPECT_EQ(URL::parse(text)->path().view(), expected) << text;
}

TEST(URL, theExtensionMayNotPretendToBeAnother) {
    for (const char* path :
         {"/x.my file", "/..a", "/...a", "/a.", "/.bashrc", "/a.t\u202Ext", "/a.\u200Eb", "/a.\u2069"}) {
        EXPECT_TRUE(URL::fromPath(path).pathExtension().isEmpty()) << path;
    }
    EXPECT_EQ(URL::fromPath("/a.b/c.tar.gz/").pathExtension().view(), "gz");
}

TEST(URL, standardizingDecodesDotsAndKeepsTheTrailingSlash) {
    const std::vector<std::pair<const char*, const char*>> cases = {{"file:///a/%2E%2E/b", "file:///b"},
                                                                    {"file:///a/b/", "file:///a/b/"},
                                                                    {"file:///a//b//", "file:///a/b/"},
                                                                    {"file:///a/../", "file:///"},
                                                                    {"file://h/a/./b?q", "file://h/a/b?q"},
                                                                    {"file:///a%2F../b", "file:///a%2F../b"},
                                                                    {"a/../../b", "../b"}};
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(URL::parse(text)->standardized().absoluteString().view(), expected) << text;
    }
}

TEST(URL, theFolderOfAnItemEndsInASlash) {
    EXPECT_EQ(URL::fromPath("/a/b").deletingLastPathComponent().absoluteString().view(), "file:///a/");
    EXPECT_EQ(URL::fromPath("/a/b", true).deletingLastPathComponent().absoluteString().view(), "file:///a/");
    EXPECT_EQ(URL::fromPath("/").deletingLastPathComponent().absoluteString().view(), "file:///");
    EXPECT_EQ(URL::fromPath("/a/..").deletingLastPathComponent().path().view(), "/a/..");
}

TEST(URL, deletingTheExtensionKeepsADirectoryOne) {
    EXPECT_EQ(URL::fromPath("/x/Foo.app", true).deletingPathExtension().absoluteString().view(), "file:///x/Foo/");
    EXPECT_EQ(URL::fromPath("/x.y/Foo").deletingPathExtension().absoluteString().view(), "file:///x.y/Foo");
}

TEST(URL, appendingEncodesTheComponent) {
    EXPECT_EQ(URL::fromPath("/a").appending("b c%").absoluteString().view(), "file:///a/b%20c%25");
    EXPECT_EQ(URL::fromPath("/a", true).appending("b", true).absoluteString().view(), "file:///a/b/");
    EXPECT_EQ(URL::fromPath("/").appending("x/y/").path().view(), "/x/y");
}

RC_GTEST_PROP(URL, aPathSurvivesTheWayThroughTheText, ()) {
    static const std::vector<std::string> pieces = {"/", ".",  "%", "%41", "2F",   "é",  "e\u0301", "?", "#", "[",
                                                    " ", "\n", "a", "日",  "\x7F", "\\", ";",       ":", "//"};
    std::string path = "/";
    const auto count = *rc::gen::inRange<int>(0, 10);
    for (int i = 0; i < count; ++i) path += *rc::gen::elementOf(pieces);
    const URL url = URL::fromPath(path);
    const auto read = URL::parse(url.absoluteString());
    RC_ASSERT(read.has_value());
    RC_ASSERT(*read == url);
    RC_ASSERT(std::hash<URL>{}(*read) == std::hash<URL>{}(url));
    if (path.find("%2F") == std::string::npos) RC_ASSERT(read->path().view() == url.path().view());
}

RC_GTEST_PROP(URL, readingWhatWasReadChangesNothing, ()) {
    static const std::vector<std::string> pieces = {"file:", "//", "/", "[", "]", ":", "8", "@",  "%",  "%C3%A9",
                                                    "%FF",   "?",  "#", " ", "é", "a", ".", "..", "\\", "%2F"};
    std::string text;
    const auto count = *rc::gen::inRange<int>(0, 10);
    for (int i = 0; i < count; ++i) text += *rc::gen::elementOf(pieces);
    const auto once = URL::parse(text);
    if (!once.has_value()) return;
    const auto twice = URL::parse(once->absoluteString());
    RC_ASSERT(twice.has_value());
    RC_ASSERT(*twice == *once);
    RC_ASSERT(twice->path().view() == once->path().view());
    RC_ASSERT(once->standardized().standardized() == once->standardized());
}

}  // namespace
}  // namespace KestrelCore
