#include "commands/Commands.hpp"
#include "terminal/Interruption.hpp"

#include "support/StandardInput.hpp"

#include <simdjson.h>

#include <gtest/gtest.h>

#include <linux/sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace KestrelCLI {

namespace {

struct Outcome {
    ExitCode code;
    std::string out;
    std::string messages;
};

Outcome run(std::vector<std::string> arguments) {
    std::ostringstream out;
    std::ostringstream messages;
    Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
    const ExitCode code =
        runCommandLine(std::move(arguments), session, {addMonitorCommand, addProcessesCommand, addQuitCommand});
    return {code, out.str(), messages.str()};
}

/// A process that waits to be asked to quit.
struct Sleeper {
    Sleeper() : identifier{fork()} {
        if (identifier != 0) return;
        signal(SIGTERM, SIG_DFL);
        for (;;) pause();
    }
    Sleeper(const Sleeper&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;
    ~Sleeper() {
        if (identifier <= 0) return;
        kill(identifier, SIGKILL);
        waitpid(identifier, nullptr, 0);
    }
    int wait() {
        int status = 0;
        waitpid(identifier, &status, 0);
        identifier = -1;
        return status;
    }
    pid_t identifier;
};

/// A process that tells afterwards whether it was asked to quit. Signals that it holds back are pending as soon as they
/// are sent, so those sent before our question are there when it comes.
struct SignalCounter {
    SignalCounter() {
        sigset_t heldBack;
        sigset_t before;
        sigemptyset(&heldBack);
        sigaddset(&heldBack, SIGTERM);
        sigaddset(&heldBack, SIGUSR1);
        pthread_sigmask(SIG_BLOCK, &heldBack, &before);  // before the fork: there is no moment without
        identifier = fork();
        if (identifier == 0) {
            sigset_t question;
            sigemptyset(&question);
            sigaddset(&question, SIGUSR1);
            int number = 0;
            sigwait(&question, &number);
            sigset_t pending;
            sigpending(&pending);
            _exit(sigismember(&pending, SIGTERM));
        }
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
    SignalCounter(const SignalCounter&) = delete;
    SignalCounter& operator=(const SignalCounter&) = delete;
    ~SignalCounter() {
        if (identifier > 0) (void)wasAskedToQuit();
    }
    /// To be asked once; ends the process.
    [[nodiscard]] bool wasAskedToQuit() {
        kill(identifier, SIGUSR1);
        int status = 0;
        waitpid(std::exchange(identifier, -1), &status, 0);
        return WEXITSTATUS(status) == 1;
    }
    pid_t identifier;
};

TEST(MonitorCommand, printsAJSONObjectALine) {
    const Outcome outcome = run({"monitor", "--json", "--count", "3", "--every", "1ms"});
    EXPECT_EQ(outcome.code, ExitCode::done);
    EXPECT_EQ(outcome.messages, "");
    std::istringstream lines{outcome.out};
    std::string line;
    int count = 0;
    simdjson::dom::parser parser;
    while (std::getline(lines, line)) {
        const auto document = parser.parse(line);
        EXPECT_EQ(document["schema"].get_int64().value(), 1);
        EXPECT_GT(document["sample"]["memoryTotalBytes"].get_int64().value(), 0);
        EXPECT_GE(document["sample"]["timestamp"].get_double().value(), 0);
        ++count;
    }
    EXPECT_EQ(count, 3);
}

TEST(MonitorCommand, printsALineASampleWhenPiped) {
    const Outcome outcome = run({"monitor", "--count", "2", "--every", "0.001"});
    EXPECT_EQ(outcome.code, ExitCode::done);
    EXPECT_EQ(std::ranges::count(outcome.out, '\n'), 2);
    EXPECT_NE(outcome.out.find("cpu 0.0 %"), std::string::npos) << outcome.out;
}

TEST(MonitorCommand, refusesAnIntervalThatIsNone) {
    for (const char* interval : {"0", "soon", "-1s", ""}) {
        EXPECT_EQ(run({"monitor", "--count", "1", "--every", interval}).code, ExitCode::wrongUsage) << interval;
    }
    EXPECT_EQ(run({"monitor", "extra"}).code, ExitCode::wrongUsage);
}

TEST(MonitorCommand, countsInWholeNumbersAsProcessesDoes) {
    const std::vector<std::vector<std::string>> commands{
        {"monitor", "--count"}, {"processes", "--count"}, {"processes", "--limit"}};
    for (std::vector<std::string> arguments : commands) {
        const std::string expected = "kestrel: " + arguments.back() + ": “-1” is not a whole number, 0 or more\n";
        arguments.emplace_back("-1");
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.code, ExitCode::wrongUsage);
        EXPECT_EQ(outcome.messages.substr(0, expected.size()), expected);
    }
}

TEST(MonitorCommand, endsWhenInterrupted) {
    Interruption::set(true);
    EXPECT_EQ(run({"monitor", "--every", "1h"}).code, ExitCode::interrupted);
    EXPECT_EQ(run({"processes", "--every", "1h"}).code, ExitCode::interrupted);
    Interruption::set(false);
}

TEST(ProcessesCommand, listsThisProcessWithRealUse) {
    const Outcome outcome = run({"processes", "--json", "--sort", "name", "--every", "1ms", "--count", "1"});
    EXPECT_EQ(outcome.code, ExitCode::done);
    simdjson::dom::parser parser;
    const auto document = parser.parse(outcome.out);
    EXPECT_EQ(document["schema"].get_int64().value(), 1);
    bool isFound = false;
    const simdjson::dom::array processes = document["processes"].get_array();
    for (const auto process : processes) {
        if (process["id"].get_int64().value() != getpid()) continue;
        isFound = true;
        EXPECT_EQ(process["name"].get_string().value(), "kestrel-tests");
        EXPECT_GT(process["residentBytes"].get_int64().value(), 0);
        EXPECT_GE(process["threadCount"].get_int64().value(), 1);
        // This very process worked between the two samples.
        EXPECT_GT(process["cpuPercent"].get_double().value(), 0);
        for (const char* key : {"executablePath", "virtualBytes", "runningThreadCount", "priority"}) {
            EXPECT_EQ(process[key].error(), simdjson::SUCCESS) << key;
        }
    }
    EXPECT_TRUE(isFound);
}

TEST(ProcessesCommand, keepsToItsLimitAndCount) {
    const Outcome outcome = run({"processes", "--limit", "2", "--every", "1ms", "--count", "2"});
    EXPECT_EQ(outcome.code, ExitCode::done);
    EXPECT_EQ(std::ranges::count(outcome.out, '\n'), 3 + 1 + 3);
    for (const char* order : {"age", "0", "1", "99"}) {
        EXPECT_EQ(run({"processes", "--sort", order}).code, ExitCode::wrongUsage) << order;
    }
}

TEST(ProcessesCommand, printsOneObjectUnlessItIsToListAgainAndAgain) {
    for (const char* count : {"0", "1", "2"}) {
        const Outcome outcome = run({"processes", "--json", "--count", count});
        EXPECT_EQ(outcome.code, ExitCode::wrongUsage) << count;
        EXPECT_TRUE(outcome.out.starts_with("{\"schema\": 1, \"error\"")) << outcome.out;
        EXPECT_NE(outcome.messages.find("--count goes with --every"), std::string::npos) << outcome.messages;
    }
    const Outcome lists = run({"processes", "--json", "--limit", "1", "--every", "1ms", "--count", "3"});
    EXPECT_EQ(std::ranges::count(lists.out, '\n'), 3);
}

TEST(QuitCommand, asksAProcessToQuit) {
    Sleeper sleeper;
    const std::string identifier = std::to_string(sleeper.identifier);
    const Outcome outcome = run({"quit", identifier, "--yes", "--json"});
    EXPECT_EQ(outcome.code, ExitCode::done);
    EXPECT_EQ(outcome.out, R"({"schema": 1, "results": [{"id": )" + identifier +
                               R"(, "name": "kestrel-tests", "succeeded": true}]})" + "\n");
    const int status = sleeper.wait();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
}

TEST(QuitCommand, needsAnAnswerOrAnOption) {
    SignalCounter process;
    const Outcome outcome = run({"quit", std::to_string(process.identifier)});
    EXPECT_EQ(outcome.code, ExitCode::wrongUsage);
    EXPECT_NE(outcome.messages.find("--yes"), std::string::npos);
    EXPECT_FALSE(process.wasAskedToQuit());
}

TEST(QuitCommand, sendsItsSignalBeforeItReturns) {
    // So that the test above would see it.
    SignalCounter process;
    EXPECT_EQ(run({"quit", std::to_string(process.identifier), "--yes"}).code, ExitCode::done);
    EXPECT_TRUE(process.wasAskedToQuit());
}

TEST(QuitCommand, refusesTheSystemAndItselfWithTheSafetyExitCode) {
    const std::string refusal = "Kestrel protects itself and critical system processes.";
    for (const std::string& identifier : {std::string{"1"}, std::string{"0"}, std::to_string(getpid())}) {
        const Outcome outcome = run({"quit", identifier, "--yes"});
        EXPECT_EQ(outcome.code, ExitCode::refused) << identifier;
        EXPECT_NE(outcome.out.find(refusal), std::string::npos) << outcome.out;
    }
    EXPECT_EQ(run({"quit", "--yes", "--", "-1"}).code, ExitCode::refused);
}

TEST(QuitCommand, takesAGraceOnlyWithForce) {
    Sleeper sleeper;
    const Outcome outcome = run({"quit", std::to_string(sleeper.identifier), "--yes", "--grace", "1s"});
    EXPECT_EQ(outcome.code, ExitCode::wrongUsage);
    EXPECT_NE(outcome.messages.find("--grace goes with --force"), std::string::npos) << outcome.messages;
    EXPECT_EQ(kill(sleeper.identifier, 0), 0);
}

TEST(QuitCommand, saysThatThereIsNoSuchProcess) {
    Sleeper sleeper;
    const std::string identifier = std::to_string(sleeper.identifier);
    kill(sleeper.identifier, SIGKILL);
    sleeper.wait();
    const Outcome outcome = run({"quit", identifier, "--json"});
    EXPECT_EQ(outcome.code, ExitCode::failed);
    EXPECT_NE(outcome.out.find(R"("succeeded": false, "message": "There is no process )" + identifier),
              std::string::npos)
        << outcome.out;
}

TEST(QuitCommand, takesIdentifiersAndNames) {
    for (const char* operand : {"", "99999999999"}) {
        EXPECT_EQ(run({"quit", "--yes", operand}).code, ExitCode::wrongUsage) << operand;
    }
    for (const char* operand : {"no such process", "12x", "1.5"}) {
        const Outcome outcome = run({"quit", "--yes", operand});
        EXPECT_EQ(outcome.code, ExitCode::failed) << operand;
        EXPECT_NE(outcome.messages.find("There is no process named"), std::string::npos) << outcome.messages;
    }
    EXPECT_EQ(run({"quit", "--yes"}).code, ExitCode::wrongUsage);
    EXPECT_EQ(run({"quit", "--yes", "--force", "--grace", "soon", "1"}).code, ExitCode::wrongUsage);
}

/// A process with a name that no other has, which does not hear the request to quit.
struct Deaf {
    Deaf() : name{"deaf-" + std::to_string(getpid())} {
        struct sigaction before {};
        struct sigaction ignore {};
        ignore.sa_handler = SIG_IGN;
        sigaction(SIGTERM, &ignore, &before);  // before the fork: there is no moment without
        int ready[2];
        if (pipe(ready) != 0) return;
        identifier = fork();
        if (identifier == 0) {
            prctl(PR_SET_NAME, name.c_str());
            if (write(ready[1], "r", 1) != 1) _exit(1);
            for (;;) pause();
        }
        sigaction(SIGTERM, &before, nullptr);
        char byte = 0;
        EXPECT_EQ(read(ready[0], &byte, 1), 1);  // it has its name by now
        close(ready[0]);
        close(ready[1]);
    }
    Deaf(const Deaf&) = delete;
    Deaf& operator=(const Deaf&) = delete;
    ~Deaf() { (void)signalThatEndedIt(SIGKILL); }
    int signalThatEndedIt(int sent = 0) {
        if (identifier <= 0) return 0;
        if (sent != 0) kill(identifier, sent);
        int status = 0;
        waitpid(std::exchange(identifier, -1), &status, 0);
        return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    }
    std::string name;
    pid_t identifier = -1;
};

TEST(QuitCommand, endsByForceWhatDoesNotQuit) {
    Deaf deaf;
    std::string shouted = deaf.name;
    std::ranges::transform(shouted, shouted.begin(), [](char c) { return c >= 'a' && c <= 'z' ? char(c - 32) : c; });
    const Outcome outcome = run({"quit", shouted, "--yes", "--force", "--grace", "1ms", "--json"});
    EXPECT_EQ(outcome.code, ExitCode::done) << outcome.messages;
    EXPECT_NE(outcome.out.find(R"("name": ")" + deaf.name + R"(", "succeeded": true, "forced": true)"),
              std::string::npos)
        << outcome.out;
    EXPECT_EQ(deaf.signalThatEndedIt(), SIGKILL);
}

TEST(QuitCommand, asksAnotherQuestionBeforeItForces) {
    Deaf deaf;
    const KestrelCore::StandardInput input{"y\nn\n"};
    std::ostringstream out;
    std::ostringstream messages;
    Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
    session.terminal.isInput = true;
    const ExitCode code = runCommandLine({"quit", "--force", "--grace", "1ms", deaf.name}, session, {addQuitCommand});
    EXPECT_EQ(code, ExitCode::failed);
    EXPECT_NE(messages.str().find("Ask " + deaf.name), std::string::npos) << messages.str();
    EXPECT_NE(messages.str().find("End it by force?"), std::string::npos) << messages.str();
    EXPECT_NE(out.str().find("was asked to quit"), std::string::npos) << out.str();
    EXPECT_EQ(kill(deaf.identifier, 0), 0);
}

/// Takes what is written, and acts once as soon as a question is among it.
class QuestionWatch final : public std::stringbuf {
public:
    explicit QuestionWatch(std::function<void()> act) : act_{std::move(act)} {}

protected:
    int sync() override {
        if (act_ && str().find('?') != std::string::npos) std::exchange(act_, nullptr)();
        return std::stringbuf::sync();
    }

private:
    std::function<void()> act_;
};

/// A process with that identifier, which nobody else has; -1 where the system gives none.
pid_t forkAs(pid_t identifier) {
    clone_args arguments{};
    arguments.exit_signal = SIGCHLD;
    arguments.set_tid = reinterpret_cast<std::uint64_t>(&identifier);
    arguments.set_tid_size = 1;
    const long child = syscall(SYS_clone3, &arguments, sizeof arguments);
    if (child != 0) return static_cast<pid_t>(child);
    // Nothing but plain system calls: the library does not know of this process.
    syscall(SYS_prctl, PR_SET_PDEATHSIG, SIGKILL);
    for (;;) syscall(SYS_ppoll, nullptr, 0, nullptr, nullptr, 0);
}

TEST(QuitCommand, asksNobodyWhoGotTheIdentifierDuringTheQuestion) {
    const auto before = signal(SIGTERM, SIG_DFL);  // which the newcomer inherits
    Sleeper asked;
    const pid_t identifier = asked.identifier;
    pid_t newcomer = -1;
    QuestionWatch watch{[&] {
        kill(identifier, SIGKILL);
        asked.wait();
        newcomer = forkAs(identifier);
    }};
    std::ostringstream out;
    std::ostream messages{&watch};
    const KestrelCore::StandardInput input{"y\n"};
    Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
    session.terminal.isInput = true;
    const ExitCode code = runCommandLine({"quit", std::to_string(identifier)}, session, {addQuitCommand});
    signal(SIGTERM, before);
    EXPECT_EQ(asked.identifier, -1) << "no question was asked";
    if (newcomer < 0) GTEST_SKIP() << "identifiers can't be chosen here";
    EXPECT_EQ(newcomer, identifier);
    EXPECT_EQ(code, ExitCode::failed);
    EXPECT_NE(out.str().find("No such process"), std::string::npos) << out.str();
    // It is the same program, so that nothing but the hold on the first one tells them apart.
    kill(newcomer, SIGKILL);
    int status = 0;
    waitpid(newcomer, &status, 0);
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

TEST(QuitCommand, listsSeveralAndAsksOnce) {
    Deaf one;
    Deaf two;
    const KestrelCore::StandardInput input{"n\n"};
    std::ostringstream out;
    std::ostringstream messages;
    Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
    session.terminal.isInput = true;
    EXPECT_EQ(runCommandLine({"quit", one.name}, session, {addQuitCommand}), ExitCode::failed);
    for (const pid_t identifier : {one.identifier, two.identifier}) {
        EXPECT_NE(messages.str().find(std::to_string(identifier)), std::string::npos) << messages.str();
    }
    EXPECT_NE(messages.str().find("Ask these 2 processes to quit?"), std::string::npos) << messages.str();
}

TEST(QuitCommand, suggestsANameThatHoldsTheGivenOne) {
    Deaf deaf;
    const Outcome outcome = run({"quit", "--yes", deaf.name.substr(0, deaf.name.size() - 1)});
    EXPECT_EQ(outcome.code, ExitCode::failed);
    EXPECT_NE(outcome.messages.find("Did you mean"), std::string::npos) << outcome.messages;
    EXPECT_EQ(kill(deaf.identifier, 0), 0);
}

TEST(ProcessesCommand, narrowsToWordsAndUser) {
    Deaf deaf;
    const Outcome outcome = run({"processes", deaf.name, "--json", "--every", "1ms", "--count", "1"});
    EXPECT_EQ(outcome.code, ExitCode::done);
    simdjson::dom::parser parser;
    const auto document = parser.parse(outcome.out);
    const simdjson::dom::array processes = document["processes"].get_array();
    ASSERT_EQ(processes.size(), 1U) << outcome.out;
    const auto process = processes.at(0);
    EXPECT_EQ(process["id"].get_int64().value(), deaf.identifier);
    EXPECT_EQ(process["parentId"].get_int64().value(), getpid());
    EXPECT_EQ(process["isKernelThread"].get_bool().value(), false);
    for (const char* key : {"user", "commandLine", "startedAt"}) {
        EXPECT_EQ(process[key].error(), simdjson::SUCCESS) << key;
    }
    const Outcome none = run({"processes", deaf.name, "--user", "no such user", "--every", "1ms", "--count", "1"});
    EXPECT_EQ(none.code, ExitCode::done);
    EXPECT_EQ(none.out, "");
    EXPECT_NE(none.messages.find("No process belongs to a user “no such user”. "), std::string::npos) << none.messages;
    const Outcome unmatched = run({"processes", "no-process-is-called-so", "--json"});
    EXPECT_NE(unmatched.messages.find("No process matches."), std::string::npos);
    EXPECT_NE(unmatched.out.find("\"processes\": []"), std::string::npos) << unmatched.out;
}

TEST(ProcessesCommand, drawsATree) {
    Deaf deaf;
    const Outcome outcome = run({"processes", "--tree", "--every", "1ms", "--count", "1"});
    const std::size_t parent = outcome.out.find("kestrel-tests");
    const std::size_t child = outcome.out.find("─ " + deaf.name);
    EXPECT_NE(child, std::string::npos) << outcome.out;
    EXPECT_LT(parent, child);
}

TEST(QuitCommand, printsJSONWhenTheAnswerIsNo) {
    Sleeper sleeper;
    const KestrelCore::StandardInput input{"n\n"};
    std::ostringstream out;
    std::ostringstream messages;
    Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
    session.terminal.isInput = true;
    const ExitCode code =
        runCommandLine({"quit", "--json", std::to_string(sleeper.identifier)}, session, {addQuitCommand});
    EXPECT_EQ(code, ExitCode::failed);
    EXPECT_EQ(out.str(), "{\"schema\": 1, \"results\": []}\n");
    EXPECT_EQ(kill(sleeper.identifier, 0), 0);
}

}  // namespace

}  // namespace KestrelCLI
