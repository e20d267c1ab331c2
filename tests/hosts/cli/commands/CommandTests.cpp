#include "commands/Command.hpp"
#include "output/TerminalText.hpp"
#include "store/Places.hpp"
#include "support/EnvironmentSetting.hpp"
#include "support/TemporaryFolder.hpp"
#include "terminal/Interruption.hpp"
#include "terminal/Question.hpp"

#include "KestrelCore/Model/KestrelError.hpp"

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
    auto number = std::make_shared<std::string>();
    const CommandOptions command =
        addCommand(app,
                   {.name = "probe",
                    .operands = "[PATH…]",
                    .description = "Looks at what it was given.",
                    .examples = {"kestrel probe a b"},
                    .mostOperands = Command::unlimited},
                   [&session, flag, number](const Operands& operands) {
                       seen = {operands, *flag, session.options, true};
                       if (operands == Operands{"fail"}) throw std::runtime_error{"It \x1b failed."};
                       // A signal that comes when there is nothing left to stop.
                       if (operands == Operands{"late"} || operands == Operands{"fail late"}) Interruption::set(true);
                       if (operands == Operands{"fail late"}) throw std::runtime_error{"No."};
                       if (operands == Operands{"interrupt"}) throw Interrupted{};
                       if (operands == Operands{"path"}) throw PathError{"/x is gone.", "/x"};
                       if (operands == Operands{"refuse"})
                           throw KestrelCore::KestrelError::safetyViolation("Not this.");
                       if (operands == Operands{"ask"}) (void)ask(session, "Sure?", "Use --yes.");
                       return operands == Operands{"partly"} ? ExitCode::incomplete : ExitCode::done;
                   });
    command.flag("--flag", *flag, "A flag");
    command.value("-n,--number", *number, "A number").valueName("N");
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
    const Operands odd{"[a,b]", "second", "probe", "a,b", " ", "x=y", "%00", "\xff", "'quoted'", "-"};
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
        {"probe", "--color=", "never"},     {"probe", "--color", ""},   {"probe", "a", "--store="},
        {"probe", "-n", "", "a"},           {"probe", "--number", ""}};
    for (const auto& arguments : wrong) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.code, ExitCode::wrongUsage) << arguments[1];
        EXPECT_FALSE(seen.ran) << arguments[1];
        EXPECT_NE(outcome.messages.find("needs a value"), std::string::npos) << outcome.messages;
    }
    EXPECT_EQ(run({"probe", "--store", "--store=", " ", "--", "--color="}).code, ExitCode::done);
    EXPECT_EQ(seen.options.store, "--store=");  // a value, however odd
    EXPECT_EQ(seen.operands, (Operands{" ", "--color="}));
}

TEST(CommandLine, takesNoEmptyOperand) {
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"probe", ""}, {"probe", "a", ""}, {"probe", "--", ""}, {"help", ""}}) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.code, ExitCode::wrongUsage);
        EXPECT_FALSE(seen.ran);
        EXPECT_NE(outcome.messages.find("An empty operand names nothing: kestrel " + arguments[0]), std::string::npos)
            << outcome.messages;
    }
}

TEST(CommandLine, tellsWhatIsMissingInItsOwnWords) {
    struct Case {
        std::vector<std::string> arguments;
        const char* told;
    };
    const Case cases[] = {
        {{"probe", "--number"}, "--number needs a value"},
        {{"probe", "--at"}, "--at needs a value, WHEN, as in --at 7d."},
        {{"--color", "probe", "--color"}, "--color"},
        {{"probe", "--color", ""}, "--color needs a value, WHEN, as in --color never."},
        {{"probe", "--at", "1", "--at", "2"}, "--at was given more than once."},
        {{"probe", "--json=x"}, "--json takes no value."},
        {{"probe", "--iec", "--si"}, "do not go together."},
    };
    for (const Case& each : cases) {
        const Outcome outcome = run(each.arguments);
        EXPECT_EQ(outcome.code, ExitCode::wrongUsage) << each.told;
        EXPECT_NE(outcome.messages.find(each.told), std::string::npos) << outcome.messages;
    }
}

TEST(CommandLine, helpAboutAnUnknownCommandIsWrongUsage) {
    for (const char* option : {"--help", "-h"}) {
        const Outcome outcome = run({"porbe", option});
        EXPECT_EQ(outcome.code, ExitCode::wrongUsage);
        EXPECT_NE(outcome.messages.find("There is no command “porbe”. Did you mean “probe”?"), std::string::npos);
        EXPECT_EQ(outcome.out, "");
    }
}

TEST(CommandLine, takesAChoiceByItsNameOnly) {
    for (const char* number : {"0", "1", "2", "9", "-1", "always "}) {
        EXPECT_EQ(run({"probe", "--color", number}).code, ExitCode::wrongUsage) << number;
        EXPECT_FALSE(seen.ran) << number;
    }
    const Outcome wrong = run({"probe", "--color=pink"});
    EXPECT_NE(wrong.messages.find("“pink” is none of always, auto, never"), std::string::npos) << wrong.messages;
    for (const char* name : {"always", "Always", "ALWAYS"}) {
        EXPECT_EQ(run({"probe", "--color", name}).code, ExitCode::done);
        EXPECT_EQ(seen.options.color, ColorChoice::always);
    }
}

TEST(CommandLine, suggestsWhatWasProbablyMeant) {
    struct Case {
        std::vector<std::string> arguments;
        const char* told;
    };
    const Case cases[] = {
        {{"porbe"}, "There is no command “porbe”. Did you mean “probe”?"},
        {{"help", "secnd"}, "There is no command “secnd”. Did you mean “second”?"},
        {{"nosuch"}, "There is no command “nosuch”. There are probe, second, help."},
        {{"rm", "x"}, "kestrel trash moves items to the Trash"},
        {{"/var"}, "kestrel scan /var"},
        {{"probe", "--flg"}, "There is no option --flg. Did you mean “--flag”?"},
        {{"probe", "--stor=x"}, "There is no option --stor=x. Did you mean “--store”?"},
        {{"probe", "--nosuch"}, "There is no option --nosuch. probe takes --help, --flag, --number."},
        {{"probe", "-v"}, "-V is the version"},
        {{"probe", "--color", "alway"}, "“alway” is none of always, auto, never. Did you mean “always”?"},
    };
    for (const Case& each : cases) {
        const Outcome outcome = run(each.arguments);
        EXPECT_EQ(outcome.code, ExitCode::wrongUsage) << each.told;
        EXPECT_NE(outcome.messages.find(each.told), std::string::npos) << outcome.messages;
        EXPECT_FALSE(seen.ran) << each.told;
    }
}

TEST(CommandLine, takesWhatPeopleTypeForHelpVersionAndUnits) {
    const std::string version = run({"--version"}).out;
    EXPECT_EQ(run({"-V"}).out, version);
    EXPECT_EQ(run({"-v"}).out, version);
    EXPECT_EQ(run({"probe", "-V"}).out, version);
    EXPECT_FALSE(seen.ran);
    const std::string help = run({"--help"}).out;
    EXPECT_EQ(run({"-h"}).out, help);
    EXPECT_EQ(run({"help"}).out, help);
    const std::string ofProbe = run({"probe", "--help"}).out;
    EXPECT_EQ(run({"probe", "-h"}).out, ofProbe);
    EXPECT_EQ(run({"help", "probe"}).out, ofProbe);
    EXPECT_EQ(run({"probe", "--iec"}).code, ExitCode::done);
    EXPECT_EQ(seen.options.units, SizeUnits::binary);
    EXPECT_EQ(run({"--si", "probe"}).code, ExitCode::done);
    EXPECT_EQ(seen.options.units, SizeUnits::decimal);
    EXPECT_EQ(run({"probe", "--si", "--iec"}).code, ExitCode::wrongUsage);
}

TEST(CommandLine, wrapsHelpToTheTerminal) {
    for (const std::size_t columns : {60U, 80U, 120U, 200U}) {
        for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--help"}, {"probe", "--help"}}) {
            std::ostringstream out;
            Session session{
                .out = out, .messages = out, .terminal = {.isOutput = true, .columns = columns}, .options = {}};
            (void)runCommandLine(arguments, session, {addProbeCommand, addSecondCommand});
            std::istringstream lines{out.str()};
            for (std::string line; std::getline(lines, line);) {
                if (!line.starts_with("  kestrel ")) {
                    EXPECT_LE(TerminalText::width(line), columns) << line;
                }
                EXPECT_FALSE(line.ends_with(' ')) << line;
            }
        }
    }
}

TEST(CommandLine, tellsAnErrorAsJSONToo) {
    EXPECT_EQ(run({"probe", "fail", "--json"}).out,
              "{\"schema\": 1, \"error\": {\"code\": \"failed\", \"message\": \"It \\u001b failed.\"}}\n");
    EXPECT_EQ(run({"probe", "path", "--json"}).out, "{\"schema\": 1, \"error\": {\"code\": \"failed\", \"message\": "
                                                    "\"/x is gone.\", \"path\": \"/x\"}}\n");
    EXPECT_EQ(run({"probe", "interrupt", "--json"}).out,
              "{\"schema\": 1, \"error\": {\"code\": \"interrupted\", \"message\": \"Interrupted.\"}}\n");
    const std::vector<std::vector<std::string>> wrong{
        {"--json", "nosuch"},   {"probe", "--nosuch", "--json"},  {"second", "--json"},
        {"--json", "--store="}, {"probe", "--json", "--color=x"}, {"probe", "ask", "--json"}};
    for (const auto& arguments : wrong) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.code, ExitCode::wrongUsage);
        EXPECT_TRUE(outcome.out.starts_with("{\"schema\": 1, \"error\": {\"code\": \"wrongUsage\"")) << outcome.out;
        EXPECT_TRUE(outcome.out.ends_with("}}\n")) << outcome.out;
        EXPECT_TRUE(outcome.messages.starts_with("kestrel: ")) << outcome.messages;
    }
    EXPECT_EQ(run({"probe", "fail", "--", "--json"}).out, "");
}

TEST(CommandLine, namesTheRefusalOfTheLibraryAsJSON) {
    const Outcome outcome = run({"probe", "refuse", "--json"});
    EXPECT_EQ(outcome.code, ExitCode::refused);
    EXPECT_EQ(outcome.out, "{\"schema\": 1, \"error\": {\"code\": \"safetyViolation\", \"message\": \"Not this.\"}}\n");
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
    EXPECT_TRUE(run({"--version"}).out.starts_with("kestrel 1.0.0\n"));
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
