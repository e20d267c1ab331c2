#include "commands/Command.hpp"
#include "store/Places.hpp"
#include "support/EnvironmentSetting.hpp"
#include "support/TemporaryFolder.hpp"
#include "terminal/Interruption.hpp"
#include "terminal/Question.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace KestrelCLI {

namespace {

/// What the command of these tests was given.
struct Seen {
    Operands operands;
    bool flag = false;
    GlobalOptions options;
    bool ran = false;
};
Seen seen;

void addProbeCommand(CLI::App& app, Session& session) {
    auto flag = std::make_shared<bool>(false);
    CLI::App& command = addCommand(app,
                                   {.name = "probe",
                                    .operands = "[PATH…]",
                                    .description = "Looks at what it was given.",
                                    .examples = {"kestrel probe a b"},
                                    .mostOperands = Command::unlimited},
                                   [&session, flag](const Operands& operands) {
                                       seen = {operands, *flag, session.options, true};
                                       if (operands == Operands{"fail"}) throw std::runtime_error{"It \x1b failed."};
                                       // A signal that comes when there is nothing left to stop.
                                       if (operands == Operands{"late"} || operands == Operands{"fail late"})
                                           Interruption::set(true);
                                       if (operands == Operands{"fail late"}) throw std::runtime_error{"No."};
                                       if (operands == Operands{"interrupt"}) throw Interrupted{};
                                       if (operands == Operands{"ask"}) (void)ask(session, "Sure?", "Use --yes.");
                                       return operands == Operands{"partly"} ? ExitCode::incomplete : ExitCode::done;
                                   });
    command.add_flag("--flag", *flag, "A flag");
}

void addSecondCommand(CLI::App& app, Session&) {
    addCommand(app,
               {.name = "second",
                .operands = "NAME",
                .description = "Takes one name.",
                .examples = {},
                .fewestOperands = 1,
                .mostOperands = 1},
               [](const Operands& operands) {
                   seen = {.operands = operands, .flag = false, .options = {}, .ran = true};
                   return ExitCode::done;
               });
}

struct Outcome {
    ExitCode code;
    std::string out;
    std::string messages;
};

Outcome run(std::vector<std::string> arguments) {
    seen = {};
    std::ostringstream out;
    std::ostringstream messages;
    Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
    const ExitCode code = runCommandLine(std::move(arguments), session, {addProbeCommand, addSecondCommand});
    return {code, out.str(), messages.str()};
}

}  // namespace

TEST(CommandLine, beginsWithTheScanWhenNoCommandIsGiven) {
    const Outcome outcome = run({});
    EXPECT_EQ(outcome.code, ExitCode::done);
    EXPECT_TRUE(outcome.out.starts_with("kestrel scan")) << outcome.out;
}

TEST(CommandLine, takesGlobalOptionsBeforeAndAfterTheCommand) {
    EXPECT_EQ(run({"--json", "--store", "x.sqlite", "probe", "a"}).code, ExitCode::done);
    EXPECT_TRUE(seen.options.json);
    EXPECT_EQ(seen.options.store, "x.sqlite");
    EXPECT_EQ(run({"probe", "a", "--json", "--color=never", "--flag", "--bytes"}).code, ExitCode::done);
    EXPECT_TRUE(seen.options.json);
    EXPECT_TRUE(seen.options.exactBytes);
    EXPECT_EQ(seen.options.color, ColorChoice::never);
    EXPECT_TRUE(seen.flag);
    EXPECT_EQ(seen.operands, Operands{"a"});
}

TEST(CommandLine, takesOperandsExactlyAsGiven) {
    const Operands odd{"[a,b]", "second", "probe", "a,b", "", "x=y", "%00", "\xff", "'quoted'", "-"};
    std::vector<std::string> arguments{"probe"};
    arguments.insert(arguments.end(), odd.begin(), odd.end());
    EXPECT_EQ(run(arguments).code, ExitCode::done);
    EXPECT_EQ(seen.operands, odd);
}

TEST(CommandLine, takesEverythingAfterTwoDashesAsAnOperand) {
    EXPECT_EQ(run({"probe", "first", "--", "-rf", "--json", "--", "--flag"}).code, ExitCode::done);
    EXPECT_EQ(seen.operands, (Operands{"first", "-rf", "--json", "--", "--flag"}));
    EXPECT_FALSE(seen.options.json);
    EXPECT_FALSE(seen.flag);
}

TEST(CommandLine, takesTwoPlusSignsAsAnOperandInTheirPlace) {
    // CLI11 would end the command there.
    const Operands odd{"++", "a", "++", "+++", "++", "++++", "+", "b", "++"};
    std::vector<std::string> arguments{"probe", "--flag"};
    arguments.insert(arguments.end(), odd.begin(), odd.end());
    EXPECT_EQ(run(arguments).code, ExitCode::done);
    EXPECT_EQ(seen.operands, odd);
    EXPECT_TRUE(seen.flag);
    EXPECT_EQ(run({"second", "++"}).code, ExitCode::done);
    EXPECT_EQ(seen.operands, Operands{"++"});
    EXPECT_EQ(run({"probe", "a", "--", "++", "b"}).code, ExitCode::done);
    EXPECT_EQ(seen.operands, (Operands{"a", "++", "b"}));
}

TEST(CommandLine, takesTwoPlusSignsAsTheValueOfAnOption) {
    EXPECT_EQ(run({"probe", "--store", "++", "++"}).code, ExitCode::done);
    EXPECT_EQ(seen.options.store, "++");
    EXPECT_EQ(seen.operands, Operands{"++"});
    EXPECT_EQ(run({"--store", "++", "probe"}).code, ExitCode::done);
    EXPECT_EQ(seen.options.store, "++");
    const Outcome wrong = run({"probe", "--color", "++"});
    EXPECT_EQ(wrong.code, ExitCode::wrongUsage);
    EXPECT_NE(wrong.messages.find("“++”"), std::string::npos) << wrong.messages;
    EXPECT_NE(run({"++"}).messages.find("“++”"), std::string::npos);
}

TEST(CommandLine, takesAHundredThousandOperands) {
    std::vector<std::string> arguments{"probe"};
    for (int index = 0; index < 100'000; ++index) arguments.push_back("f" + std::to_string(index));
    EXPECT_EQ(run(arguments).code, ExitCode::done);
    ASSERT_EQ(seen.operands.size(), 100'000U);
    EXPECT_EQ(seen.operands.back(), "f99999");
}

TEST(CommandLine, refusesWhatItDoesNotKnowWithTwo) {
    const std::vector<std::vector<std::string>> wrong{{"nosuch"},           {"probe", "--nosuch"},     {"probe", "-rf"},
                                                      {"--nosuch"},         {"probe", "--color=pink"}, {"second"},
                                                      {"second", "a", "b"}, {"probe", "--store"},      {"scan\x1b[2J"}};
    for (const auto& arguments : wrong) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.code, ExitCode::wrongUsage) << arguments.back();
        EXPECT_FALSE(seen.ran) << arguments.back();
        EXPECT_TRUE(outcome.out.empty()) << outcome.out;
        EXPECT_TRUE(outcome.messages.starts_with("kestrel: ")) << outcome.messages;
        EXPECT_EQ(outcome.messages.find('\x1b'), std::string::npos) << arguments.back();
    }
}

TEST(CommandLine, takesNoEmptyValue) {
    // CLI11 would take the next argument for the value.
    const std::vector<std::vector<std::string>> wrong{
        {"probe", "--store=", "data/tree"}, {"--store=", "probe", "a"}, {"probe", "--store", "", "a"},
        {"probe", "--color=", "never"},     {"probe", "--color", ""},   {"probe", "a", "--store="}};
    for (const auto& arguments : wrong) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.code, ExitCode::wrongUsage) << arguments[1];
        EXPECT_FALSE(seen.ran) << arguments[1];
        EXPECT_NE(outcome.messages.find("needs a value"), std::string::npos) << outcome.messages;
    }
    EXPECT_EQ(run({"probe", "--store", "--store=", "", "--", "--color="}).code, ExitCode::done);
    EXPECT_EQ(seen.options.store, "--store=");  // a value, however odd
    EXPECT_EQ(seen.operands, (Operands{"", "--color="}));
}

TEST(CommandLine, takesAChoiceByItsNameOnly) {
    for (const char* number : {"0", "1", "2", "9", "-1", "Always", "always "}) {
        EXPECT_EQ(run({"probe", "--color", number}).code, ExitCode::wrongUsage) << number;
        EXPECT_FALSE(seen.ran) << number;
    }
    const Outcome wrong = run({"probe", "--color=pink"});
    EXPECT_NE(wrong.messages.find("“pink” is none of always, auto, never"), std::string::npos) << wrong.messages;
    EXPECT_EQ(run({"probe", "--color", "always"}).code, ExitCode::done);
    EXPECT_EQ(seen.options.color, ColorChoice::always);
}

TEST(CommandLine, showsHelpWithExamplesForEachCommand) {
    const Outcome all = run({"--help"});
    EXPECT_EQ(all.code, ExitCode::done);
    EXPECT_NE(all.out.find("probe"), std::string::npos);
    const Outcome one = run({"probe", "--help"});
    EXPECT_EQ(one.code, ExitCode::done);
    EXPECT_NE(one.out.find("Usage: kestrel probe [OPTIONS] [PATH…]"), std::string::npos) << one.out;
    EXPECT_NE(one.out.find("Examples:\n  kestrel probe a b"), std::string::npos) << one.out;
    EXPECT_FALSE(seen.ran);
    EXPECT_EQ(run({"--version"}).out, "kestrel 1.0.0\n");
}

TEST(CommandLine, turnsWhatACommandThrowsIntoOneSafeLineAndACode) {
    const Outcome failed = run({"probe", "fail"});
    EXPECT_EQ(failed.code, ExitCode::failed);
    EXPECT_EQ(failed.messages, "kestrel: It \\x1b failed.\n");
    EXPECT_EQ(run({"probe", "interrupt"}).code, ExitCode::interrupted);
    EXPECT_EQ(run({"probe", "partly"}).code, ExitCode::incomplete);
}

TEST(CommandLine, tellsThatItWasInterruptedAlsoWhenTheCommandCouldEnd) {
    for (const char* operand : {"late", "fail late"}) {
        EXPECT_EQ(run({"probe", operand}).code, ExitCode::interrupted) << operand;
        Interruption::set(false);
    }
}

TEST(CommandLine, asksNobodyWithoutATerminal) {
    const Outcome outcome = run({"probe", "ask"});
    EXPECT_EQ(outcome.code, ExitCode::wrongUsage);
    EXPECT_NE(outcome.messages.find("Use --yes."), std::string::npos) << outcome.messages;
}

TEST(CommandLine, failsWhenTheResultsCantBeWritten) {
    std::ostream closed{nullptr};  // every write fails
    std::ostringstream messages;
    Session session{.out = closed, .messages = messages, .terminal = {}, .options = {}};
    EXPECT_EQ(runCommandLine({"probe", "a"}, session, {addProbeCommand}), ExitCode::failed);
    EXPECT_EQ(runCommandLine({"probe", "partly"}, session, {addProbeCommand}), ExitCode::failed);
}

TEST(ExitCode, isTheFirstThatApplies) {
    const ExitCode ranked[] = {ExitCode::interrupted, ExitCode::wrongUsage, ExitCode::refused,
                               ExitCode::failed,      ExitCode::incomplete, ExitCode::done};
    for (std::size_t first = 0; first < std::size(ranked); ++first) {
        for (std::size_t second = first; second < std::size(ranked); ++second) {
            EXPECT_EQ(combined(ranked[first], ranked[second]), ranked[first]);
            EXPECT_EQ(combined(ranked[second], ranked[first]), ranked[first]);
        }
    }
}

TEST(DataFolder, ofAHomeDirectoryThatIsNotUTF8IsNoPlace) {
    const KestrelCore::EnvironmentSetting home{"CFFIXED_USER_HOME", "/nowhere/b\xff"};
    const KestrelCore::TemporaryFolder folder;
    const std::string data = folder.makeFolder("data");
    for (const char* dataHome : {static_cast<const char*>(nullptr), "/nowhere/d\xff"}) {
        const KestrelCore::EnvironmentSetting setting{"XDG_DATA_HOME", dataHome};
        EXPECT_EQ(usualDataFolder(), std::nullopt);
        try {
            (void)dataFolder();
            ADD_FAILURE();
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "The name of the data folder is not UTF-8. Set XDG_DATA_HOME to another one, or "
                                       "name a store with --store.");
        }
    }
    const KestrelCore::EnvironmentSetting setting{"XDG_DATA_HOME", data.c_str()};
    EXPECT_EQ(historyPath(), data + "/kestrel/history.sqlite");
}

TEST(DataFolder, followsThatOfTheAccountWhenItIsAbsolute) {
    EXPECT_EQ(defaultDataFolder("/home/a", "/data"), "/data/kestrel");
    for (const auto& unusable :
         {std::optional<std::string>{}, std::optional<std::string>{""}, std::optional<std::string>{"relative/data"}}) {
        EXPECT_EQ(defaultDataFolder("/home/a", unusable), "/home/a/.local/share/kestrel");
    }
}

TEST(DataFolder, takesOverTheReceiptsOfEarlierVersionsUnlessItHasItsOwn) {
    const KestrelCore::TemporaryFolder folder;
    const KestrelCore::EnvironmentSetting setting{"XDG_DATA_HOME", folder.path().c_str()};
    std::ostringstream stream;
    const Session session{.out = stream, .messages = stream, .terminal = {}, .options = {}};
    const std::string receipts = folder / "kestrel/receipts";
    EXPECT_EQ(receiptsPath(session), receipts);
    const std::string earlier = folder.makeFile("kestrel/snapshots.sqlite-receipts/a.receipt", "a");
    EXPECT_EQ(receiptsPath(session), receipts);
    EXPECT_TRUE(std::filesystem::exists(receipts + "/a.receipt"));
    (void)folder.makeFile("kestrel/snapshots.sqlite-receipts/b.receipt", "b");
    EXPECT_EQ(receiptsPath(session), receipts);
    EXPECT_TRUE(std::filesystem::exists(folder / "kestrel/snapshots.sqlite-receipts/b.receipt"));
}

}  // namespace KestrelCLI
