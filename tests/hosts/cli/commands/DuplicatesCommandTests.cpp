#include "commands/Commands.hpp"

#include "output/TerminalText.hpp"
#include "support/HistoryCommandTest.hpp"
#include "support/StandardInput.hpp"
#include "terminal/Interruption.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <simdjson.h>

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

using namespace KestrelCore;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

namespace KestrelCLI {

namespace {

namespace fs = std::filesystem;

/// Calls something when a question is written, as somebody else may do something while it waits for an answer.
class QuestionWatch : public std::stringbuf {
public:
    explicit QuestionWatch(std::function<void()> onQuestion) : onQuestion_{std::move(onQuestion)} {}

private:
    std::streamsize xsputn(const char* text, std::streamsize size) override {
        const std::streamsize written = std::stringbuf::xsputn(text, size);
        if (onQuestion_ && str().find("to the Trash?") != std::string::npos) std::exchange(onQuestion_, {})();
        return written;
    }

    std::function<void()> onQuestion_;
};

class DuplicatesCommand : public HistoryCommandTest {
protected:
    /// A file that was changed at a time of long ago; gives its path.
    std::string file(const std::string& name, const std::string& content, std::int64_t modified) const {
        std::string path = folder_.makeFile(name, content);
        const timespec times[2]{{.tv_sec = modified, .tv_nsec = 0}, {.tv_sec = modified, .tv_nsec = 0}};
        EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
        return path;
    }
    void scan() const { ASSERT_EQ(runCommands({"scan", folder_.path()}, commands).code, ExitCode::done); }
    CommandRun run(std::vector<std::string> options, const Terminal& terminal = {}) const {
        std::vector<std::string> arguments{"duplicates", folder_.path(), "--min", "1"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return runCommands(std::move(arguments), commands, terminal);
    }
    /// The answer to --trash, with `meanwhile` done while the question waits.
    CommandRun agreed(const std::function<void()>& meanwhile) const {
        const StandardInput answer{"y\n"};
        std::ostringstream out;
        QuestionWatch watch{meanwhile};
        std::ostream messages{&watch};
        Session session{.out = out, .messages = messages, .terminal = {.isInput = true}, .options = {}};
        const ExitCode code =
            runCommandLine({"duplicates", folder_.path(), "--min", "1", "--trash"}, session, commands);
        return {code, out.str(), watch.str()};
    }

    static inline const std::vector<CommandAdder> commands{addScanCommand, addDuplicatesCommand, addListCommand};
};

TEST_F(DuplicatesCommand, showsWhatIsKeptAndWhatMayGo) {
    const std::string kept = file("a/film.mp4", "a film", 1000);
    const std::string spare = file("b/film copy.mp4", "a film", 2000);
    const std::string object = file("b/.git/pack", "a film", 3000);
    scan();
    const CommandRun shown = run({});
    EXPECT_EQ(shown.code, ExitCode::done) << shown.messages;
    EXPECT_THAT(shown.out, HasSubstr("  keep   " + kept + " (oldest)\n"));
    EXPECT_THAT(shown.out, HasSubstr("  spare  " + spare + "\n"));
    EXPECT_THAT(shown.out, HasSubstr("  stays  " + object + "\n         It is part of “.git”"));
    EXPECT_THAT(shown.out, HasSubstr("kestrel duplicates " + folder_.path() + " --min 1 --trash"));
}

TEST_F(DuplicatesCommand, tellsGroupsAsJSON) {
    const std::string kept = file("old", "same", 1000);
    const std::string spare = file("new", "same", 2000);
    scan();
    const CommandRun told = run({"--json"});
    simdjson::dom::parser parser;
    const simdjson::dom::element json = parser.parse(told.out);
    const simdjson::dom::element group = json["groups"].at(0);
    EXPECT_EQ(std::string{group["keep"].get_string().value()}, kept);
    EXPECT_EQ(std::string{group["paths"].at(1).get_string().value()}, spare);
    EXPECT_EQ(group["fileBytes"].get_int64().value(), 4);
    EXPECT_EQ(group["bytes"].get_int64().value(), json["reclaimableBytes"].get_int64().value());
    EXPECT_GT(json["reclaimableBytes"].get_int64().value(), 0);
}

TEST_F(DuplicatesCommand, staysWithinTheTerminal) {
    for (const char* name : {"a", "b"})
        file(std::string{name} + "/a rather long folder/with another one in it/and a file of a long name.mp4", "x",
             1000);
    file("b/.git/objects/pack/of/a/repository", "x", 2000);
    scan();
    for (const std::size_t columns : {40U, 60U, 80U}) {
        std::istringstream lines{run({"--color=never"}, {.isOutput = true, .columns = columns}).out};
        for (std::string line; std::getline(lines, line);) {
            // What is to be copied stays in one piece.
            if (line.starts_with("kestrel ")) continue;
            EXPECT_LE(TerminalText::width(line), columns) << line;
        }
    }
}

TEST_F(DuplicatesCommand, movesAllButTheKeptOneAndTakesThemOutOfTheHistory) {
    const std::string kept = file("old", "same", 1000);
    const std::string spare = file("new", "same", 2000);
    const std::string other = file("other", "unique", 2000);
    scan();
    const CommandRun moved = run({"--trash", "--yes"});
    EXPECT_EQ(moved.code, ExitCode::done) << moved.messages;
    EXPECT_TRUE(fs::exists(kept));
    EXPECT_FALSE(fs::exists(spare));
    EXPECT_TRUE(fs::exists(other));
    EXPECT_THAT(moved.out, HasSubstr("  trash  " + spare));
    EXPECT_THAT(moved.out, HasSubstr("Undo: kestrel restore --last"));
    EXPECT_THAT(runCommands({"list", folder_.path()}, commands).out, Not(HasSubstr("new")));
    EXPECT_THAT(run({}).out, HasSubstr("No equal files")) << "Nothing is left to be moved";
}

TEST_F(DuplicatesCommand, touchesNothingOnADryRun) {
    file("old", "same", 1000);
    const std::string spare = file("new", "same", 2000);
    scan();
    const CommandRun shown = run({"--trash", "--dry-run"});
    EXPECT_EQ(shown.code, ExitCode::done);
    EXPECT_TRUE(fs::exists(spare));
    EXPECT_THAT(shown.out, AllOf(HasSubstr("  trash  " + spare), HasSubstr("nothing was touched")));
}

TEST_F(DuplicatesCommand, asksNobodyWithoutATerminal) {
    file("old", "same", 1000);
    const std::string spare = file("new", "same", 2000);
    scan();
    EXPECT_EQ(run({"--trash"}).code, ExitCode::wrongUsage);
    EXPECT_TRUE(fs::exists(spare));
}

TEST_F(DuplicatesCommand, comparesOnceMoreAfterTheAnswer) {
    file("old", "same", 1000);
    const std::string spare = file("new", "same", 2000);
    const std::string second = file("second", "same", 3000);
    scan();
    // The same length and date as before: only the bytes tell.
    const CommandRun moved = agreed([&] { file("new", "SAME", 2000); });
    EXPECT_EQ(moved.code, ExitCode::failed);
    EXPECT_TRUE(fs::exists(spare));
    EXPECT_FALSE(fs::exists(second));
    EXPECT_THAT(moved.out, HasSubstr("It stays: its content is not that of"));
}

TEST_F(DuplicatesCommand, movesNothingWhenTheKeptFileIsGone) {
    const std::string kept = file("old", "same", 1000);
    const std::string spare = file("new", "same", 2000);
    scan();
    const CommandRun moved = agreed([&] { fs::remove(kept); });
    EXPECT_EQ(moved.code, ExitCode::failed);
    EXPECT_TRUE(fs::exists(spare));
    EXPECT_THAT(moved.out, HasSubstr("which was to be kept, is no longer there"));
}

TEST_F(DuplicatesCommand, keepsWhatAFolderHas) {
    const std::string old = file("downloads/a", "same", 1000);
    const std::string photo = file("photos/a", "same", 2000);
    scan();
    EXPECT_THAT(run({"--keep", "in:" + folder_ / "photos"}).out, HasSubstr("  spare  " + old));
    EXPECT_THAT(run({"--keep", "newest"}).out, HasSubstr("  keep   " + photo));
    EXPECT_EQ(run({"--keep", "in:" + folder_ / "nowhere"}).code, ExitCode::failed);
    EXPECT_EQ(run({"--keep", "largest"}).code, ExitCode::wrongUsage);
}

TEST_F(DuplicatesCommand, takesNoOptionsThatDoNothing) {
    for (const auto& options : std::vector<std::vector<std::string>>{
             {"--yes"}, {"--dry-run"}, {"--trash", "--dedupe"}, {"--trash", "--all"}, {"--min", "much"}})
        EXPECT_EQ(run(options).code, ExitCode::wrongUsage) << options.front();
}

TEST_F(DuplicatesCommand, saysWhatChangedSinceTheScan) {
    file("a", "same", 1000);
    file("b", "same", 1000);
    scan();
    file("b", "same", 5000);
    EXPECT_THAT(run({}).messages, HasSubstr("1 file changed or went since the scan"));
}

TEST_F(DuplicatesCommand, endsOnCtrlC) {
    file("a", "same", 1000);
    file("b", "same", 1000);
    scan();
    Interruption::set(true);
    EXPECT_EQ(run({}).code, ExitCode::interrupted);
    Interruption::set(false);
}

}  // namespace

TEST_F(DuplicatesCommand, tellsWhatCanNotBeReadAgainByItsName) {
    file("a", "the same", 1000);
    file("b\xff", "the same", 1000);
    file("c", "the same", 1000);
    scan();
    const CommandRun found = run({});
    EXPECT_EQ(found.code, ExitCode::incomplete);
    EXPECT_THAT(found.messages,
                AllOf(HasSubstr("1 file could not be read; the first is "),
                      HasSubstr("is not UTF-8, so it can't be read again by it."), Not(HasSubstr("changed"))));
    EXPECT_THAT(found.out, HasSubstr("2 files of"));
}

}  // namespace KestrelCLI
