#include "commands/Commands.hpp"

#include "KestrelCore/Storage/SnapshotHistory.hpp"
#include "support/HistoryCommandTest.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <simdjson.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

using namespace KestrelCore;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace KestrelCLI {

namespace {

namespace fs = std::filesystem;

class GrowthCommand : public HistoryCommandTest {
protected:
    static CommandRun run(std::vector<std::string> arguments) {
        return runCommands(std::move(arguments), {addScanCommand, addHistoryCommand, addGrowthCommand});
    }
    static std::string failure(std::vector<std::string> arguments, ExitCode code = ExitCode::failed) {
        return messagesOf(run(std::move(arguments)), code);
    }
    static std::string shown(std::vector<std::string> arguments) {
        const CommandRun result = run(std::move(arguments));
        EXPECT_EQ(result.code, ExitCode::done) << result.messages;
        EXPECT_EQ(result.messages, "");
        return result.out;
    }
    std::string scan(const std::string& path = "") { return shown({"scan", path.empty() ? folder_.path() : path}); }
    void makeFile(const std::string& name, std::size_t bytes) { (void)folder_.makeFile(name, std::string(bytes, 'x')); }
};

}  // namespace

TEST_F(GrowthCommand, knowsAWrongTimeBeforeItLooksForAScan) {
    for (const char* option : {"--since", "--until"})
        EXPECT_THAT(failure({"growth", option, "soon"}, ExitCode::wrongUsage), HasSubstr("“soon” names no scan"));
}

TEST_F(GrowthCommand, comparesTheNewestScanWithTheOneBefore) {
    makeFile("docs/grows", 4096);
    makeFile("docs/goes", 8192);
    makeFile("stays", 4096);
    EXPECT_THAT(scan(), Not(HasSubstr("Largest changes")));
    makeFile("docs/grows", 1 << 20);
    fs::remove(folder_ / "docs/goes");
    fs::create_directory(folder_ / "fresh");
    makeFile("fresh/a", 1 << 16);
    const std::string ended = scan();
    EXPECT_THAT(ended, AllOf(HasSubstr("Largest changes since a moment ago\n"), HasSubstr("docs/grows\n"),
                             HasSubstr("fresh/  new, 1 item\n"), HasSubstr("docs/goes  gone\n")));
    const std::string tree = shown({"growth", folder_.path()});
    EXPECT_THAT(tree, AllOf(HasSubstr("From scan 1, "), HasSubstr("to   scan 2, "), HasSubstr(folder_ / "docs/\n"),
                            HasSubstr(folder_ / "docs/grows\n"), HasSubstr(folder_ / "docs/goes  gone\n"),
                            HasSubstr(folder_ / "fresh/  new, 1 item\n"), Not(HasSubstr("stays"))));
    EXPECT_EQ(shown({"growth"}), tree);
    EXPECT_THAT(shown({"growth", folder_ / "docs"}), AllOf(HasSubstr("grows"), Not(HasSubstr("fresh"))));
    EXPECT_THAT(shown({"growth", "--depth", "1"}), AllOf(HasSubstr("docs/  2 items\n"), Not(HasSubstr("grows"))));
    EXPECT_THAT(shown({"growth", "--top", "1"}), HasSubstr("items\n"));
    scan();
    EXPECT_THAT(shown({"growth"}), HasSubstr("Nothing has changed in size."));
    EXPECT_THAT(shown({"growth", "--since", "1"}), HasSubstr("grows"));
    EXPECT_THAT(shown({"growth", "--since", "1", "--until", "0min"}), HasSubstr("to   scan 3, "));
    EXPECT_THAT(shown({"growth", "--until", "#2"}), HasSubstr("From scan 1, "));
}

TEST_F(GrowthCommand, writesAllOfItAsJSON) {
    makeFile("a", 4096);
    makeFile("old/f", 4096);
    scan();
    makeFile("a", 3 * 4096);
    fs::rename(folder_ / "old", folder_ / "renamed");
    makeFile("b", 4096);
    scan();
    simdjson::dom::parser parser;
    const std::string json = shown({"growth", "--json"});
    const simdjson::dom::element object = parser.parse(json);
    EXPECT_EQ(std::int64_t{object["schema"]}, 1);
    EXPECT_EQ(std::int64_t{object["since"]["number"]}, 1);
    EXPECT_EQ(std::int64_t{object["until"]["number"]}, 2);
    EXPECT_EQ(std::string_view{object["until"]["root"]}, folder_.path());
    EXPECT_EQ(std::string_view{object["path"]}, folder_.path());
    std::map<std::string, simdjson::dom::element> changes;
    std::int64_t sum = 0;
    for (const simdjson::dom::element change : object["changes"].get_array()) {
        changes.emplace(std::string{std::string_view{change["path"]}}, change);
        sum += std::int64_t{change["change"]};
    }
    EXPECT_EQ(sum, std::int64_t{object["totalChange"]});
    const simdjson::dom::element grown = changes.at(folder_ / "a");
    EXPECT_EQ(std::string_view{grown["what"]}, "grew");
    EXPECT_EQ(std::string_view{grown["kind"]}, "file");
    EXPECT_EQ(std::int64_t{grown["after"]} - std::int64_t{grown["before"]}, std::int64_t{grown["change"]});
    EXPECT_GT(std::int64_t{grown["change"]}, 0);
    EXPECT_EQ(std::string_view{changes.at(folder_ / "b")["what"]}, "new");
    const simdjson::dom::element moved = changes.at(folder_ / "renamed");
    EXPECT_EQ(std::string_view{moved["what"]}, "moved");
    EXPECT_EQ(std::string_view{moved["movedFrom"]}, folder_ / "old");
    EXPECT_EQ(std::int64_t{moved["items"]}, 1);
    EXPECT_FALSE(changes.contains(folder_ / "old"));
    EXPECT_THAT(shown({"growth"}), HasSubstr("renamed/  moved from " + folder_ / "old"));
}

TEST_F(GrowthCommand, comparesScansOfWhichOneHoldsTheOther) {
    makeFile("sub/f", 4096);
    scan();
    makeFile("sub/f", 1 << 20);
    makeFile("g", 1 << 20);
    scan(folder_ / "sub");
    EXPECT_THAT(failure({"growth", folder_ / "sub"}),
                HasSubstr("There is no earlier whole scan of " + folder_ / "sub"));
    EXPECT_THAT(shown({"growth", "--since", "1", folder_ / "sub"}),
                AllOf(HasSubstr(folder_ / "sub/"), HasSubstr("/sub/f\n"), Not(HasSubstr("g\n"))));
}

TEST_F(GrowthCommand, saysWhatCanNotBeCompared) {
    EXPECT_THAT(failure({"growth"}), HasSubstr("There is no saved scan yet"));
    makeFile("f", 1);
    scan();
    EXPECT_THAT(failure({"growth"}), HasSubstr("There is no earlier whole scan of " + folder_.path() + " than 1"));
    EXPECT_THAT(failure({"growth", "/nowhere"}), HasSubstr("No saved scan is of /nowhere or a folder above it"));
    scan();
    EXPECT_THAT(failure({"growth", folder_ / "none"}), HasSubstr("none is in neither of scans 1 and 2."));
    EXPECT_THAT(failure({"growth", "--since", "7d"}), HasSubstr("--since 7d means no saved scan"));
    EXPECT_THAT(failure({"growth", "--until", "9"}), HasSubstr("--until 9 means no saved scan"));
    EXPECT_THAT(failure({"growth", "--since", "2", "--until", "1"}, ExitCode::wrongUsage),
                HasSubstr("--since names scan 2, which is newer than scan 1"));
    EXPECT_THAT(failure({"growth", "--since", "soon"}, ExitCode::wrongUsage), HasSubstr("soon"));
    EXPECT_THAT(failure({"growth", "--since", ""}, ExitCode::wrongUsage), HasSubstr("--since needs a value"));
    EXPECT_THAT(failure({"growth", "--store", data_ / "other", "--since", "1"}, ExitCode::wrongUsage),
                HasSubstr("--store names a database with one scan"));
    scan(data_.path());
    EXPECT_THAT(failure({"growth", "--since", "1", "--until", "3"}),
                HasSubstr("Scans 1 and 3 are of different folders."));
}

TEST_F(GrowthCommand, isNotHiddenByTheFirstScanOfAnotherFolder) {
    makeFile("sub/f", 4096);
    scan(folder_ / "sub");
    makeFile("sub/f", 1 << 20);
    scan(folder_ / "sub");
    scan();
    EXPECT_THAT(shown({"growth", folder_ / "sub"}), AllOf(HasSubstr("From scan 1"), HasSubstr("to   scan 2")));
    // What other commands answer from is the newest scan; this one says that it does not.
    const CommandRun other = run({"growth"});
    EXPECT_THAT(other.out, AllOf(HasSubstr("From scan 1"), HasSubstr("to   scan 2")));
    EXPECT_THAT(other.messages, HasSubstr("The newest scan, of " + folder_.path() +
                                          ", has no earlier one to compare it "
                                          "with; this is of " +
                                          folder_ / "sub."));
    makeFile("sub/f", 2 << 20);
    scan();
    EXPECT_THAT(shown({"growth", folder_ / "sub"}), AllOf(HasSubstr("From scan 3"), HasSubstr("to   scan 4")));
}

}  // namespace KestrelCLI
