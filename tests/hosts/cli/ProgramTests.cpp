#include "support/EnvironmentSetting.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

// The program as a whole, with standard output where a shell would put it.

namespace KestrelCLI {

namespace {

using KestrelCore::TemporaryFolder;

enum class Output { closedPipe, fullDisk, file };

struct Ended {
    int signal = 0;  ///< 0 when it ended by itself
    int code = 0;
    std::string out;  ///< of a file
    std::string messages;
};

std::string contents(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream{path, std::ios::binary}.rdbuf();
    return text.str();
}

class Program : public testing::Test {
protected:
    /// Runs `kestrel` with a home of its own.
    Ended run(const std::vector<std::string>& arguments, Output output, const char* locale = "C.UTF-8",
              void (*pipeAction)(int) = SIG_DFL) {
        int pipe[2] = {-1, -1};
        EXPECT_EQ(::pipe(pipe), 0);
        // Before the program begins, so that its first write already fails.
        close(pipe[0]);
        const std::string outPath = folder_ / "out";
        const std::string messagesPath = folder_ / "messages";
        const std::string home = folder_ / "home";
        const std::string gone = isInAFolderThatIsGone ? folder_.makeFolder("gone") : "";
        const pid_t process = fork();
        if (process == 0) {
            const int file =
                open(output == Output::fullDisk ? "/dev/full" : outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            dup2(output == Output::closedPipe ? pipe[1] : file, STDOUT_FILENO);
            dup2(open(messagesPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
            dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
            ::signal(SIGPIPE, pipeAction);
            if (isInAFolderThatIsGone && (chdir(gone.c_str()) != 0 || rmdir(gone.c_str()) != 0)) _exit(126);
            for (const char* name : {"HOME", "CFFIXED_USER_HOME"}) setenv(name, home.c_str(), 1);
            setenv("XDG_DATA_HOME", (home + "/data").c_str(), 1);
            setenv("LC_ALL", locale, 1);
            std::vector<char*> words{const_cast<char*>("kestrel")};
            for (const std::string& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
            words.push_back(nullptr);
            execv(KESTREL_BINARY_DIR "/kestrel", words.data());
            _exit(127);
        }
        close(pipe[1]);
        int status = 0;
        EXPECT_EQ(waitpid(process, &status, 0), process);
        return {.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0,
                .code = WIFEXITED(status) ? WEXITSTATUS(status) : 0,
                .out = output == Output::file ? contents(outPath) : "",
                .messages = contents(messagesPath)};
    }

    /// A folder to scan, and its path.
    std::string files() { return folder_.makeFolder("home/files"); }
    std::string file(const std::string& name) { return folder_.makeFile("home/files/" + name, "some text"); }

    bool isInAFolderThatIsGone = false;

    TemporaryFolder folder_;
};

}  // namespace

TEST_F(Program, endsSilentlyByTheSignalWhenNobodyReads) {
    (void)file("a.pdf");
    ASSERT_EQ(run({"scan", files()}, Output::file).code, 0);
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"list"},
                                                      {"search", "a"},
                                                      {"history"},
                                                      {"--help"},
                                                      {"list", "--json"},
                                                      {"documents"},
                                                      {"processes", "--json"},
                                                      {"list", "--print0"}}) {
        const Ended ended = run(arguments, Output::closedPipe);
        EXPECT_EQ(ended.signal, SIGPIPE) << arguments.front();
        EXPECT_EQ(ended.messages, "") << arguments.front();
    }
}

TEST_F(Program, endsItsWorkBeforeAClosedPipeEndsIt) {
    const std::string first = file("first");
    const std::string second = file("second");
    const Ended removed = run({"remove", "--confirm", "DELETE", first, second}, Output::closedPipe);
    EXPECT_EQ(removed.signal, SIGPIPE);
    EXPECT_FALSE(std::filesystem::exists(first));
    EXPECT_FALSE(std::filesystem::exists(second));
    (void)file("third");
    EXPECT_EQ(run({"scan", files()}, Output::closedPipe).signal, SIGPIPE);
    EXPECT_NE(run({"list"}, Output::file).out.find("third"), std::string::npos) << "the scan was saved";
}

TEST_F(Program, tellsAFullDiskAndAClosedPipeThatItWasToldToIgnore) {
    const Ended full = run({"--help"}, Output::fullDisk);
    EXPECT_EQ(full.messages, "kestrel: The results could not be written: No space left on device.\n");
    const Ended closed = run({"--help"}, Output::closedPipe, "C", SIG_IGN);
    EXPECT_EQ(closed.messages, "kestrel: The results could not be written: Broken pipe.\n");
    for (const Ended* ended : {&full, &closed}) {
        EXPECT_EQ(ended->signal, 0);
        EXPECT_EQ(ended->code, 1);
    }
}

TEST_F(Program, writesASCIIWhereTheLocaleHasNothingElse) {
    (void)file("größe.pdf");
    const Ended scan = run({"scan", files()}, Output::file, "C");
    const auto isASCII = [](const std::string& text) {
        return std::ranges::all_of(text, [](char c) { return c > 0; });
    };
    EXPECT_TRUE(isASCII(scan.out)) << scan.out;
    EXPECT_NE(scan.out.find("`- gr\\u{f6}\\u{df}e.pdf"), std::string::npos) << scan.out;
    EXPECT_NE(scan.out.find("#"), std::string::npos) << scan.out;
    const Ended wrong = run({"nosuch"}, Output::file, "C");
    EXPECT_NE(wrong.messages.find("There is no command \"nosuch\"."), std::string::npos) << wrong.messages;
    // Programs read the same everywhere.
    EXPECT_NE(run({"list", "--json"}, Output::file, "C").out.find("größe.pdf"), std::string::npos);
    EXPECT_NE(run({"list", "--print0"}, Output::file, "C").out.find("größe.pdf"), std::string::npos);
    EXPECT_NE(run({"list"}, Output::file).out.find("größe.pdf"), std::string::npos);
}

TEST_F(Program, takesNoRelativePathWhereTheCurrentFolderIsGone) {
    (void)file("a");
    ASSERT_EQ(run({"scan", files()}, Output::file).code, 0);
    isInAFolderThatIsGone = true;
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"list", "a"},
                                                      {"growth", "a"},
                                                      {"scan", "a"},
                                                      {"trash", "--yes", "a"},
                                                      {"remove", "--confirm", "DELETE", "../home/files/a"}}) {
        const Ended ended = run(arguments, Output::file);
        EXPECT_EQ(ended.code, 1) << arguments.front();
    }
    EXPECT_EQ(run({"list", "a"}, Output::file).messages, "kestrel: a: The current folder no longer exists.\n");
    EXPECT_EQ(run({"list", files()}, Output::file).code, 0);
    EXPECT_TRUE(std::filesystem::exists(files() + "/a"));
}

TEST_F(Program, showsAPlanInAFileWithNamesOnOneLine) {
    const std::string odd = file("new\nline");
    const Ended ended = run({"trash", "--dry-run", odd}, Output::file);
    EXPECT_NE(ended.out.find("new\\nline"), std::string::npos) << ended.out;
    EXPECT_EQ(ended.out.find("new\nline"), std::string::npos) << ended.out;
}

TEST_F(Program, takesTheShortOptionsOfOtherTools) {
    (void)file("a");
    EXPECT_EQ(run({"scan", "-xd", "1", "--no-save", files()}, Output::file).code, 0);
    EXPECT_EQ(run({"scan", "-d1", files()}, Output::file).code, 0);
    EXPECT_EQ(run({"list", "-a"}, Output::file).code, 0);
    EXPECT_EQ(run({"trash", "-y", file("b")}, Output::file).code, 0);
    EXPECT_FALSE(std::filesystem::exists(files() + "/b"));
    const Ended binary = run({"list", "--iec", "--bytes"}, Output::file);
    EXPECT_NE(binary.out.find(" B "), std::string::npos) << binary.out;
    EXPECT_NE(run({"list", "--iec"}, Output::file).out.find("KiB"), std::string::npos);
}

TEST_F(Program, writesPathsAsTheyAreEachEndedByANUL) {
    const std::string odd = file("new\nline\\.pdf");
    ASSERT_EQ(run({"scan", files()}, Output::file).code, 0);
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"list", "--print0"},
                                                      {"list", "-0"},
                                                      {"documents", "--print0"},
                                                      {"search", "--print0", "line"},
                                                      {"documents", "-0", "--kind", "PDF"}}) {
        const Ended ended = run(arguments, Output::file);
        EXPECT_EQ(ended.code, 0) << arguments.front();
        EXPECT_EQ(ended.out, odd + '\0') << arguments.front();
    }
    EXPECT_EQ(run({"media", "--print0"}, Output::file).out, "");
    // For people a name is on one line, also in a file.
    EXPECT_NE(run({"list"}, Output::file).out.find("new\\nline\\\\.pdf"), std::string::npos);
}

TEST_F(Program, replacesWhatIsOfHighRiskOnlyWhenItIsTold) {
    const std::string secret = folder_ / "home/.ssh/config";
    std::filesystem::create_directories(folder_ / "home/.ssh");
    std::ofstream{secret} << "old";
    ASSERT_EQ(run({"trash", "--yes", "--include-high-risk", secret}, Output::file).code, 0);
    std::ofstream{secret} << "new";
    const Ended refused = run({"restore", "--last", "--replace"}, Output::file);
    EXPECT_EQ(refused.code, 4) << refused.out << refused.messages;
    EXPECT_EQ(contents(secret), "new");
    const Ended replaced = run({"restore", "--last", "--replace", "--include-high-risk"}, Output::file);
    EXPECT_EQ(replaced.code, 0) << replaced.out << replaced.messages;
    EXPECT_EQ(contents(secret), "old");
}

}  // namespace KestrelCLI
