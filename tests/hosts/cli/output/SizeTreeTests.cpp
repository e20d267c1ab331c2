#include "output/SizeTree.hpp"
#include "output/TerminalText.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <string>
#include <vector>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

struct Item {
    std::string path;
    std::int64_t bytes = 0;  ///< of everything in it for a folder
    FileKind kind = FileKind::file;
    bool isFurtherLink = false;
};

/// A snapshot of /r, whose items are given by their paths below it.
ScanSnapshot aSnapshot(std::int64_t total, const std::vector<Item>& items) {
    std::vector<FileRecord> records;
    const auto add = [&](const Text& path, const std::optional<Text>& parent, const Item& item) {
        records.emplace_back(UUID::random(), std::nullopt, parent, path, Path::lastComponent(path), item.kind,
                             item.bytes, item.kind == FileKind::file ? item.bytes : 0, item.bytes, std::nullopt, "",
                             false, false, item.isFurtherLink, RiskLevel::normal);
    };
    add("/r", std::nullopt, {.path = "/r", .bytes = total, .kind = FileKind::directory});
    for (const Item& item : items) {
        const Text path{"/r/" + item.path};
        add(path, Path::deletingLastComponent(path), item);
    }
    return {UUID::random(), ScanScope{URL::fromPath("/r", true)}, Date{}, Date{}, records, {}};
}

std::string shown(const std::vector<TreeLine>& lines) {
    std::string text;
    for (const TreeLine& line : lines) {
        text += line.branch + (line.record ? line.record->name().string() : std::to_string(line.moreItems) + " more") +
                " " + std::to_string(line.bytes) + "\n";
    }
    return text;
}

std::vector<std::string> paths(const std::vector<FileRecord>& records) {
    std::vector<std::string> result;
    for (const FileRecord& record : records) result.push_back(record.path().string());
    return result;
}

constexpr FileKind folder = FileKind::directory;

struct Shown {
    std::ostringstream out;
    std::ostringstream messages;
    Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
};

}  // namespace

TEST(SizeTree, showsTheLargestItemsAndWhatTheRestHolds) {
    const ScanSnapshot snapshot =
        aSnapshot(1000, {{"a", 600, folder}, {"a/x", 400}, {"a/y", 195}, {"a/z", 5}, {"b", 300}, {"c", 60}, {"d", 40}});
    EXPECT_EQ(shown(sizeTree(snapshot, {.depth = 2, .top = 2})), "r 1000\n"
                                                                 "├─ a 600\n"
                                                                 "│  ├─ x 400\n"
                                                                 "│  ├─ y 195\n"
                                                                 "│  └─ 1 more 5\n"
                                                                 "├─ b 300\n"
                                                                 "└─ 2 more 100\n");
    EXPECT_EQ(shown(sizeTree(snapshot, {.depth = 1, .top = 10})), "r 1000\n├─ a 600\n├─ b 300\n├─ c 60\n└─ d 40\n");
    EXPECT_EQ(shown(sizeTree(snapshot, {.depth = 0, .top = 10})), "r 1000\n");
}

TEST(SizeTree, leavesOutBelowTheFirstLevelWhatIsLessThanAHundredth) {
    const ScanSnapshot snapshot =
        aSnapshot(1000, {{"a", 990, folder}, {"a/large", 10}, {"a/small", 9}, {"b", 9, folder}, {"b/x", 9}});
    EXPECT_EQ(shown(sizeTree(snapshot, {.depth = 2, .top = 10})), "r 1000\n"
                                                                  "├─ a 990\n"
                                                                  "│  ├─ large 10\n"
                                                                  "│  └─ 1 more 9\n"
                                                                  "└─ b 9\n");
}

TEST(SizeTree, isEmptyWithoutARecordOfTheRoot) {
    const ScanSnapshot snapshot{
        UUID::random(), ScanScope{URL::fromPath("/gone", true)}, Date{}, Date{}, std::vector<FileRecord>{}, {}};
    EXPECT_TRUE(sizeTree(snapshot, {}).empty());
    EXPECT_TRUE(largestFiles(snapshot, 10).empty());
}

TEST(LargestFiles, findsThemInAnyDepthAndCountsALinkedFileOnce) {
    const ScanSnapshot snapshot = aSnapshot(1000, {{"a", 500, folder},
                                                   {"a/b", 450, folder},
                                                   {"a/b/deep", 450},
                                                   {"a/again", 450, FileKind::file, true},
                                                   {"a/small", 50},
                                                   {"top", 460},
                                                   {"empty", 0}});
    EXPECT_EQ(paths(largestFiles(snapshot, 2)), (std::vector<std::string>{"/r/top", "/r/a/b/deep"}));
    EXPECT_EQ(paths(largestFiles(snapshot, 10)), (std::vector<std::string>{"/r/top", "/r/a/b/deep", "/r/a/small"}));
    EXPECT_TRUE(largestFiles(snapshot, 0).empty());
}

TEST(LargestFiles, keepTheOrderOfTheRecordsAmongEqualOnes) {
    const ScanSnapshot snapshot = aSnapshot(
        700, {{"z", 100}, {"b", 300, folder}, {"b/c", 100}, {"b/d", 200}, {"a", 100}, {"y", 100}, {"x", 100}});
    EXPECT_EQ(paths(largestFiles(snapshot, 3)), (std::vector<std::string>{"/r/b/d", "/r/z", "/r/b/c"}));
    EXPECT_EQ(paths(largestFiles(snapshot, 5)), (std::vector<std::string>{"/r/b/d", "/r/z", "/r/b/c", "/r/a", "/r/y"}));
}

TEST(SizeTree, staysWithinTheTerminalAndEscapesNames) {
    const ScanSnapshot snapshot = aSnapshot(
        1000, {{"evil\x1b[2J\nname", 700}, {"a very long name that no small terminal can show as a whole", 300}});
    Shown shown;
    shown.session.terminal.isOutput = true;
    shown.session.options.color = ColorChoice::never;
    for (const std::size_t columns : {40U, 60U, 100U}) {
        shown.session.terminal.columns = columns;
        shown.out.str("");
        writeTree(shown.session, sizeTree(snapshot, {}), 1000);
        std::istringstream lines{shown.out.str()};
        std::string text;
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(TerminalText::width(line), columns) << line;
            EXPECT_EQ(line.find('\x1b'), std::string::npos) << line;
            // Letters alone: what branches and blanks stand before the further lines of a name does not matter.
            for (const char c : line) {
                if (c >= 'a' && c <= 'z') text += c;
            }
        }
        EXPECT_NE(text.find("averylongnamethatnosmallterminalcanshowasawhole"), std::string::npos) << text;
    }
}

TEST(SizeTree, givesSizeShareBarAndName) {
    const ScanSnapshot snapshot = aSnapshot(4000, {{"half", 2000, folder}});
    Shown shown;
    writeTree(shown.session, sizeTree(snapshot, {}), 4000);
    EXPECT_EQ(shown.out.str(), " 4.00 kB  100.0 % ████████████████████  /r/\n"
                               " 2.00 kB   50.0 % ██████████            └─ half/\n");
}

TEST(LargestFiles, areShownRelativeToTheRootOnATerminalOnly) {
    const ScanSnapshot snapshot = aSnapshot(1000, {{"a", 1000, folder}, {"a/file", 1000}});
    Shown shown;
    writeFiles(shown.session, largestFiles(snapshot, 5), "/r", 1000);
    EXPECT_EQ(shown.out.str(), " 1.00 kB  100.0 % ████████████████████  /r/a/file\n");
    shown.out.str("");
    shown.session.terminal = {.isOutput = true, .columns = 60};
    shown.session.options.color = ColorChoice::never;
    writeFiles(shown.session, largestFiles(snapshot, 5), "/r", 1000);
    EXPECT_EQ(shown.out.str(), " 1.00 kB  100.0 % ████████████  a/file\n");
}

}  // namespace KestrelCLI
