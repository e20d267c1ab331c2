#include "commands/Commands.hpp"
#include "terminal/Interruption.hpp"

#include "support/CommandRun.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>
#include <simdjson.h>

#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

namespace fs = std::filesystem;

struct Outcome {
    int code = -1;
    std::string out;
    std::string messages;
};

/// A home directory with a bundle and a desktop entry, and the program run in it.
class AppsCommand : public testing::Test {
protected:
    AppsCommand() {
        write("home/Applications/Probe Notes.app/Contents/Info.plist",
              "{ CFBundleIdentifier = com.example.probe-notes; }");
        write("home/Library/Caches/com.example.probe-notes/data", std::string(50'000, 'x'));
        write("home/Library/Preferences/com.example.probe-notes.plist");
        write("home/.local/share/applications/org.example.ProbeEditor.desktop",
              "[Desktop Entry]\nType=Application\nName=Probe Editor\nExec=probe-editor\n");
        write("home/.config/org.example.ProbeEditor/settings", std::string(10'000, 'x'));
        write("home/.config/probe-editor/settings");
    }

    [[nodiscard]] std::string path(const std::string& name) const {
        return (fs::canonical(folder_.path()) / name).string();
    }
    [[nodiscard]] bool exists(const std::string& name) const { return fs::exists(path(name)); }
    void write(const std::string& name, const std::string& content = "x") const {
        fs::create_directories(fs::path{path(name)}.parent_path());
        std::ofstream{path(name), std::ios::binary} << content;
    }

    /// Runs `kestrel` with these arguments (in shell words), nothing to read, and an environment of its own.
    [[nodiscard]] Outcome run(const std::string& arguments) const {
        const std::string command = "env -i PATH=/usr/bin:/bin CFFIXED_USER_HOME='" + path("home") +
                                    "' XDG_DATA_DIRS='" + path("none") + "' FLATPAK_SYSTEM_DIR='" + path("none") +
                                    "' '" + std::string{KESTREL_BINARY_DIR} + "/kestrel' " + arguments +
                                    " </dev/null 2>'" + path("messages") + "'";
        Outcome outcome;
        FILE* pipe = popen(command.c_str(), "r");
        if (pipe == nullptr) return outcome;
        char buffer[4096];
        for (std::size_t got; (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) outcome.out.append(buffer, got);
        const int status = pclose(pipe);
        outcome.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        std::ifstream messages{path("messages")};
        outcome.messages.assign(std::istreambuf_iterator<char>{messages}, {});
        return outcome;
    }

private:
    TemporaryFolder folder_;
};

bool holds(const std::string& text, const std::string& piece) { return text.find(piece) != std::string::npos; }

}  // namespace

TEST_F(AppsCommand, listsBundlesAndDesktopEntriesInOneTable) {
    const Outcome outcome = run("apps --sort name");
    EXPECT_EQ(outcome.code, 0) << outcome.messages;
    const std::size_t editor = outcome.out.find("Probe Editor");
    const std::size_t notes = outcome.out.find("Probe Notes");
    ASSERT_NE(editor, std::string::npos) << outcome.out;
    ASSERT_NE(notes, std::string::npos) << outcome.out;
    EXPECT_LT(editor, notes);
    const Outcome bySize = run("apps");
    EXPECT_LT(bySize.out.find("Probe Notes"), bySize.out.find("Probe Editor")) << bySize.out;
}

TEST_F(AppsCommand, endsWithoutAListWhenItIsInterrupted) {
    Interruption::set(true);
    const CommandRun result = runCommands({"apps"}, {addAppsCommand});
    Interruption::set(false);
    EXPECT_EQ(result.code, ExitCode::interrupted);
    EXPECT_EQ(result.out, "");
}

TEST_F(AppsCommand, showsWhatOneApplicationLeftBehind) {
    const Outcome outcome = run("apps 'probe editor'");
    EXPECT_EQ(outcome.code, 0) << outcome.messages;
    EXPECT_TRUE(holds(outcome.out, "Exact application identifier match: org.example.ProbeEditor")) << outcome.out;
    EXPECT_TRUE(holds(outcome.out, "Name match: probe-editor")) << outcome.out;
    EXPECT_FALSE(holds(outcome.out, "Probe Notes")) << outcome.out;
}

TEST_F(AppsCommand, saysSoWhenNoApplicationIsMeantOrSeveralAre) {
    EXPECT_EQ(run("apps no-such-application").code, 1);
    EXPECT_EQ(run("apps no-such-application --trash-residues --yes").code, 1);
    EXPECT_EQ(run("apps --trash-residues --yes").code, 2);
    EXPECT_EQ(run("apps Probe --trash-residues --yes").code, 2);
    EXPECT_EQ(run("apps 'Probe Notes' --yes").code, 2);
    EXPECT_EQ(run("apps --sort colour").code, 2);
    EXPECT_EQ(run("apps --sort 5").code, 2);
    EXPECT_EQ(run("apps --sort 1").code, 2);
    EXPECT_TRUE(exists("home/Library/Caches/com.example.probe-notes/data"));
}

TEST_F(AppsCommand, aDryRunTouchesNothing) {
    const Outcome outcome = run("apps 'Probe Notes' --trash-residues --dry-run");
    EXPECT_EQ(outcome.code, 0) << outcome.messages;
    EXPECT_TRUE(holds(outcome.out, "Caches/com.example.probe-notes")) << outcome.out;
    EXPECT_TRUE(holds(outcome.out, "Preferences/com.example.probe-notes.plist")) << outcome.out;
    EXPECT_TRUE(holds(outcome.messages, "The folders themselves count here, too")) << outcome.messages;
    EXPECT_TRUE(exists("home/Library/Caches/com.example.probe-notes/data"));
}

TEST_F(AppsCommand, asksBeforeItTrashesAndNeedsATerminalForThat) {
    const Outcome outcome = run("apps 'Probe Notes' --trash-residues");
    EXPECT_EQ(outcome.code, 2);
    EXPECT_TRUE(holds(outcome.messages, "--yes")) << outcome.messages;
    EXPECT_TRUE(exists("home/Library/Caches/com.example.probe-notes/data"));
}

TEST_F(AppsCommand, trashesTheResiduesThatAreChosenByDefaultAndLeavesTheRest) {
    const Outcome outcome = run("apps 'Probe Editor' --trash-residues --yes --json");
    EXPECT_EQ(outcome.code, 0) << outcome.messages;
    simdjson::dom::parser parser;
    simdjson::dom::element json;
    ASSERT_EQ(parser.parse(outcome.out).get(json), simdjson::SUCCESS) << outcome.out;
    const simdjson::dom::array results = json["results"];
    ASSERT_EQ(results.size(), 1U);
    EXPECT_TRUE(bool{results.at(0)["succeeded"]}) << outcome.out;
    EXPECT_EQ(std::string_view{results.at(0)["path"]}, path("home/.config/org.example.ProbeEditor"));
    EXPECT_TRUE(fs::exists(std::string{std::string_view{results.at(0)["resultingPath"]}} + "/settings"));
    EXPECT_FALSE(exists("home/.config/org.example.ProbeEditor"));
    EXPECT_TRUE(exists("home/.config/probe-editor/settings"));
    const simdjson::dom::array left = json["applications"].at(0)["residues"];
    ASSERT_EQ(left.size(), 1U) << outcome.out;
    EXPECT_EQ(std::string_view{left.at(0)["path"]}, path("home/.config/probe-editor"));
}

TEST_F(AppsCommand, showsWhatIsLeftAfterwards) {
    const Outcome outcome = run("apps 'Probe Notes' --trash-residues --yes");
    EXPECT_EQ(outcome.code, 0) << outcome.out << outcome.messages;
    EXPECT_TRUE(holds(outcome.out, "Nothing was left behind.")) << outcome.out;
    EXPECT_FALSE(exists("home/Library/Caches/com.example.probe-notes"));
    EXPECT_FALSE(exists("home/Library/Preferences/com.example.probe-notes.plist"));
    const Outcome again = run("apps 'Probe Notes' --trash-residues --yes");
    EXPECT_EQ(again.code, 0) << again.messages;
    EXPECT_TRUE(holds(again.out, "left nothing behind")) << again.out;
}

TEST_F(AppsCommand, suggestsNamesThatAreNear) {
    const Outcome outcome = run("apps 'probe editr'");
    EXPECT_EQ(outcome.code, 1);
    EXPECT_TRUE(holds(outcome.messages, "Did you mean \"Probe Editor\"?")) << outcome.messages;
    EXPECT_TRUE(
        holds(run("apps prob-notes --trash-residues --yes").messages, "No application is called \"prob-notes\"."));
    EXPECT_FALSE(holds(run("apps something-else").messages, "Did you mean"));
}

TEST_F(AppsCommand, saysHowTheApplicationItselfIsRemoved) {
    write("home/.local/share/flatpak/app/org.example.Flat/x86_64/stable/1/note");
    fs::create_directory_symlink("x86_64/stable", path("home/.local/share/flatpak/app/org.example.Flat/current"));
    fs::create_directory_symlink("1", path("home/.local/share/flatpak/app/org.example.Flat/x86_64/stable/active"));
    EXPECT_TRUE(holds(run("apps org.example.Flat").out, "\nRemoved by: flatpak uninstall org.example.Flat\n"));
    EXPECT_TRUE(
        holds(run("apps org.example.Flat --json").out, "\"removalCommand\": \"flatpak uninstall org.example.Flat\""));
    EXPECT_TRUE(holds(run("apps 'probe notes'").out,
                      "\nRemoved by: kestrel trash '" + path("home/Applications/Probe Notes.app") + "'\n"));
    EXPECT_TRUE(holds(run("apps 'probe editor'").out, "installed by hand"));
}

TEST_F(AppsCommand, trashesAResidueThatIsChosenByName) {
    const std::string residue = "--residue '" + path("home/.config/probe-editor/") + "'";
    EXPECT_EQ(run("apps 'Probe Editor' " + residue).code, 2);
    EXPECT_EQ(run("apps 'Probe Editor' --trash-residues --yes --residue '" + path("home/.config") + "'").code, 2);
    EXPECT_EQ(run("apps 'Probe Editor' --trash-residues --dry-run --residue=~/.config/probe-editor").code, 0);
    EXPECT_EQ(run("apps 'Probe Editor' --trash-residues --dry-run --residue '~/.config/other'").code, 2);
    EXPECT_EQ(run("apps 'Probe Notes' --trash-residues --yes " + residue).code, 2);
    EXPECT_TRUE(exists("home/.config/probe-editor/settings"));
    const Outcome outcome = run("apps 'Probe Editor' --trash-residues --yes " + residue);
    EXPECT_EQ(outcome.code, 0) << outcome.messages;
    EXPECT_FALSE(exists("home/.config/probe-editor"));
    EXPECT_FALSE(exists("home/.config/org.example.ProbeEditor"));
}

TEST_F(AppsCommand, showsWhatRemovedApplicationsLeftBehind) {
    write("home/.var/app/org.example.Gone/data", std::string(50'000, 'x'));
    write("home/.cache/org.example.Past/data");
    write("home/Library/Caches/com.example.lost/data");
    const Outcome outcome = run("apps --orphans");
    EXPECT_EQ(outcome.code, 0) << outcome.messages;
    for (const char* place :
         {".var/app/org.example.Gone", ".cache/org.example.Past", "Library/Caches/com.example.lost"})
        EXPECT_TRUE(holds(outcome.out, place)) << outcome.out;
    EXPECT_TRUE(holds(outcome.out, "3 items of 3 applications that are not installed")) << outcome.out;
    EXPECT_FALSE(holds(outcome.out, "ProbeEditor")) << outcome.out;
    EXPECT_FALSE(holds(outcome.out, "probe-notes")) << outcome.out;
    const Outcome one = run("apps --orphans GONE --json");
    EXPECT_TRUE(holds(one.out, "\"orphans\": [{\"identifier\": \"org.example.Gone\"")) << one.out;
    EXPECT_TRUE(holds(one.out, "\"selectedByDefault\": false")) << one.out;
    EXPECT_FALSE(holds(one.out, "Past")) << one.out;
    const Outcome named = run("apps gone");
    EXPECT_EQ(named.code, 1);
    EXPECT_TRUE(holds(named.messages, "kestrel apps --orphans shows it")) << named.messages;
    EXPECT_FALSE(holds(run("apps nothing-such").messages, "--orphans"));
    EXPECT_TRUE(holds(run("apps nothing-such --json").out, "{\"schema\": 1, \"error\": {"));
    EXPECT_TRUE(holds(run("apps --orphans nothing-such").out, "Nothing of that name was left behind"));
}

TEST_F(AppsCommand, trashesOnlyThoseOrphansThatAreNamed) {
    write("home/.var/app/org.example.Gone/data");
    write("home/.config/org.example.Gone/settings");
    EXPECT_EQ(run("apps --orphans --trash-residues --yes").code, 2);
    EXPECT_EQ(run("apps --orphans --trash-residues --yes --residue '" + path("home/.config/probe-editor") + "'").code,
              2);
    const Outcome outcome =
        run("apps --orphans --trash-residues --yes --json --residue '" + path("home/.config/org.example.Gone") + "'");
    EXPECT_EQ(outcome.code, 0) << outcome.out << outcome.messages;
    EXPECT_FALSE(exists("home/.config/org.example.Gone"));
    EXPECT_TRUE(exists("home/.var/app/org.example.Gone/data"));
    EXPECT_TRUE(exists("home/.config/probe-editor/settings"));
    EXPECT_TRUE(holds(outcome.out, ".var/app/org.example.Gone")) << outcome.out;
}

}  // namespace KestrelCLI
