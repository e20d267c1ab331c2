#include "commands/Commands.hpp"
#include "terminal/Interruption.hpp"

#include "support/ChildProcess.hpp"
#include "support/EnvironmentSetting.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>
#include <simdjson.h>

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

const std::string program = std::string{KESTREL_BINARY_DIR} + "/kestrel";

struct Outcome {
    ExitCode code = ExitCode::done;
    std::string out;
    std::string messages;
};

Outcome run(std::vector<std::string> arguments) {
    std::ostringstream out;
    std::ostringstream messages;
    Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
    const ExitCode code = runCommandLine(std::move(arguments), session, {addScanCommand, addAccessCommand});
    return {code, out.str(), messages.str()};
}

/// A folder of two files and a folder with one, 4 MB altogether, under its real path.
class ScanCommand : public testing::Test {
protected:
    ScanCommand() {
        std::filesystem::create_directory(path("inner"));
        write("inner/large.bin", 3'000'000);
        write("small.txt", 10);
        write("middle.bin", 1'000'000);
    }

    [[nodiscard]] std::string path(const std::string& name = "") const {
        const std::string root = std::filesystem::canonical(folder_.path()).string();
        return name.empty() ? root : root + "/" + name;
    }
    void write(const std::string& name, std::size_t bytes) const {
        std::ofstream{path(name), std::ios::binary} << std::string(bytes, 'x');
    }

private:
    TemporaryFolder folder_;
    TemporaryFolder data_;
    EnvironmentSetting store_{"XDG_DATA_HOME",
                              data_.path().c_str()};  ///< results are saved there, not in the user's store
};

/// Runs a shell command line and returns its exit code.
int shell(const std::string& command) {
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string quoted(const std::string& text) { return "'" + text + "'"; }

struct TerminalRun {
    int code = -1;
    std::string shown;  ///< all that reached the terminal
};

/// Runs the program with a terminal of 80 columns as its three streams.
TerminalRun runOnTerminal(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), program);
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    const winsize size{.ws_row = 24, .ws_col = 80, .ws_xpixel = 0, .ws_ypixel = 0};
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
    if (child == 0) {
        setenv("TERM", "xterm", 1);
        unsetenv("NO_COLOR");
        execv(argv[0], argv.data());
        _exit(127);
    }
    TerminalRun result;
    for (;;) {
        char buffer[4096];
        const ssize_t got = read(terminal, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;  // EIO tells that the program has closed its end
        result.shown.append(buffer, static_cast<std::size_t>(got));
    }
    close(terminal);
    int status = 0;
    waitpid(child, &status, 0);
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

}  // namespace

TEST_F(ScanCommand, showsTheTreeTheLargestFilesAndTheTotal) {
    const Outcome outcome = run({"scan", path()});
    EXPECT_EQ(outcome.code, ExitCode::done) << outcome.messages;
    const auto position = [&](const std::string& text) { return outcome.out.find(text); };
    EXPECT_NE(position(path() + "/"), std::string::npos) << outcome.out;
    EXPECT_LT(position("├─ inner/"), position("└─ large.bin")) << outcome.out;
    EXPECT_LT(position("└─ large.bin"), position("middle.bin")) << outcome.out;
    EXPECT_NE(position("  " + path() + "/inner/large.bin\n"), std::string::npos) << outcome.out;
    EXPECT_NE(position(" on disk in 4 items"), std::string::npos) << outcome.out;
    EXPECT_TRUE(outcome.messages.empty()) << outcome.messages;
}

TEST_F(ScanCommand, printsOneJSONObjectOfTheFixedForm) {
    write("b\xff \x1b.txt", 500'000);
    const Outcome outcome = run({"scan", "--json", path()});
    EXPECT_EQ(outcome.code, ExitCode::done) << outcome.messages;
    EXPECT_TRUE(outcome.out.starts_with("{\"schema\": 1, \"snapshot\": {")) << outcome.out;

    simdjson::dom::parser parser;
    simdjson::dom::element json;
    ASSERT_EQ(parser.parse(outcome.out).get(json), simdjson::SUCCESS) << outcome.out;
    EXPECT_EQ(std::string_view{json["snapshot"]["root"]}, path());
    EXPECT_EQ(std::int64_t{json["snapshot"]["records"]}, 6);
    EXPECT_EQ(std::int64_t{json["snapshot"]["issues"]}, 0);
    EXPECT_GE(std::int64_t{json["snapshot"]["totalAllocatedBytes"]}, 4'500'000);
    EXPECT_TRUE(bool{json["saved"]});
    EXPECT_GE(double{json["elapsedSeconds"]}, 0);
    EXPECT_GT(double{json["entriesPerSecond"]}, 0);
    EXPECT_EQ(simdjson::dom::array{json["issues"]}.size(), 0U);
    std::vector<std::string> names;
    for (const simdjson::dom::element record : json["largest"]) names.emplace_back(std::string_view{record["name"]});
    EXPECT_EQ(names,
              (std::vector<std::string>{"inner", "large.bin", "middle.bin", "b\xEF\xBF\xBD \x1b.txt", "small.txt"}));
    const simdjson::dom::element first = json["largest"].at(0);
    EXPECT_EQ(std::string_view{first["kind"]}, "directory");
    EXPECT_EQ(std::string_view{first["risk"]}, "normal");
}

TEST_F(ScanCommand, obeysDepthAndTop) {
    EXPECT_EQ(run({"scan", path(), "--depth", "1", "--top", "1"}).out.find("└─ large.bin"), std::string::npos);
    EXPECT_NE(run({"scan", path(), "--depth", "1", "--top", "1"}).out.find("└─ 2 more items"), std::string::npos);
    for (const char* option : {"--depth", "--top"}) {
        for (const char* wrong : {"-1", "many", "1.5"}) {
            const Outcome outcome = run({"scan", path(), option, wrong});
            EXPECT_EQ(outcome.code, ExitCode::wrongUsage) << wrong;
            EXPECT_NE(outcome.messages.find("is not a whole number, 0 or more"), std::string::npos) << outcome.messages;
        }
        const Outcome empty = run({"scan", path(), option, ""});
        EXPECT_EQ(empty.code, ExitCode::wrongUsage);
        EXPECT_NE(empty.messages.find("needs a value"), std::string::npos) << empty.messages;
    }
    EXPECT_NE(run({"scan", path(), "--depth", "101"}).messages.find("“101” is more than 100"), std::string::npos);
    EXPECT_EQ(run({"scan", path(), "--depth", "100", "--top", "0"}).code, ExitCode::done);
}

TEST_F(ScanCommand, keepsNoScanOfASingleFile) {
    EXPECT_EQ(run({"scan", path()}).code, ExitCode::done);
    const Outcome single = run({"scan", "--json", path("middle.bin")});
    EXPECT_EQ(single.code, ExitCode::done);
    EXPECT_NE(single.out.find("\"saved\": false"), std::string::npos) << single.out;
    EXPECT_NE(single.messages.find("not kept"), std::string::npos) << single.messages;
}

TEST_F(ScanCommand, showsLengthsInPlaceOfWhatTheyTake) {
    write("sparse.img", 1);
    std::filesystem::resize_file(path("sparse.img"), 50'000'000);
    const Outcome text = run({"scan", "--apparent-size", path()});
    EXPECT_EQ(text.code, ExitCode::done);
    EXPECT_NE(text.out.find(" 50.0 MB "), std::string::npos) << text.out;
    EXPECT_NE(text.out.find(" of contents in 5 items, which take 4.0"), std::string::npos) << text.out;
    const Outcome written = run({"scan", "--apparent-size", "--json", path()});
    simdjson::dom::parser parser;
    simdjson::dom::element json;
    ASSERT_EQ(parser.parse(written.out).get(json), simdjson::SUCCESS) << written.out;
    // What is kept is what they take.
    EXPECT_LT(std::int64_t{json["snapshot"]["totalAllocatedBytes"]}, 5'000'000);
    EXPECT_GT(std::int64_t{json["totalApparentBytes"]}, 54'000'000);
    const simdjson::dom::element largest = json["largest"].at(0);
    EXPECT_LT(std::int64_t{largest["allocatedBytes"]}, 10'000);
    EXPECT_EQ(std::int64_t{largest["apparentBytes"]}, 50'000'000);
}

TEST_F(ScanCommand, followsALinkGivenAsRootAndSaysSo) {
    std::filesystem::create_directory_symlink("inner", path("link"));
    const Outcome outcome = run({"scan", path("link")});
    EXPECT_EQ(outcome.code, ExitCode::done);
    EXPECT_NE(outcome.messages.find(path("inner")), std::string::npos) << outcome.messages;
    EXPECT_NE(outcome.out.find("large.bin"), std::string::npos) << outcome.out;
}

TEST_F(ScanCommand, failsInOneLineWhenTheRootIsMissing) {
    const Outcome outcome = run({"scan", path("missing\n")});
    EXPECT_EQ(outcome.code, ExitCode::failed);
    EXPECT_EQ(outcome.messages, "kestrel: " + path("missing\\n") + ": No such file or directory\n");
    EXPECT_TRUE(outcome.out.empty());
}

TEST_F(ScanCommand, stopsWhenItIsInterrupted) {
    Interruption::set(true);
    const Outcome outcome = run({"scan", path()});
    Interruption::set(false);
    EXPECT_EQ(outcome.code, ExitCode::interrupted);
    EXPECT_TRUE(outcome.out.empty()) << outcome.out;
}

TEST(ScanCommandIssues, areNoFewerThanToldWhereNotAllAreKept) {
    inChild(ChildSetting::unprivileged, [] {
        const TemporaryFolder folder;
        const auto closed = [&](int from, int to) {
            for (int number = from; number < to; ++number)
                std::filesystem::permissions(folder.makeFolder(std::to_string(number)), std::filesystem::perms::none);
        };
        closed(0, 999);
        const Outcome known = run({"scan", "--no-save", folder.path()});
        EXPECT_EQ(known.code, ExitCode::incomplete);
        EXPECT_NE(known.messages.find("kestrel: 999 items could not be read"), std::string::npos) << known.messages;
        closed(999, 1'200);
        const Outcome more = run({"scan", "--no-save", folder.path()});
        EXPECT_NE(more.messages.find("kestrel: 1,000 items or more could not be read"), std::string::npos)
            << more.messages;
    });
}

TEST_F(ScanCommand, failsWhenStandardOutputTakesNothing) {
    EXPECT_EQ(shell(quoted(program) + " scan " + quoted(path()) + " >/dev/full 2>/dev/null"), 1);
    EXPECT_EQ(shell(quoted(program) + " scan --json " + quoted(path()) + " >&- 2>/dev/null"), 1);
}

TEST_F(ScanCommand, showsHostileNamesAsEscapesOnATerminalAndRemovesTheProgressLine) {
    write("\x1b]0;owned\x07\n\xE2\x80\xAEtxt.exe", 2'000'000);
    const TerminalRun result = runOnTerminal({"scan", path()});
    EXPECT_EQ(result.code, 0);
    EXPECT_NE(result.shown.find("\\x1b]0;owned\\x07\\n\\u{202e}txt.exe"), std::string::npos) << result.shown;
    EXPECT_EQ(result.shown.find("\x1b]"), std::string::npos);
    EXPECT_EQ(result.shown.find("\xE2\x80\xAE"), std::string::npos);
    // Everything drawn of the progress is gone from its line before the result begins.
    const std::size_t resultBegins = result.shown.find(" 100.0 %");
    ASSERT_NE(resultBegins, std::string::npos) << result.shown;
    const std::size_t progress = result.shown.find(" items ");
    if (progress < resultBegins) {
        const std::size_t erased = result.shown.rfind("\r\x1b[K", resultBegins);
        ASSERT_NE(erased, std::string::npos);
        EXPECT_GT(erased, progress);
    }
    EXPECT_NE(result.shown.find("\x1b[1minner/"), std::string::npos) << "no colour";
}

TEST(AccessCommand, answersInBothForms) {
    const Outcome json = run({"access", "--json"});
    EXPECT_TRUE(json.out == "{\"schema\": 1, \"fullDiskAccess\": true}\n" ||
                json.out == "{\"schema\": 1, \"fullDiskAccess\": false}\n")
        << json.out;
    EXPECT_EQ(json.code, ExitCode::done);
    const Outcome text = run({"access"});
    EXPECT_EQ(text.code, ExitCode::done);
    EXPECT_EQ(text.out,
              "This system has no permission for the whole disk: the owner of each folder, or root, decides who "
              "may read it.\n");
    EXPECT_EQ(run({"access", "operand"}).code, ExitCode::wrongUsage);
}

}  // namespace KestrelCLI
