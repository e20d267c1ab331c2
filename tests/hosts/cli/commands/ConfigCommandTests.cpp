#include "commands/Commands.hpp"

#include "support/HistoryCommandTest.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

using namespace KestrelCore;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

namespace KestrelCLI {

namespace {

class ConfigCommand : public HistoryCommandTest {
protected:
    void configure(const std::string& text) const { (void)home_.makeFile("config.toml", text); }
    [[nodiscard]] CommandRun run(std::vector<std::string> arguments) const {
        std::ostringstream out;
        std::ostringstream messages;
        Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
        session.home = home_.path();
        session.configurationPath = home_ / "config.toml";
        const ExitCode code =
            runCommandLine(std::move(arguments), session,
                           {addConfigCommand, addScanCommand, addListCommand, addHistoryCommand, addGrowthCommand,
                            addSummaryCommand, addSearchCommand, addMediaCommand, addDocumentsCommand,
                            addDuplicatesCommand, addTrashCommand, addRemoveCommand, addExportCommand, addClearCommand,
                            addAppsCommand, addProcessesCommand, addMonitorCommand});
        return {code, out.str(), messages.str()};
    }
    [[nodiscard]] std::string config(std::vector<std::string> arguments = {}) const {
        arguments.insert(arguments.begin(), "config");
        const CommandRun result = run(std::move(arguments));
        EXPECT_EQ(result.code, ExitCode::done) << result.messages;
        return result.out;
    }

    EnvironmentSetting noColor_{"NO_COLOR", nullptr};
};

}  // namespace

TEST_F(ConfigCommand, tellsWhatHoldsAndWhereItComesFrom) {
    EXPECT_THAT(config(), AllOf(HasSubstr("units                si"), HasSubstr("There is no file ")));
    configure("color = \"never\"\nunits = \"iec\"\n");
    EXPECT_THAT(config(), AllOf(ContainsRegex("units +iec +file, line 2\n"), ContainsRegex("exclude +none +default\n"),
                                HasSubstr("The file: " + home_ / "config.toml")));
    EXPECT_THAT(config({"--json"}), HasSubstr(R"({"name": "units", "value": "iec", "source": "file", "line": 2})"));
}

// An option goes before the environment, that before the file, and that before what is built in.
TEST_F(ConfigCommand, putsAnOptionBeforeTheEnvironmentBeforeTheFile) {
    EXPECT_THAT(config(), ContainsRegex("color +auto +default\n"));
    configure("units = \"iec\"\ncolor = \"always\"\n");
    EXPECT_THAT(config(), ContainsRegex("color +always +file, line 2\n"));
    EXPECT_THAT(config({"--units", "si"}), ContainsRegex("units +si +--units\n"));
    EXPECT_THAT(config({"--si"}), ContainsRegex("units +si +--si\n"));
    EXPECT_THAT(config({"--no-config"}), AllOf(ContainsRegex("units +si +default\n"), ContainsRegex("color +auto ")));
    const EnvironmentSetting noColor{"NO_COLOR", "1"};
    EXPECT_THAT(config(), ContainsRegex("color +never +NO_COLOR\n"));
    EXPECT_THAT(config({"--color=always"}), ContainsRegex("color +always +--color\n"));
}

TEST_F(ConfigCommand, answersWhateverTheFileSaysAndNothingElseDoes) {
    configure("units = \"iec\"\nexclud = []\n");
    const CommandRun told = run({"config"});
    EXPECT_EQ(told.code, ExitCode::wrongUsage);
    EXPECT_THAT(told.out, ContainsRegex("units +iec +file, line 1\n"));
    const std::string problem = home_ / "config.toml:2: There is no setting “exclud”. Did you mean “exclude”?";
    EXPECT_THAT(told.messages, HasSubstr(problem));
    EXPECT_THAT(run({"config", "--json"}).out,
                AllOf(HasSubstr(R"("problems": [{"line": 2, )"), HasSubstr(R"("error": {"code": "wrongUsage")")));
    for (const char* command : {"list", "history", "processes"}) {
        const CommandRun failed = run({command});
        EXPECT_EQ(failed.code, ExitCode::wrongUsage) << command;
        EXPECT_THAT(failed.messages, HasSubstr(problem)) << command;
        EXPECT_EQ(failed.out, "") << command;
    }
    EXPECT_EQ(run({"--help"}).code, ExitCode::done);
    EXPECT_EQ(run({"--version"}).code, ExitCode::done);
    EXPECT_EQ(run({"help", "scan"}).code, ExitCode::done);
    EXPECT_EQ(run({"history", "--no-config"}).code, ExitCode::done);
}

TEST_F(ConfigCommand, leavesOutWhatTheFileSaysBesideWhatOptionsSay) {
    (void)folder_.makeFile("node_modules/a", "x");
    (void)folder_.makeFile("disk.iso", "x");
    (void)folder_.makeFile("kept", "x");
    configure("exclude = [\"node_modules\", \"/nowhere/x\", \"unmatched\"]\n");
    const CommandRun scanned = run({"scan", folder_.path(), "--exclude", "*.iso"});
    EXPECT_EQ(scanned.code, ExitCode::done) << scanned.messages;
    EXPECT_THAT(scanned.out,
                AllOf(HasSubstr("kept"), HasSubstr("Left out, sizes unknown: *.iso (1), node_modules (1).\n"),
                      // They are there for every scan, so that nobody needs to be told.
                      Not(HasSubstr("unmatched"))));
    EXPECT_EQ(scanned.messages, "");
    EXPECT_THAT(run({"list"}).out, HasSubstr("without *.iso, node_modules, "));
    EXPECT_THAT(run({"scan", folder_.path(), "--no-config"}).out,
                AllOf(HasSubstr("disk.iso"), HasSubstr("node_modules")));
}

TEST_F(ConfigCommand, scansTheFolderOfTheFileWhereNoneIsNamed) {
    configure("folder = \"" + folder_.path() + "\"\n");
    (void)folder_.makeFile("mine", "x");
    (void)home_.makeFile("other", "x");
    EXPECT_THAT(run({"scan"}).out, AllOf(HasSubstr("mine"), Not(HasSubstr("other"))));
    EXPECT_THAT(run({"scan", home_.path()}).out, HasSubstr("other"));
}

TEST_F(ConfigCommand, keepsWhatTheFileSays) {
    for (int i = 0; i < 3; ++i) ASSERT_EQ(run({"scan", folder_.path()}).code, ExitCode::done);
    EXPECT_THAT(run({"history"}).out, HasSubstr("3 scans in "));
    EXPECT_THAT(run({"history", "--thin"}).out, HasSubstr("Nothing had to be thinned out."));
    configure("[history]\nkeep-all = \"0d\"\nkeep-daily = \"0d\"\nkeep-weekly = \"0d\"\n");
    EXPECT_THAT(run({"history", "--thin"}).out, HasSubstr("Scans 1, 2 are forgotten."));
    // As each scan does by itself.
    ASSERT_EQ(run({"scan", folder_.path()}).code, ExitCode::done);
    EXPECT_THAT(run({"history"}).out, HasSubstr("1 scan in "));
}

// Every command that tells sizes, in the units that were asked for and in no others.
TEST_F(ConfigCommand, tellsSizesInTheUnitsOfTheFileEverywhere) {
    (void)folder_.makeFile("photo.jpg", std::string(300'000, 'x'));
    (void)folder_.makeFile("copy.jpg", std::string(300'000, 'x'));
    (void)folder_.makeFile("paper.pdf", std::string(70'000, 'y'));
    ASSERT_EQ(run({"scan", folder_.path()}).code, ExitCode::done);
    (void)folder_.makeFile("more.pdf", std::string(90'000, 'z'));
    const std::string file = folder_ / "photo.jpg";
    const std::vector<std::vector<std::string>> commands{{"scan", folder_.path()},
                                                         {"list"},
                                                         {"search", "photo"},
                                                         {"media"},
                                                         {"documents"},
                                                         {"history"},
                                                         {"growth", "--since", "1"},
                                                         {"summary"},
                                                         {"duplicates", "--min", "1kB"},
                                                         {"trash", file, "--dry-run"},
                                                         {"remove", file, "--dry-run"},
                                                         {"export", "-o", home_ / "out.csv", "--force"},
                                                         {"processes", "--limit", "5", "--sort", "memory"},
                                                         {"monitor", "--count", "1"}};
    for (const std::vector<std::string>& command : commands) {
        configure("");
        const CommandRun decimal = run(command);
        EXPECT_EQ(decimal.code, ExitCode::done) << command.front() << decimal.messages;
        EXPECT_THAT(decimal.out + decimal.messages, AllOf(ContainsRegex("[0-9] [kMGT]B"), Not(HasSubstr("iB"))))
            << command.front();
        configure("units = \"iec\"\n");
        const CommandRun binary = run(command);
        EXPECT_EQ(binary.code, ExitCode::done) << command.front() << binary.messages;
        EXPECT_THAT(binary.out + binary.messages,
                    AllOf(ContainsRegex("[0-9] [KMGT]iB"), Not(ContainsRegex("[0-9] [kMGT]B"))))
            << command.front();
    }
}

}  // namespace KestrelCLI
