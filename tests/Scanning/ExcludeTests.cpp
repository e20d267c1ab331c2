#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Scanning/DiskScanner.hpp"
#include "Scanning/NamePattern.hpp"
#include "support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <variant>
#include <vector>

namespace KestrelCore {

namespace {

using ::testing::ElementsAre;

std::string whyNot(std::string_view pattern) {
    try {
        (void)ExcludePattern::parse(pattern);
    } catch (const KestrelError& error) {
        return error.what();
    }
    return "";
}

std::string whyNotRead(const std::string& path) {
    try {
        (void)ExcludePattern::readFile(path);
    } catch (const KestrelError& error) {
        return error.what();
    }
    return "";
}

ScanOptions leavingOut(const std::vector<std::string>& patterns) {
    ScanOptions options = ScanOptions::everything();
    for (const std::string& pattern : patterns) options.exclude.push_back(ExcludePattern::parse(pattern));
    return options;
}

ScanCompleted scanned(const std::string& root, const ScanOptions& options) {
    EventStream<ScanEvent> events = DiskScanner{}.scan(ScanScope{URL::fromPath(root)}, options);
    while (auto event = events.next()) {
        if (auto* completed = std::get_if<ScanCompleted>(&*event)) return std::move(*completed);
    }
    throw KestrelError::unavailable("no result");
}

std::set<std::string> pathsBelow(const std::string& root, const ScanSnapshot& snapshot) {
    std::set<std::string> paths;
    for (const FileRecord& record : snapshot.records()) {
        if (record.path().string() != root) paths.insert(record.path().string().substr(root.size() + 1));
    }
    return paths;
}

void write(const std::string& path, const std::string& content = "x") {
    std::ofstream{path, std::ios::binary} << content;
}

constexpr const char* signature = "Signature: 8a477f597d28d172789f06886806bc55\n";

// What the patterns mean, put down as plainly as can be: whole paths, recursion, no speed.

bool matchesName(std::string_view pattern, std::string_view name) {
    if (pattern.empty()) return name.empty();
    if (pattern.front() == '*') {
        return matchesName(pattern.substr(1), name) || (!name.empty() && matchesName(pattern, name.substr(1)));
    }
    if (name.empty()) return false;
    if (pattern.front() == '[') {
        const bool isNegated = pattern[1] == '!';
        const std::string_view set = pattern.substr(isNegated ? 2 : 1, pattern.find(']') - (isNegated ? 2 : 1));
        const bool isIn = set.find(name.front()) != std::string_view::npos;
        return isIn != isNegated && matchesName(pattern.substr(pattern.find(']') + 1), name.substr(1));
    }
    return (pattern.front() == '?' || pattern.front() == name.front()) &&
           matchesName(pattern.substr(1), name.substr(1));
}

std::vector<std::string> split(const std::string& path) {
    std::vector<std::string> parts;
    for (const auto& part : std::filesystem::path{path}) {
        if (part != "/" && part != "." && !part.empty()) parts.push_back(part.string());
    }
    return parts;
}

bool matchesPath(const std::vector<std::string>& pattern, std::size_t p, const std::vector<std::string>& path,
                 std::size_t at) {
    if (p == pattern.size()) return at == path.size();
    if (at == path.size()) return false;
    if (pattern[p] == "**") {
        const bool isLast = p + 1 == pattern.size();
        return (isLast && at + 1 == path.size()) || (!isLast && matchesPath(pattern, p + 1, path, at)) ||
               matchesPath(pattern, p, path, at + 1);
    }
    return matchesName(pattern[p], path[at]) && matchesPath(pattern, p + 1, path, at + 1);
}

bool isLeftOut(std::string pattern, const std::string& root, const std::string& path, bool isFolder) {
    if (pattern.ends_with('/')) {
        if (!isFolder) return false;
        pattern.pop_back();
    }
    if (pattern.find('/') == std::string::npos) return matchesName(pattern, split(path).back());
    return matchesPath(split(pattern), 0, split(pattern.starts_with('/') ? root + "/" + path : path), 0);
}

class ExcludeTest : public ::testing::Test {
protected:
    ExcludeTest() : root_{std::filesystem::canonical(folder_.path()).string()} {}

    const std::string& root() const { return root_; }
    [[nodiscard]] std::string path(const std::string& name) const { return root_ + "/" + name; }

private:
    TemporaryFolder folder_;
    std::string root_;
};

}  // namespace

TEST(NamePattern, matchesWholeNames) {
    const auto matches = [](const char* pattern, const char* name) { return NamePattern{pattern}.matches(name); };
    EXPECT_TRUE(matches("*.iso", "disk.iso"));
    EXPECT_FALSE(matches("*.iso", "disk.ISO"));
    EXPECT_FALSE(matches("iso", "disk.iso"));
    EXPECT_TRUE(matches("a*b*c", "aXbYbZc"));
    EXPECT_FALSE(matches("a*b*c", "aXbYbZ"));
    EXPECT_TRUE(matches("caf?", "caf\u00e9"));
    EXPECT_FALSE(matches("caf??", "caf\u00e9"));
    EXPECT_TRUE(matches("?", "\xff"));
    EXPECT_TRUE(matches("[\u00e0-\u00ff]*", "\u00e9t\u00e9"));
    EXPECT_FALSE(matches("[!\u00e0-\u00ff]*", "\u00e9t\u00e9"));
    EXPECT_TRUE(matches("[]]x[-a]", "]x-"));
    EXPECT_TRUE(matches("[a", "[a"));
    EXPECT_TRUE(matches("\\*\\!", "*!"));
    EXPECT_FALSE(matches("\\*", "a"));
    EXPECT_TRUE(matches("*\xff*", "a\xff"
                                  "b"));
}

TEST(NamePattern, doesNotExplode) {
    std::string many;
    for (int i = 0; i < 100; ++i) many += "*a";
    const std::string name(255, 'a');
    EXPECT_FALSE(NamePattern{many + "b"}.matches(name));
    EXPECT_FALSE(NamePattern{many + "*?[b]"}.matches(name));
    EXPECT_TRUE(NamePattern{many}.matches(name));
    EXPECT_TRUE(NamePattern{std::string(100'000, '*') + "a"}.matches(name));
}

TEST(ExcludePattern, refusesWhatWouldMeanSomethingElse) {
    for (const char* pattern : {"!keep", "", "/", "..", "a/../b", "a/./b", ".", "end\\", "///"})
        EXPECT_NE(whyNot(pattern), "") << pattern;
    for (const char* pattern : {"\\!keep", "./a", "a//b", "/a", "a/", "end\\\\", "...", "[", "*"})
        EXPECT_EQ(whyNot(pattern), "") << pattern;
    EXPECT_EQ(whyNot(std::string(100'000, '*')), "");
    std::string many;
    for (int i = 0; i < 100'000; ++i) many += "*a";
    EXPECT_TRUE(whyNot(many).ends_with("is longer than any path.")) << whyNot(many);
}

TEST_F(ExcludeTest, readsPatternsFromAFileAndNothingElse) {
    write(path("list"), "# caches\n\nnode_modules\r\n*.iso\n\\#odd\n  spaced \n");
    std::vector<std::string> read;
    for (const ExcludePattern& pattern : ExcludePattern::readFile(path("list"))) read.emplace_back(pattern.bytes());
    EXPECT_THAT(read, ElementsAre("node_modules", "*.iso", "\\#odd", "  spaced "));

    write(path("wrong"), "fine\n!not\n");
    EXPECT_THAT(whyNotRead(path("wrong")), ::testing::StartsWith(path("wrong") + ", line 2: "));
    write(path("binary"), std::string("a\0b\n", 4));
    EXPECT_THAT(whyNotRead(path("binary")), ::testing::HasSubstr("NUL"));
    write(path("huge"), std::string(2'000'000, 'x'));
    EXPECT_THAT(whyNotRead(path("huge")), ::testing::HasSubstr("more than a mebibyte"));
    ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
    EXPECT_THAT(whyNotRead(path("fifo")), ::testing::HasSubstr("no regular file"));
    EXPECT_THAT(whyNotRead(root()), ::testing::HasSubstr("no regular file"));
    EXPECT_THAT(whyNotRead(path("none")), ::testing::HasSubstr("No such file"));
}

TEST_F(ExcludeTest, leavesOutWhatTheNaiveReadingLeavesOut) {
    for (const char* folder : {"a/b/ab", "a/ba/a", "b/a/b/a", "ab/c", "c/c/c"})
        std::filesystem::create_directories(path(folder));
    for (const auto& folder : std::vector<std::string>{"", "a", "a/b", "a/b/ab", "b/a", "b/a/b", "ab", "c/c"}) {
        for (const char* name : {"x", "ax", "xb", "b.c"}) write(path(folder + "/" + name));
    }
    const ScanSnapshot whole = scanned(root(), ScanOptions::everything()).snapshot;
    std::map<std::string, bool> isFolder;
    for (const std::string& each : pathsBelow(root(), whole))
        isFolder[each] = std::filesystem::is_directory(path(each));

    const auto component =
        rc::gen::element<std::string>("a", "b", "ab", "x", "*", "a*", "*b", "?", "[ab]", "[!a]*", "**", "*.c", "c");
    const auto aPattern = rc::gen::apply(
        [this](const std::vector<std::string>& parts, int form, bool isForFolders) {
            std::string pattern = form == 1 ? root() + "/" : form == 2 ? "./" : "";
            for (std::size_t i = 0; i < parts.size(); ++i) pattern += (i > 0 ? "/" : "") + parts[i];
            return pattern + (isForFolders ? "/" : "");
        },
        rc::gen::mapcat(
            rc::gen::inRange<std::size_t>(1, 5),
            [&](std::size_t count) { return rc::gen::container<std::vector<std::string>>(count, component); }),
        rc::gen::inRange(0, 4), rc::gen::arbitrary<bool>());
    rc::check("the walk with patterns is the naive filter of the walk without", [&] {
        const auto patterns = *rc::gen::resize(4, rc::gen::container<std::vector<std::string>>(aPattern));
        std::set<std::string> kept;
        std::vector<std::int64_t> counts(patterns.size());
        for (const auto& [each, folder] : isFolder) {
            bool isBelowOne = false;
            for (const auto& [above, aboveIsFolder] : isFolder) {
                isBelowOne = isBelowOne ||
                             (each.starts_with(above + "/") && std::ranges::any_of(patterns, [&](const auto& pattern) {
                                  return isLeftOut(pattern, root(), above, aboveIsFolder);
                              }));
            }
            if (isBelowOne) continue;
            const auto rule = std::ranges::find_if(
                patterns, [&](const auto& pattern) { return isLeftOut(pattern, root(), each, folder); });
            if (rule == patterns.end()) {
                kept.insert(each);
            } else {
                ++counts[static_cast<std::size_t>(rule - patterns.begin())];
            }
        }
        const ScanCompleted result = scanned(root(), leavingOut(patterns));
        RC_ASSERT(pathsBelow(root(), result.snapshot) == kept);
        RC_ASSERT(result.leftOut.size() == patterns.size());
        for (std::size_t i = 0; i < patterns.size(); ++i) RC_ASSERT(result.leftOut[i].items == counts[i]);
    });
}

TEST_F(ExcludeTest, leavesOutOfCachesAllButTheTag) {
    for (const char* folder : {"cache/deep", "link", "fifo", "short", "plain"})
        std::filesystem::create_directories(path(folder));
    write(path("CACHEDIR.TAG"), signature);  // the root is what was asked for
    write(path("cache/CACHEDIR.TAG"), std::string{signature} + "# made by a test\n");
    write(path("cache/deep/file"));
    write(path("cache/file"));
    std::filesystem::create_symlink(path("cache/CACHEDIR.TAG"), path("link/CACHEDIR.TAG"));
    ASSERT_EQ(mkfifo(path("fifo/CACHEDIR.TAG").c_str(), 0600), 0);
    write(path("short/CACHEDIR.TAG"), "Signature: 8a477f597d28d172789f06886806bc5");
    for (const char* folder : {"link", "fifo", "short", "plain"}) write(path(folder + std::string{"/file"}));

    ScanOptions options = ScanOptions::everything();
    options.cacheFolders = ScanOptions::CacheFolders::leftOut;
    const ScanCompleted result = scanned(root(), options);
    EXPECT_THAT(pathsBelow(root(), result.snapshot),
                ElementsAre("CACHEDIR.TAG", "cache", "cache/CACHEDIR.TAG", "fifo", "fifo/CACHEDIR.TAG", "fifo/file",
                            "link", "link/CACHEDIR.TAG", "link/file", "plain", "plain/file", "short",
                            "short/CACHEDIR.TAG", "short/file"));
    EXPECT_THAT(result.leftOut, ElementsAre(LeftOutItems{.what = "folders with a CACHEDIR.TAG", .items = 1}));
    EXPECT_THAT(options.leftOut(ScanScope{URL::fromPath(root())}), ElementsAre(Text{"folders with a CACHEDIR.TAG"}));
}

TEST_F(ExcludeTest, knowsWhichAbsolutePatternsLieElsewhere) {
    const ScanCompleted result =
        scanned(root(), leavingOut({"/elsewhere/x", root() + "/x", "./x", "/**/x", root(), "/*/**"}));
    std::vector<bool> concerns;
    for (const LeftOutItems& each : result.leftOut) concerns.push_back(each.concernsRoot);
    EXPECT_THAT(concerns, ElementsAre(false, true, true, true, false, true));
    EXPECT_EQ(result.snapshot.records().size(), 1U);
}

TEST_F(ExcludeTest, sumsOverSeveralScansCountALinkedFileOnce) {
    std::filesystem::create_directories(path("one"));
    std::filesystem::create_directories(path("two"));
    write(path("one/file"), std::string(100'000, 'x'));
    std::filesystem::create_hard_link(path("one/file"), path("two/again"));
    std::filesystem::create_hard_link(path("one/file"), path("two/third"));
    ScanOptions options = ScanOptions::everything();
    options.linkedFiles.emplace();
    const std::int64_t whole = scanned(root(), ScanOptions::everything()).snapshot.totalAllocatedBytes();
    const ScanSnapshot one = scanned(path("one"), options).snapshot;
    EXPECT_EQ(options.linkedFiles->bytesCountedAgain(), 0);
    const ScanSnapshot two = scanned(path("two"), options).snapshot;
    const std::int64_t ofRoot = scanned(root(), leavingOut({"*"})).snapshot.totalAllocatedBytes();
    EXPECT_EQ(one.totalAllocatedBytes() + two.totalAllocatedBytes() - options.linkedFiles->bytesCountedAgain(),
              whole - ofRoot);
}

TEST(ExcludePattern, saysWhatItLeavesOut) {
    const auto leavesOut = [](const char* pattern, const char* path, FileKind kind = FileKind::file) {
        return ExcludePattern::parse(pattern).leavesOut(path, "/home/a", kind);
    };
    EXPECT_TRUE(leavesOut("*.iso", "/home/a/x/y.iso"));
    EXPECT_TRUE(leavesOut("node_modules", "/home/a/p/node_modules/q/r.js"));
    EXPECT_TRUE(leavesOut("p/*/r", "/home/a/p/q/r/s"));
    EXPECT_FALSE(leavesOut("p/*/r", "/home/a/o/p/q/r"));
    EXPECT_TRUE(leavesOut("/home/a/p", "/home/a/p"));
    EXPECT_FALSE(leavesOut("build/", "/home/a/build"));
    EXPECT_TRUE(leavesOut("build/", "/home/a/build", FileKind::directory));
    EXPECT_TRUE(leavesOut("build/", "/home/a/build/x"));
    // Neither the root nor what lies elsewhere.
    EXPECT_FALSE(leavesOut("a", "/home/a"));
    EXPECT_FALSE(leavesOut("*", "/home/b"));
    EXPECT_TRUE(ExcludePattern::parse("/proc").leavesOut("/proc/1", "/", FileKind::file));
}

TEST(ExcludePattern, readsNoneFromTheEmptyDevice) { EXPECT_TRUE(ExcludePattern::readFile("/dev/null").empty()); }

}  // namespace KestrelCore
