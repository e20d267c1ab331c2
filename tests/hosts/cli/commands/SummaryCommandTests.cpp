#include "commands/Commands.hpp"

#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"
#include "output/TerminalText.hpp"
#include "support/HistoryCommandTest.hpp"
#include "support/Records.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <simdjson.h>

#include <iterator>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using namespace KestrelCore;
using KestrelCore::testing::aRecord;
using KestrelCore::testing::aSnapshot;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

namespace KestrelCLI {

namespace {

constexpr double day = 86'400;

/// Scans that were put together, so that sizes and ages are known.
class SummaryCommand : public HistoryCommandTest {
protected:
    static FileRecord file(const std::string& path, std::int64_t bytes, double days = 1) {
        return aRecord({.path = path, .allocated = bytes, .modified = Date::now().addingSeconds(-days * day)});
    }
    static FileRecord folder(const std::string& path) {
        return aRecord({.path = path, .isTop = path == "/r", .kind = FileKind::directory});
    }
    static ScanSnapshot media() {
        return aSnapshot("/r", {folder("/r"), folder("/r/v"), file("/r/v/a.mp4", 3'000'000, 400),
                                file("/r/v/b.mkv", 1'000'000, 10), file("/r/i.jpg", 500'000, 10),
                                file("/r/d.iso", 400'000, 2000), file("/r/LICENSE", 100'000, 2000)});
    }
    std::int64_t keep(const ScanSnapshot& snapshot) {
        return SnapshotHistory{URL::fromPath(data_ / "kestrel/history.sqlite")}.add(snapshot).number;
    }
    static CommandRun run(std::vector<std::string> arguments, const Terminal& terminal = {}) {
        arguments.insert(arguments.begin(), "summary");
        return runCommands(std::move(arguments), {addSummaryCommand, addSearchCommand}, terminal);
    }
    static std::string shown(std::vector<std::string> arguments, const Terminal& terminal = {}) {
        const CommandRun result = run(std::move(arguments), terminal);
        EXPECT_EQ(result.code, ExitCode::done) << result.messages;
        EXPECT_EQ(result.messages, "");
        return result.out;
    }
    static std::string failure(std::vector<std::string> arguments, ExitCode code = ExitCode::failed) {
        return messagesOf(run(std::move(arguments)), code);
    }
    /// Groups by name: items and bytes.
    static std::vector<std::string> rows(simdjson::dom::element json) {
        std::vector<std::string> result;
        for (const auto row : json["rows"].get_array()) {
            result.push_back(std::string{row["name"].get_string().value()} + " " +
                             std::to_string(row["items"].get_int64().value()) + " " +
                             std::to_string(row["bytes"].get_int64().value()));
        }
        return result;
    }
};

}  // namespace

TEST_F(SummaryCommand, showsTheTypesOfTheNewestScan) {
    keep(media());
    const std::string text = shown({});
    EXPECT_THAT(text, HasSubstr("/r, scanned "));
    EXPECT_THAT(text, HasSubstr("   SIZE    SHARE                        FILES  TYPE\n"
                                "4.00 MB   80.0 %  ████████████████          2  videos\n"
                                " 500 kB   10.0 %  ██                        1  photos\n"
                                " 400 kB    8.0 %  █▋                        1  disk images\n"
                                " 100 kB    2.0 %  ▍                         1  other\n"
                                "5.00 MB  100.0 %                            5  all files\n"
                                "\n"
                                "kestrel search --type videos --in /r --sort size\n"));
}

TEST_F(SummaryCommand, showsOneFolder) {
    keep(media());
    EXPECT_THAT(shown({"/r/v"}), AllOf(HasSubstr("/r/v\n"), HasSubstr("2  all files"), Not(HasSubstr("photos"))));
}

TEST_F(SummaryCommand, writesJSON) {
    keep(media());
    simdjson::dom::parser parser;
    const std::string text = shown({"--json", "/r/v/..", "--by", "extension", "--limit", "3"});
    const simdjson::dom::element json = parser.parse(text);
    EXPECT_EQ(json["schema"].get_int64().value(), 1);
    EXPECT_EQ(json["snapshot"]["root"].get_string().value(), "/r");
    EXPECT_EQ(json["path"].get_string().value(), "/r");
    EXPECT_EQ(json["by"].get_string().value(), "extension");
    EXPECT_EQ(rows(json), (std::vector<std::string>{"mp4 1 3000000", "mkv 1 1000000", "jpg 1 500000"}));
    EXPECT_EQ(json["others"]["rows"].get_int64().value(), 2);
    EXPECT_EQ(json["others"]["items"].get_int64().value(), 2);
    EXPECT_EQ(json["others"]["bytes"].get_int64().value(), 500'000);
    EXPECT_EQ(json["totalItems"].get_int64().value(), 5);
    EXPECT_EQ(json["totalBytes"].get_int64().value(), 5'000'000);
}

TEST_F(SummaryCommand, writesEveryGroupAsJSON) {
    std::vector<FileRecord> records{folder("/r")};
    for (int i = 0; i < 30; ++i) records.push_back(file("/r/f.e" + std::to_string(i), 512));
    keep(aSnapshot("/r", records));
    simdjson::dom::parser parser;
    const std::string text = shown({"--json", "--by", "extension"});
    const simdjson::dom::element json = parser.parse(text);
    EXPECT_EQ(rows(json).size(), 30U);
    EXPECT_TRUE(json["others"].error());
    // A person gets what fits one look, unless it is asked for.
    EXPECT_THAT(shown({"--by", "extension"}), HasSubstr("10  10 other extensions\n"));
    EXPECT_THAT(shown({"--by", "extension", "--all"}), Not(HasSubstr("other")));
    EXPECT_THAT(shown({"--by", "extension", "--limit", "29"}), HasSubstr(" 1  1 other\n"));
}

TEST_F(SummaryCommand, groupsByWhatIsAskedFor) {
    keep(media());
    EXPECT_THAT(shown({"--by", "extension"}),
                AllOf(HasSubstr("EXTENSION\n"), HasSubstr("1  mp4\n"), HasSubstr("1  (none)\n"),
                      HasSubstr("\nkestrel search --ext mp4 --in /r --sort size\n")));
    EXPECT_THAT(
        shown({"--by", "age"}),
        AllOf(HasSubstr("LAST CHANGED\n"), HasSubstr("2  within 30 days\n"), HasSubstr("1  one to three years\n"),
              HasSubstr("\nkestrel search --older-than 1y --newer-than 3y --type files --in /r --sort size\n")));
    EXPECT_THAT(shown({"--by", "size"}),
                AllOf(HasSubstr("SIZE OF A FILE\n"), HasSubstr("1  10 to 100 kB\n"),
                      HasSubstr("\nkestrel search --min 1MB --max 10MB --type files --in /r --sort size\n")));
    EXPECT_THAT(shown({"--by", "DEPTH"}), AllOf(HasSubstr("DEPTH\n"), HasSubstr("3  1\n"), HasSubstr("2  2\n"),
                                                Not(HasSubstr("kestrel search"))));
}

TEST_F(SummaryCommand, namesASearchThatFindsTheFiles) {
    keep(media());
    for (const std::string by : {"type", "extension", "age", "size"}) {
        const std::string text = shown({"--by", by});
        std::istringstream command{text.substr(text.rfind("kestrel search"))};
        std::vector<std::string> words{std::istream_iterator<std::string>{command}, {}};
        words.erase(words.begin());
        words.emplace_back("--count");
        const CommandRun found = runCommands(words, {addSearchCommand});
        EXPECT_EQ(found.messages, "");
        EXPECT_EQ(found.out, by == "type" || by == "size" ? "2\n" : "1\n") << by;
    }
}

TEST_F(SummaryCommand, namesASearchForFilesWithoutAnExtension) {
    keep(aSnapshot("/r", {folder("/r"), file("/r/core", 9000), file("/r/.bash", 3000), file("/r/a.txt", 100)}));
    EXPECT_THAT(shown({"--by", "extension"}), HasSubstr("\nkestrel search ext: --type files --in /r --sort size\n"));
    EXPECT_EQ(runCommands({"search", "ext:", "--type", "files", "--in", "/r", "--count"}, {addSearchCommand}).out,
              "2\n");
}

TEST_F(SummaryCommand, namesTheScanThatASearchWouldNotTake) {
    const std::int64_t first = keep(media());
    keep(aSnapshot("/elsewhere", {aRecord({.path = "/elsewhere", .isTop = true, .kind = FileKind::directory})}));
    const std::string named = "--in /r --at " + std::to_string(first) + " --sort size\n";
    EXPECT_THAT(shown({"/r"}), HasSubstr(named));
    EXPECT_THAT(shown({"--at", std::to_string(first)}), HasSubstr(named));
    EXPECT_THAT(shown({}), HasSubstr("(no files in it)\n"));
}

TEST_F(SummaryCommand, quotesWhatAShellWouldTakeApart) {
    keep(aSnapshot("/r", {folder("/r"), folder("/r/my 'own'"), file("/r/my 'own'/a.a b", 1000)}));
    EXPECT_THAT(shown({"/r/my 'own'", "--by", "extension"}),
                HasSubstr("\nkestrel search --ext 'a b' --in '/r/my '\\''own'\\''' --sort size\n"));
    keep(aSnapshot("/r", {folder("/r"), folder("/r/a\nb"), file("/r/a\nb/\x1b[1m.e\x1b[2m", 1000)}));
    EXPECT_THAT(shown({"/r/a\nb", "--by", "extension"}),
                AllOf(HasSubstr("/r/a\\nb\n"), HasSubstr("e\\x1b[2m\n"), Not(HasSubstr("kestrel search"))));
}

TEST_F(SummaryCommand, answersFromASnapshotDatabase) {
    const std::string store = data_ / "one.sqlite";
    SQLiteSnapshotStore{URL::fromPath(store)}.replace(media());
    EXPECT_THAT(shown({"--store", store}),
                AllOf(HasSubstr("2  videos\n"), HasSubstr("--in /r --store " + store + " --sort size\n")));
}

TEST_F(SummaryCommand, staysWithinTheTerminal) {
    keep(media());
    for (const std::size_t columns : {60U, 80U, 120U, 200U}) {
        for (const std::string by : {"type", "extension", "age", "depth", "size"}) {
            Terminal terminal;
            terminal.isOutput = true;
            terminal.columns = columns;
            std::istringstream text{shown({"--by", by, "--color", "never"}, terminal)};
            for (std::string line; std::getline(text, line);) {
                // What can be copied is not parted.
                if (line.find("kestrel search") != std::string::npos || line.find("scanned") != std::string::npos)
                    continue;
                EXPECT_LE(TerminalText::width(line), columns) << line;
            }
        }
    }
}

TEST_F(SummaryCommand, refusesWhatItCanNotGroupBy) {
    EXPECT_THAT(failure({"--by", "typ"}, ExitCode::wrongUsage), HasSubstr("Did you mean “type”?"));
    EXPECT_THAT(failure({"--by", "sise"}, ExitCode::wrongUsage), HasSubstr("Did you mean “size”?"));
    EXPECT_THAT(failure({"--by", "colour"}, ExitCode::wrongUsage),
                HasSubstr("“colour” is none of age, depth, extension, size, type."));
    EXPECT_THAT(failure({"--by", ""}, ExitCode::wrongUsage), HasSubstr("--by"));
    EXPECT_THAT(failure({"--limit", "-1"}, ExitCode::wrongUsage), HasSubstr("whole number"));
    EXPECT_THAT(failure({"--limit", "1", "--all"}, ExitCode::wrongUsage), HasSubstr("--all"));
}

TEST_F(SummaryCommand, saysWhatItCanNotFind) {
    EXPECT_THAT(failure({}), HasSubstr("There is no saved scan yet"));
    keep(media());
    EXPECT_THAT(failure({"/r/i.jpg"}), HasSubstr("/r/i.jpg is not a folder."));
    EXPECT_THAT(failure({"/r/none"}), HasSubstr("/r/none is not in the scan of /r"));
    EXPECT_THAT(failure({"/other"}), HasSubstr("No saved scan is of /other"));
}

}  // namespace KestrelCLI
