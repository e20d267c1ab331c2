#include "commands/Commands.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"
#include "support/HistoryCommandTest.hpp"
#include "support/SampleSnapshots.hpp"
#include "support/StandardInput.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace KestrelCore;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace KestrelCLI {

namespace {

namespace fs = std::filesystem;

class HistoryCommands : public HistoryCommandTest {
protected:
    static CommandRun run(std::vector<std::string> arguments) {
        return runCommands(std::move(arguments),
                           {addScanCommand, addListCommand, addSearchCommand, addMediaCommand, addDocumentsCommand,
                            addHistoryCommand, addTrashCommand, addRemoveCommand, addRestoreCommand, addClearCommand});
    }
    /// What a run that ends with that code says.
    static std::string failure(std::vector<std::string> arguments, ExitCode code = ExitCode::failed) {
        return messagesOf(run(std::move(arguments)), code);
    }
    static void scan(const std::string& path) {
        const CommandRun result = run({"scan", path});
        EXPECT_EQ(result.code, ExitCode::done) << result.messages;
    }
    [[nodiscard]] std::vector<Generation> generations() const { return history().generations(); }
    [[nodiscard]] SnapshotHistory history() const { return SnapshotHistory{URL::fromPath(place())}; }
    [[nodiscard]] std::string place() const { return data_ / "kestrel/history.sqlite"; }
    [[nodiscard]] std::string earlierStore() const { return data_ / "kestrel/snapshots.sqlite"; }
    void saveAsEarlierVersionsDid(const ScanSnapshot& snapshot) const {
        SQLiteSnapshotStore{URL::fromPath(earlierStore())}.replace(snapshot);
    }
};

}  // namespace

TEST_F(HistoryCommands, answerFromTheNewestScanThatCoversWhatIsAsked) {
    (void)folder_.makeFile("sub/old", "x");
    scan(folder_.path());
    fs::remove(folder_ / "sub/old");
    (void)folder_.makeFile("sub/new", "x");
    scan(folder_ / "sub");
    EXPECT_THAT(run({"list", folder_ / "sub"}).out, HasSubstr("new"));
    EXPECT_THAT(run({"list", folder_ / "sub"}).out, Not(HasSubstr("old")));
    // Of the folder above only the first scan knows.
    EXPECT_THAT(run({"list", folder_.path()}).out, HasSubstr(folder_.path() + ", scanned"));
    EXPECT_THAT(run({"list"}).out, StartsWith(folder_ / "sub, scanned"));
    EXPECT_THAT(run({"search", "new"}).out, HasSubstr(folder_ / "sub/new"));
    EXPECT_THAT(failure({"list", folder_ / "sub/old"}),
                HasSubstr(folder_ / "sub/old is not in the scan of " + (folder_ / "sub from ")));
    EXPECT_THAT(failure({"list", "/nowhere"}), HasSubstr("No saved scan is of /nowhere or a folder above it"));
}

TEST_F(HistoryCommands, lookAtAnOlderScanWithAt) {
    (void)folder_.makeFile("before.txt", "x");
    scan(folder_.path());
    fs::remove(folder_ / "before.txt");
    (void)folder_.makeFile("after.txt", "x");
    scan(folder_.path());
    EXPECT_THAT(run({"list", "--at", "1", folder_.path()}).out, HasSubstr("before.txt"));
    EXPECT_THAT(run({"list", "--at", "1"}).out, HasSubstr("before.txt"));
    EXPECT_THAT(run({"--at", "1", "search", "before"}).out, HasSubstr("before.txt"));
    EXPECT_THAT(run({"documents", "--at", "#1"}).out, HasSubstr("before.txt"));
    EXPECT_THAT(run({"documents", "--at", "0min"}).out, HasSubstr("after.txt"));
    EXPECT_THAT(failure({"list", "--at", "3"}), HasSubstr("--at 3 means no saved scan"));
    EXPECT_THAT(failure({"list", "--at", "7d"}), HasSubstr("The oldest that could is 1, from "));
    EXPECT_THAT(failure({"list", "--at", "soon"}, ExitCode::wrongUsage), HasSubstr("“soon” names no scan"));
}

TEST_F(HistoryCommands, knowAWrongAtBeforeTheyLookForAScan) {
    for (const char* command : {"list", "media", "documents"})
        EXPECT_THAT(failure({command, "--at", "soon"}, ExitCode::wrongUsage), HasSubstr("“soon” names no scan"));
}

TEST_F(HistoryCommands, chooseWithAtOnlyWhereAScanIsRead) {
    scan(folder_.path());
    const std::string file = folder_.makeFile("a");
    for (const char* command : {"trash", "remove", "scan"}) {
        EXPECT_THAT(failure({command, "--at", "1", file}, ExitCode::wrongUsage),
                    HasSubstr(fmt::format("which kestrel {} does not do", command)));
    }
    EXPECT_TRUE(fs::exists(file));
    EXPECT_THAT(failure({"list", "--at", "1", "--store", folder_ / "s"}, ExitCode::wrongUsage),
                HasSubstr("has one only"));
    EXPECT_THAT(failure({"history", "--store", folder_ / "s"}, ExitCode::wrongUsage),
                HasSubstr("--store names a database with one scan"));
}

TEST_F(HistoryCommands, takeOverTheScanOfAnEarlierVersionOnce) {
    saveAsEarlierVersionsDid(sampleSnapshot(1'000, 1));
    const auto before = fs::file_size(earlierStore());
    const CommandRun first = run({"list"});
    EXPECT_EQ(first.code, ExitCode::done) << first.messages;
    EXPECT_THAT(first.messages, HasSubstr(" is in the history now."));
    ASSERT_EQ(generations().size(), 1U);
    EXPECT_EQ(generations().front().origin, GenerationOrigin::import);
    EXPECT_EQ(history().load(1).id(), sampleSnapshot(1'000, 1).id());
    EXPECT_LT(fs::file_size(earlierStore()), before / 2);
    EXPECT_EQ(SQLiteSnapshotStore{URL::fromPath(earlierStore())}.loadLatest(), std::nullopt);
    EXPECT_EQ(run({"list"}).messages, "");
    // What is saved there from now on is no business of the history's.
    saveAsEarlierVersionsDid(sampleSnapshot(10, 2));
    EXPECT_EQ(run({"list"}).messages, "");
    EXPECT_EQ(generations().size(), 1U);
}

TEST_F(HistoryCommands, compareAScanWithTheOneOfAnEarlierVersion) {
    (void)folder_.makeFile("a", std::string(100'000, 'x'));
    ASSERT_EQ(run({"scan", folder_.path(), "--store", folder_ / "s"}).code, ExitCode::done);
    saveAsEarlierVersionsDid(SQLiteSnapshotStore{URL::fromPath(folder_ / "s")}.loadLatest().value());
    fs::remove(folder_ / "a");
    EXPECT_THAT(run({"scan", folder_.path()}).out, HasSubstr("than a moment ago"));
    EXPECT_EQ(generations().size(), 2U);
}

TEST_F(HistoryCommands, leaveAnEarlierScanThatCannotBeRead) {
    fs::create_directory(data_ / "kestrel");
    std::ofstream{earlierStore()} << std::string(3'000, 'x');
    const CommandRun result = run({"list"});
    EXPECT_EQ(result.code, ExitCode::failed);
    EXPECT_THAT(result.messages, HasSubstr("could not be taken over into the history: file is not a database"));
    EXPECT_THAT(result.messages, HasSubstr("There is no saved scan yet"));
    EXPECT_EQ(fs::file_size(earlierStore()), 3'000U);
    // A scan is saved all the same, and then nothing is missing any more.
    scan(folder_.path());
    EXPECT_EQ(run({"list"}).messages, "");
}

TEST_F(HistoryCommands, bringASaveThatHasBegunToItsEndAndSaySo) {
    /// Asks to stop when the result is shown.
    class InterruptedOutput final : public std::stringbuf {
        int sync() override {
            Interruption::set(true);
            return 0;
        }
    };
    InterruptedOutput output;
    std::ostream out{&output};
    std::ostringstream messages;
    Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
    EXPECT_EQ(runCommandLine({"scan", folder_.path()}, session, {addScanCommand}), ExitCode::interrupted);
    Interruption::set(false);
    EXPECT_THAT(messages.str(), HasSubstr("The scan was finished, and is saved as number 1."));
    EXPECT_EQ(generations().size(), 1U);
}

TEST_F(HistoryCommands, showScansByRootNewestFirst) {
    EXPECT_THAT(run({"history"}).out, HasSubstr("There is no saved scan yet"));
    EXPECT_FALSE(fs::exists(place()));
    (void)folder_.makeFile("sub/a", "x");
    scan(folder_.path());
    scan(folder_ / "sub");
    scan(folder_.path());
    const std::string out = run({"history"}).out;
    EXPECT_THAT(out, StartsWith(folder_.path() + "\n"));
    EXPECT_LT(out.find(folder_.path() + "\n"), out.find(folder_ / "sub\n"));
    EXPECT_THAT(out, HasSubstr("\n3 scans in "));
    const std::string json = run({"history", "--json"}).out;
    EXPECT_THAT(json, StartsWith("{\"schema\": 1, \"generations\": [{\"number\": 3, \"id\": \""));
    EXPECT_THAT(json, HasSubstr("\"isPinned\": false, \"origin\": \"scan\"}, {\"number\": 2, "));
}

TEST_F(HistoryCommands, showNoRowThatIsWiderThanTheTerminal) {
    scan(folder_.path());
    ASSERT_EQ(run({"history", "--pin", "1"}).code, ExitCode::done);
    for (std::size_t columns = 40; columns < 120; ++columns) {
        Terminal terminal;
        terminal.isOutput = true;
        terminal.columns = columns;
        const CommandRun shown = runCommands({"history", "--color=never"}, {addHistoryCommand}, terminal);
        std::istringstream lines{shown.out};
        std::string line;
        std::getline(lines, line);  // the folder
        while (std::getline(lines, line)) EXPECT_LE(TerminalText::width(line), columns) << line;
        if (columns < 60) continue;
        EXPECT_THAT(shown.out, HasSubstr("Kept in")) << columns;
        EXPECT_THAT(shown.out, HasSubstr("Scanned")) << columns;
    }
}

TEST_F(HistoryCommands, forgetPinAndUnpinWhatIsNamed) {
    for (int i = 0; i < 4; ++i) scan(folder_.path());
    EXPECT_EQ(run({"history", "--forget", "1", "--forget", "3", "--pin", "2"}).out, "Scans 1, 3 are forgotten.\n");
    ASSERT_EQ(generations().size(), 2U);
    EXPECT_EQ(generations()[0].number, 4);
    EXPECT_EQ(generations()[1].number, 2);
    EXPECT_TRUE(generations()[1].isPinned);
    EXPECT_THAT(run({"history"}).out, HasSubstr("pinned"));
    EXPECT_THAT(run({"history", "--unpin", "2", "--json"}).out, Not(HasSubstr("\"isPinned\": true")));
    EXPECT_THAT(run({"list", "--at", "2"}).out, StartsWith(folder_.path()));
    EXPECT_THAT(run({"history", "--forget", "2", "--json"}).out, HasSubstr("\"forgotten\": [2]"));
}

TEST_F(HistoryCommands, doNothingForANumberThatIsNone) {
    scan(folder_.path());
    EXPECT_THAT(failure({"history", "--forget", "1", "--pin", "7"}, ExitCode::wrongUsage),
                HasSubstr("There is no scan 7 in the history."));
    EXPECT_THAT(failure({"history", "--forget", "x"}, ExitCode::wrongUsage), HasSubstr("not a whole number"));
    // The next argument is no second number.
    EXPECT_THAT(failure({"history", "--forget", "1", "1"}, ExitCode::wrongUsage), HasSubstr("too much"));
    ASSERT_EQ(generations().size(), 1U);
    EXPECT_FALSE(generations().front().isPinned);
}

TEST_F(HistoryCommands, checkTellsWhatIsDamaged) {
    (void)folder_.makeFile("a", "x");
    scan(folder_.path());
    EXPECT_EQ(run({"history", "--check"}).out, "Every scan reads as it was saved.\n");
    EXPECT_EQ(run({"history", "--thin"}).out, "Nothing had to be thinned out.\n");
    // One byte of the root's name, which is text in the database.
    std::string bytes;
    {
        std::ifstream file{place(), std::ios::binary};
        bytes.assign(std::istreambuf_iterator<char>{file}, {});
    }
    const auto at = bytes.rfind(folder_.path());
    ASSERT_NE(at, std::string::npos);
    bytes[at + 1] = static_cast<char>(bytes[at + 1] ^ 1);
    std::ofstream{place(), std::ios::binary} << bytes;
    const CommandRun result = run({"history", "--check"});
    EXPECT_EQ(result.code, ExitCode::failed);
    EXPECT_NE(result.messages, "");
}

TEST_F(HistoryCommands, trashTakesTheItemOutOfTheNewestScanThatCoversIt) {
    const std::string file = folder_.makeFile("sub/gone", std::string(50'000, 'x'));
    const std::string kept = folder_.makeFile("sub/kept", "x");
    scan(folder_.path());
    const CommandRun result = run({"trash", "--yes", file});
    EXPECT_EQ(result.code, ExitCode::done) << result.out << result.messages;
    EXPECT_EQ(result.messages, "");
    EXPECT_THAT(run({"list", folder_ / "sub"}).out, Not(HasSubstr("gone")));
    EXPECT_THAT(run({"list", folder_ / "sub"}).out, HasSubstr("kept"));
    EXPECT_EQ(generations().front().origin, GenerationOrigin::removal);
    EXPECT_THAT(run({"list", "--at", "1", folder_ / "sub"}).out, HasSubstr("gone"));
    EXPECT_THAT(run({"restore", "--json"}).out, HasSubstr("\"present\": true"));
    EXPECT_TRUE(fs::exists(data_ / "kestrel/receipts"));
}

TEST_F(HistoryCommands, removeTakesSizesAndRatingsFromTheScan) {
    const std::string file = folder_.makeFile("a", "x");
    scan(folder_.path());
    // It is another file now: what was seen is not what is there.
    (void)folder_.makeFile("b", "y");
    fs::rename(folder_ / "b", file);
    const CommandRun result = run({"remove", "--confirm", "DELETE", file});
    EXPECT_EQ(result.code, ExitCode::failed);
    EXPECT_THAT(result.out, HasSubstr("changed"));
    EXPECT_TRUE(fs::exists(file));
}

TEST_F(HistoryCommands, leaveTheHistoryItself) {
    scan(folder_.path());
    for (const char* ending : {"", "-lock"}) {
        const CommandRun result = run({"remove", "--confirm", "DELETE", place() + ending});
        EXPECT_EQ(result.code, ExitCode::refused) << result.out;
        EXPECT_TRUE(fs::exists(place()));
    }
    EXPECT_EQ(run({"remove", "--confirm", "DELETE", data_.path()}).code, ExitCode::refused);
    EXPECT_EQ(generations().size(), 1U);
}

TEST_F(HistoryCommands, removeGoesOnWithoutAHistoryThatCannotBeRead) {
    const std::string file = folder_.makeFile("a", "x");
    fs::create_directory(data_ / "kestrel");
    std::ofstream{place()} << std::string(3'000, 'x');
    const CommandRun result = run({"remove", "--confirm", "DELETE", file});
    EXPECT_EQ(result.code, ExitCode::done) << result.out << result.messages;
    EXPECT_THAT(result.messages, HasSubstr("The saved scans are left out: "));
    EXPECT_FALSE(fs::exists(file));
    EXPECT_EQ(fs::file_size(place()), 3'000U);
}

TEST_F(HistoryCommands, clearEmptiesTheHistoryAndWhatEarlierVersionsSaved) {
    saveAsEarlierVersionsDid(sampleSnapshot(10'000, 1));
    EXPECT_EQ(run({"list"}).code, ExitCode::done);
    saveAsEarlierVersionsDid(sampleSnapshot(10'000, 2));
    const auto before = fs::file_size(place()) + fs::file_size(earlierStore());
    const CommandRun result = run({"clear", "--json"});
    const auto after = fs::file_size(place()) + fs::file_size(earlierStore());
    EXPECT_EQ(result.out, fmt::format("{{\"schema\": 1, \"cleared\": true, \"freedBytes\": {}}}\n", before - after));
    EXPECT_LT(after, before / 4);
    EXPECT_THAT(failure({"list"}), HasSubstr("There is no saved scan yet"));
    EXPECT_THAT(run({"clear"}).out, StartsWith("The history is empty; "));
}

TEST_F(HistoryCommands, clearAsksWhoCanAnswer) {
    scan(folder_.path());
    ASSERT_EQ(run({"history", "--pin", "1"}).code, ExitCode::done);
    const auto clearOnTerminal = [](std::vector<std::string> arguments, std::string_view answer) {
        const StandardInput input{answer};
        return runCommands(std::move(arguments), {addClearCommand}, {.isInput = true});
    };
    const CommandRun declined = clearOnTerminal({"clear"}, "\n");
    EXPECT_EQ(declined.code, ExitCode::failed);
    EXPECT_THAT(declined.messages, HasSubstr("Forget 1 saved scan, 1 pinned? [y/N]"));
    EXPECT_EQ(run({"list"}).code, ExitCode::done);
    const CommandRun agreed = clearOnTerminal({"clear"}, "y\n");
    EXPECT_EQ(agreed.code, ExitCode::done);
    EXPECT_THAT(failure({"list"}), HasSubstr("There is no saved scan yet"));
    EXPECT_THAT(clearOnTerminal({"clear"}, "").messages, Not(HasSubstr("Forget")));
    scan(folder_.path());
    EXPECT_THAT(clearOnTerminal({"clear", "--yes"}, "").messages, Not(HasSubstr("Forget")));
    EXPECT_THAT(failure({"list"}), HasSubstr("There is no saved scan yet"));
}

TEST_F(HistoryCommands, clearMakesNoHistory) {
    EXPECT_EQ(run({"clear"}).code, ExitCode::done);
    EXPECT_FALSE(fs::exists(data_ / "kestrel"));
}

TEST_F(HistoryCommands, sayWhichScanWouldAnswer) {
    scan(folder_.path());
    EXPECT_THAT(failure({"list", home_.makeFolder("a b")}), HasSubstr("kestrel scan '" + home_ / "a b' makes one."));
    EXPECT_THAT(failure({"list", home_.makeFolder("it's")}), HasSubstr("kestrel scan with its name makes one."));
    EXPECT_THAT(failure({"list", home_.makeFile("letter")}), HasSubstr("kestrel scan " + home_.path() + " makes one."));
    EXPECT_THAT(failure({"list", "/nowhere"}), HasSubstr("a folder above it, and nothing is there."));
}

TEST_F(HistoryCommands, sayWhichPatternLeftSomethingOut) {
    (void)folder_.makeFile("build/out/a", "x");
    (void)folder_.makeFile("b", "x");
    ASSERT_EQ(run({"scan", folder_.path(), "--exclude", "*.iso", "--exclude", "build/"}).code, ExitCode::done);
    EXPECT_THAT(failure({"list", folder_ / "build/out"}), HasSubstr(", which left out build/."));
    EXPECT_THAT(failure({"list", folder_ / "c"}), Not(HasSubstr("left out")));
    EXPECT_THAT(run({"search", "--in", folder_ / "build", "a"}).messages,
                HasSubstr(folder_ / "build is not in it, as build/ was left out."));
}

TEST_F(HistoryCommands, tellThatFiguresAreWithoutWhatWentSince) {
    (void)folder_.makeFile("goes", "x");
    (void)folder_.makeFile("stays", "x");
    scan(folder_.path());
    EXPECT_THAT(run({"list"}).out, Not(HasSubstr("since")));
    ASSERT_EQ(run({"remove", folder_ / "goes", "--confirm", "DELETE"}).code, ExitCode::done);
    EXPECT_THAT(run({"list"}).out, HasSubstr(", without what was removed or went to the Trash since\n"));
}

}  // namespace KestrelCLI
