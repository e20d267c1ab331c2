#include "commands/Commands.hpp"
#include "support/GitRepository.hpp"
#include "support/HistoryCommandTest.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace KestrelCLI {

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// A home directory with one rule of its own for a cache, and one for folders with a witness.
class SuggestCommandTest : public HistoryCommandTest {
protected:
    SuggestCommandTest() {
        addRule("my-cache", "places = [\"~/.cache/mine\"]\n");
        addRule("my-output", "folders = [\"output\"]\nbeside = [\"recipe\"]\n");
        home_.makeFile(".cache/mine/a/1", std::string(100'000, 'x'));
        home_.makeFile("project/output/2", std::string(50'000, 'x'));
        home_.makeFile("project/recipe");
    }

    void addRule(const std::string& id, const std::string& match) {
        configuration_.makeFile("kestrel/reclaim/" + id + ".toml",
                                "id = \"" + id + "\"\ntitle = \"Title of " + id +
                                    "\"\nsystems = [\"linux\", \"macos\"]\ncertainty = \"regenerates\"\n"
                                    "why = \"It is large.\"\ncomes-back = \"It is made again.\"\n"
                                    "owners-command = \"mine clean\"\n[[match]]\n" +
                                    match);
    }
    void scan() { ASSERT_EQ(run({"scan", home_.path()}).code, ExitCode::done); }
    static CommandRun run(const std::vector<std::string>& arguments) {
        return runCommands(arguments, {addScanCommand, addSuggestCommand});
    }
    [[nodiscard]] bool exists(const std::string& name) const { return std::filesystem::exists(home_ / name); }

    KestrelCore::TemporaryFolder configuration_;
    KestrelCore::EnvironmentSetting configurationHome_{"XDG_CONFIG_HOME", configuration_.path().c_str()};
    KestrelCore::EnvironmentSetting cacheHome_{"XDG_CACHE_HOME", nullptr};
    KestrelCore::EnvironmentSetting plainHome_{"HOME", home_.path().c_str()};
};

}  // namespace

TEST_F(SuggestCommandTest, saysHowMuchCanGoAndWhyAndHowItComesBack) {
    scan();
    const CommandRun overview = run({"suggest"});
    EXPECT_EQ(overview.code, ExitCode::done) << overview.messages;
    EXPECT_THAT(overview.out, HasSubstr("can go, and comes back when it is needed"));
    EXPECT_THAT(overview.out, HasSubstr("kestrel suggest regenerates --trash"));
    EXPECT_THAT(overview.out, HasSubstr("my-cache  Title of my-cache\n  It is large. It is made again.\n"));
    EXPECT_THAT(overview.out, HasSubstr("Its own way: mine clean"));
    const CommandRun json = run({"suggest", "my-cache", "--json"});
    EXPECT_THAT(json.out, HasSubstr("\"rule\": \"my-cache\", \"title\": \"Title of my-cache\", \"certainty\": "
                                    "\"regenerates\", \"why\": \"It is large.\""));
    EXPECT_THAT(json.out, HasSubstr("\"items\": 1"));
    EXPECT_THAT(json.out, HasSubstr("\"paths\": [\"" + home_.path() + "/.cache/mine/a\"]"));
    EXPECT_THAT(json.out, Not(HasSubstr("my-output")));
}

TEST_F(SuggestCommandTest, removesWhatTheNamedRuleFoundAndNothingElse) {
    scan();
    const CommandRun dry = run({"suggest", "my-cache", "--remove", "--dry-run"});
    EXPECT_EQ(dry.code, ExitCode::done) << dry.messages;
    EXPECT_TRUE(exists(".cache/mine/a/1"));
    const CommandRun removed = run({"suggest", "my-cache", "--remove", "--confirm", "DELETE"});
    EXPECT_EQ(removed.code, ExitCode::done) << removed.messages << removed.out;
    EXPECT_FALSE(exists(".cache/mine/a"));
    EXPECT_TRUE(exists(".cache/mine"));
    EXPECT_TRUE(exists("project/output/2"));
    // It is out of the saved scan as well.
    EXPECT_THAT(run({"suggest"}).out, Not(HasSubstr("my-cache")));
}

TEST_F(SuggestCommandTest, whatGitTracksIsNeverOffered) {
    KestrelCore::testing::git(home_ / "project", "init .");
    scan();
    EXPECT_THAT(run({"suggest"}).out, HasSubstr("my-output"));
    KestrelCore::testing::git(home_ / "project", "add output/2");
    EXPECT_THAT(run({"suggest"}).out, Not(HasSubstr("my-output")));
    EXPECT_THAT(run({"suggest", "my-output", "--remove", "--confirm", "DELETE"}).out, HasSubstr("Nothing was found."));
    EXPECT_TRUE(exists("project/output/2"));
}

TEST_F(SuggestCommandTest, aWitnessThatIsALinkProvesNothing) {
    std::filesystem::remove(home_ / "project/recipe");
    std::filesystem::create_symlink("/etc/hostname", home_ / "project/recipe");
    scan();
    const CommandRun refused = run({"suggest", "my-output", "--remove", "--confirm", "DELETE"});
    EXPECT_EQ(refused.code, ExitCode::refused) << refused.messages;
    EXPECT_THAT(refused.out, HasSubstr("project/recipe is a link."));
    EXPECT_TRUE(exists("project/output/2"));
}

TEST_F(SuggestCommandTest, tellsWhichLineOfARuleIsWrong) {
    addRule("broken", "places = [\"~/*\"]\n");
    scan();
    const CommandRun overview = run({"suggest"});
    EXPECT_EQ(overview.code, ExitCode::done);
    EXPECT_THAT(overview.messages, HasSubstr("broken.toml:9: “~/*” would match everything."));
    EXPECT_THAT(overview.out, HasSubstr("my-cache"));
}

TEST_F(SuggestCommandTest, asksForRulesByNameBeforeAnythingGoes) {
    scan();
    struct Case {
        std::vector<std::string> arguments;
        std::string said;
    };
    const std::vector<Case> cases{
        {{"suggest", "--trash"}, "Name the rules"},
        {{"suggest", "yours", "--remove", "--confirm", "DELETE"}, "rule by rule"},
        {{"suggest", "my-cahce"}, "Did you mean “my-cache”?"},
        {{"suggest", "docker-data", "--trash"}, "owner's own command only: docker system prune"},
        {{"suggest", "my-cache", "--trash", "--at", "1"}, "--at is for looking"},
        {{"suggest", "my-cache", "--yes"}, "go with --trash"},
        {{"suggest", "my-cache", "--remove", "--yes"}, "--confirm DELETE"},
        {{"suggest", "my-cache", "--remove", "--confirm", "yes"}, "the word is DELETE"},
    };
    for (const Case& each : cases) {
        const CommandRun result = run(each.arguments);
        EXPECT_EQ(result.code, ExitCode::wrongUsage) << each.said;
        EXPECT_THAT(result.messages, HasSubstr(each.said));
    }
    EXPECT_TRUE(exists(".cache/mine/a/1"));
}

TEST_F(SuggestCommandTest, listsRulesWithWhatTheyLookFor) {
    const CommandRun list = run({"suggest", "--list"});
    EXPECT_EQ(list.code, ExitCode::done) << list.messages;
    EXPECT_THAT(list.out, HasSubstr("my-cache  Title of my-cache\n  everything in ~/.cache/mine\n"));
    EXPECT_THAT(list.out, HasSubstr("  folders output beside recipe\n"));
}

TEST_F(SuggestCommandTest, tellsWhichRulesAWordMayHaveMeant) {
    EXPECT_THAT(run({"suggest", "my-cahce"}).messages, HasSubstr("Did you mean “my-cache”"));
    EXPECT_THAT(run({"suggest", "vm"}).messages, HasSubstr("“virtualbox-machines”"));
    EXPECT_THAT(run({"suggest", "docker-stuff"}).messages, HasSubstr("kestrel suggest --list shows all"));
}

TEST_F(SuggestCommandTest, tellsThatARuleIsAFolder) {
    scan();
    std::filesystem::create_directory(configuration_ / "kestrel/reclaim/odd.toml");
    EXPECT_THAT(run({"suggest"}).messages,
                HasSubstr(configuration_ / "kestrel/reclaim/odd.toml: It is a folder, and is to be a file.\n"));
}

}  // namespace KestrelCLI
