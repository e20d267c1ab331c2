#include "commands/Commands.hpp"

#include "support/EnvironmentSetting.hpp"
#include "support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <simdjson.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

struct Outcome {
    ExitCode code = ExitCode::done;
    std::string out;
    std::string messages;
};

/// Two folders that share a file: "a" with a program's modules, "b" with an image.
class ScanChoices : public testing::Test {
protected:
    ScanChoices() : root_{std::filesystem::canonical(folder_.path()).string()} {
        (void)folder_.makeFile("a/node_modules/x/big.js", std::string(300'000, 'x'));
        (void)folder_.makeFile("a/main.c", std::string(100'000, 'x'));
        (void)folder_.makeFile("b/disk.iso", std::string(50'000, 'x'));
        std::filesystem::create_hard_link(path("a/main.c"), path("b/link.c"));
    }

    [[nodiscard]] std::string path(const std::string& name = "") const {
        return name.empty() ? root_ : root_ + "/" + name;
    }
    static Outcome run(std::vector<std::string> arguments) {
        std::ostringstream out;
        std::ostringstream messages;
        Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
        const ExitCode code = runCommandLine(std::move(arguments), session,
                                             {addScanCommand, addHistoryCommand, addGrowthCommand, addListCommand});
        return {code, out.str(), messages.str()};
    }
    static simdjson::dom::element json(simdjson::dom::parser& parser, const Outcome& outcome) {
        return parser.parse(outcome.out).value();
    }

private:
    TemporaryFolder folder_;
    TemporaryFolder data_;
    std::string root_;
    EnvironmentSetting store_{"XDG_DATA_HOME", data_.path().c_str()};
};

}  // namespace

TEST_F(ScanChoices, tellWhatWasLeftOutAndKeepIt) {
    const Outcome scan = run({"scan", "--exclude", "node_modules", "--exclude=[xyz]", "--exclude", "*.iso", path()});
    EXPECT_EQ(scan.code, ExitCode::done) << scan.messages;
    EXPECT_THAT(scan.out, Not(HasSubstr("big.js")));
    EXPECT_THAT(scan.out,
                HasSubstr("Left out, sizes unknown: node_modules (1), *.iso (1).\nFound nothing of: [xyz].\n"));
    EXPECT_THAT(run({"history"}).out, HasSubstr("left out: node_modules and 2 more"));
    EXPECT_THAT(run({"list", path()}).out, HasSubstr(", without node_modules, [xyz] and *.iso"));

    simdjson::dom::parser parser;
    const Outcome text = run({"scan", "--json", "--exclude", "*.iso", path()});
    const auto object = json(parser, text);
    EXPECT_EQ(std::string_view{object["leftOut"].at(0)["what"]}, "*.iso");
    EXPECT_EQ(std::int64_t{object["leftOut"].at(0)["items"]}, 1);
    EXPECT_EQ(std::string_view{object["snapshot"]["leftOut"].at(0)}, "*.iso");
    EXPECT_THAT(run({"scan", "--json", "--no-save", path()}).out, Not(HasSubstr("leftOut")));
}

TEST_F(ScanChoices, areToldWhereScansAreComparedThatDiffer) {
    (void)run({"scan", "--exclude", "node_modules", path()});
    const Outcome again = run({"scan", "--exclude", "node_modules", path()});
    EXPECT_EQ(again.messages, "");
    const Outcome whole = run({"scan", path()});
    constexpr const char* sentence = "not of the same items: the earlier one left out node_modules.";
    EXPECT_THAT(whole.messages, HasSubstr(sentence));
    EXPECT_THAT(whole.out, Not(HasSubstr("Largest changes")));
    EXPECT_THAT(run({"growth", path()}).messages, HasSubstr(sentence));
}

TEST_F(ScanChoices, differInNothingByAPatternOfWhichNothingIsThere) {
    (void)run({"scan", path()});
    std::ofstream{path("more")} << std::string(50'000, 'x');
    const Outcome again = run({"scan", "--exclude", "nowhere", path()});
    EXPECT_EQ(again.messages, "");
    EXPECT_THAT(again.out, HasSubstr("Nothing was left out: no item matches."));
    EXPECT_THAT(again.out, HasSubstr("Largest changes"));
}

TEST_F(ScanChoices, countAFileAloneAsOneItem) {
    EXPECT_THAT(run({"scan", "--no-save", path("a/main.c")}).out, HasSubstr(" on disk in 1 item "));
}

TEST_F(ScanChoices, refuseWhatMeansNothingBeforeAnythingIsScanned) {
    EXPECT_EQ(run({"scan", "--exclude", "!x", path()}).code, ExitCode::wrongUsage);
    EXPECT_EQ(run({"scan", "--exclude-from", path("none"), path()}).code, ExitCode::failed);
    EXPECT_EQ(run({"scan", "-x", "--cross-mounts", path()}).code, ExitCode::wrongUsage);
    EXPECT_THAT(run({"scan", "--no-save", "--exclude", "/elsewhere", path()}).messages,
                HasSubstr("./elsewhere means the one in the scanned folder."));
    EXPECT_THAT(run({"history"}).out, HasSubstr("There is no saved scan yet"));
    EXPECT_EQ(run({"scan", "--no-save", "-x", "--exclude-kernfs", path()}).code, ExitCode::done);
}

TEST_F(ScanChoices, makeOneTotalOfSeveralFolders) {
    simdjson::dom::parser parser;
    const auto total = [&](const Outcome& outcome) {
        return std::int64_t{json(parser, outcome)["snapshot"]["totalAllocatedBytes"]};
    };
    const std::int64_t a = total(run({"scan", "--json", "--no-save", path("a")}));
    const std::int64_t b = total(run({"scan", "--json", "--no-save", path("b")}));
    const Outcome both = run({"scan", "--json", path("b"), path("a"), path("a/node_modules"), path("b")});
    EXPECT_EQ(both.code, ExitCode::done);
    EXPECT_THAT(both.messages,
                HasSubstr(path("a/node_modules") + " lies in " + path("a") + ", and is scanned with it."));
    EXPECT_THAT(both.messages, HasSubstr(path("b") + " is named twice, and scanned once."));
    const auto object = json(parser, both);
    EXPECT_EQ(simdjson::dom::array{object["snapshots"]}.size(), 2U);
    EXPECT_EQ(std::string_view{object["snapshots"].at(1)["root"]}, path("a"));
    EXPECT_GT(std::int64_t{object["countedAgainBytes"]}, 0);
    EXPECT_EQ(std::int64_t{object["totalAllocatedBytes"]}, a + b - std::int64_t{object["countedAgainBytes"]});

    const Outcome text = run({"scan", path("a"), path("b")});
    EXPECT_THAT(text.out, HasSubstr(" on disk in 6 items of 2 folders"));
    EXPECT_THAT(text.out, HasSubstr(path("a") + ": "));
    EXPECT_THAT(run({"history"}).out, HasSubstr("4 scans in "));
}

TEST_F(ScanChoices, sayThatTheShellDidNotMakeAHomeDirectoryOfATilde) {
    EXPECT_THAT(run({"scan", "--no-save", "--exclude", "~/x", path()}).messages, HasSubstr("\"$HOME/x\" means it."));
    std::filesystem::create_directories(path("~/x"));
    EXPECT_EQ(run({"scan", "--no-save", "--exclude", "~/x", path()}).messages, "");
}

}  // namespace KestrelCLI
