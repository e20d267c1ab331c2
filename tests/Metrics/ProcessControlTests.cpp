#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Metrics/SystemMetrics.hpp"
#include "KestrelCore/Model/KestrelError.hpp"

#include "support/MonitoringFakes.hpp"
#include "support/SystemCallFilter.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <limits>
#include <mutex>
#include <spawn.h>
#include <string>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace KestrelCore {
namespace {

namespace fs = std::filesystem;
using Testing::FakeProcesses;

const Text protection = "Kestrel protects itself and critical system processes.";
const Text hasExited = "That process has already exited.";
const Text isAnother = "The PID now belongs to a different process, so Kestrel left it alone.";

/// What the error of `action` says; fails the test when there is none.
KestrelError errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const KestrelError& error) {
        return error;
    }
    ADD_FAILURE() << "nothing was thrown";
    return KestrelError::unavailable("");
}

// ---- With a fake system --------------------------------------------------------------------------------------------

/// Signals that are noted rather than sent.
struct FakeSignals final : ProcessSignals {
    struct Handle final : ProcessHandle {
        Handle(FakeSignals& owner, std::int32_t identifier) : owner{owner}, identifier{identifier} {}
        void send(ProcessSignal signal) override {
            if (owner.failureOfSignal != 0) throw PlatformError::posix(owner.failureOfSignal);
            owner.signalled.push_back(identifier);
            owner.sent.push_back(signal);
        }
        bool hasExited() override { return false; }
        FakeSignals& owner;
        std::int32_t identifier;
    };

    [[nodiscard]] std::int32_t ownIdentifier() const override { return 4711; }
    [[nodiscard]] std::unique_ptr<ProcessHandle> hold(std::int32_t identifier) override {
        if (failureOfHold != 0) throw PlatformError::posix(failureOfHold);
        if (whenHeld) whenHeld();
        return std::make_unique<Handle>(*this, identifier);
    }

    int failureOfHold = 0;
    int failureOfSignal = 0;
    std::function<void()> whenHeld;
    std::vector<std::int32_t> signalled;
    std::vector<ProcessSignal> sent;
};

void terminate(const ProcessSample& sample, ProcessInfo& info, ProcessSignals& signals) {
    sendSignal(sample, ProcessSignal::quit, info, signals);
}

struct ProcessControlTest : testing::Test {
    std::shared_ptr<FakeProcesses> processes = std::make_shared<FakeProcesses>();
    FakeProcesses::Info info{processes};
    FakeSignals signals;

    ProcessSample running(std::int32_t identifier, const char* path) {
        processes->add(identifier, {.name = Text{"tool"}, .executablePath = Text{path}});
        return {.id = identifier, .name = "tool", .executablePath = Text{path}};
    }
};

TEST_F(ProcessControlTest, refusesTheSystemItselfAndTheProtectedNames) {
    const std::pair<std::int32_t, const char*> refused[] = {{0, "x"},
                                                            {1, "x"},
                                                            {-1, "x"},
                                                            {-500, "x"},
                                                            {std::numeric_limits<int>::min(), "x"},
                                                            {4711, "x"},
                                                            {500, "kernel_task"},
                                                            {500, "launchd"},
                                                            {500, "WindowServer"},
                                                            {500, "loginwindow"}};
    for (const auto& [identifier, name] : refused) {
        const ProcessSample sample{.id = identifier, .name = name};
        EXPECT_FALSE(canTerminate(sample, signals)) << identifier << name;
        const KestrelError error = errorOf([&] { terminate(sample, info, signals); });
        EXPECT_EQ(error, KestrelError::safetyViolation(protection));
    }
    EXPECT_TRUE(signals.signalled.empty());
}

TEST_F(ProcessControlTest, takesNamesByTheirExactSpelling) {
    for (const char* name : {"windowserver", "Launchd", "launchd ", "xlaunchd", ""}) {
        EXPECT_TRUE(canTerminate({.id = 500, .name = name}, signals)) << name;
    }
    EXPECT_TRUE(canTerminate({.id = 2, .name = "x"}, signals));
}

TEST_F(ProcessControlTest, signalsTheProcessThatWasSampled) {
    const ProcessSample sample = running(500, "/usr/bin/tool");
    terminate(sample, info, signals);
    EXPECT_EQ(signals.signalled, std::vector<std::int32_t>{500});
}

TEST_F(ProcessControlTest, neverSignalsAnIdentifierThatAnotherExecutableRuns) {
    const ProcessSample sample = running(500, "/usr/bin/tool");
    processes->details[500].executablePath = Text{"/usr/bin/other"};
    EXPECT_EQ(errorOf([&] { terminate(sample, info, signals); }), KestrelError::staleItem(isAnother));
    EXPECT_TRUE(signals.signalled.empty());
}

TEST_F(ProcessControlTest, looksAtTheProcessOnlyWhenItIsHeld) {
    const ProcessSample sample = running(500, "/usr/bin/tool");
    // The identifier is given away at the last moment before the check.
    signals.whenHeld = [this] { processes->details[500].executablePath = Text{"/usr/bin/other"}; };
    EXPECT_EQ(errorOf([&] { terminate(sample, info, signals); }), KestrelError::staleItem(isAnother));
    EXPECT_TRUE(signals.signalled.empty());
}

TEST_F(ProcessControlTest, saysThatAProcessHasExited) {
    const ProcessSample sample = running(500, "/usr/bin/tool");
    processes->details.erase(500);
    EXPECT_EQ(errorOf([&] { terminate(sample, info, signals); }), KestrelError::staleItem(hasExited));
    signals.failureOfHold = ESRCH;
    EXPECT_EQ(errorOf([&] { terminate(sample, info, signals); }), KestrelError::staleItem(hasExited));
    EXPECT_TRUE(signals.signalled.empty());
}

TEST_F(ProcessControlTest, goesByTheIdentifierAloneWithoutAPath) {
    terminate({.id = 500, .name = "tool"}, info, signals);
    EXPECT_EQ(signals.signalled, std::vector<std::int32_t>{500});
    signals.failureOfHold = ESRCH;
    EXPECT_EQ(errorOf([&] { terminate({.id = 500, .name = "tool"}, info, signals); }),
              KestrelError::unavailable("No such process"));
}

TEST_F(ProcessControlTest, passesTheSystemsTextOn) {
    const ProcessSample sample = running(500, "/usr/bin/tool");
    signals.failureOfSignal = EPERM;
    EXPECT_EQ(errorOf([&] { terminate(sample, info, signals); }), KestrelError::unavailable("Operation not permitted"));
    signals.failureOfSignal = ESRCH;
    EXPECT_EQ(errorOf([&] { terminate(sample, info, signals); }), KestrelError::unavailable("No such process"));
    signals.failureOfHold = EMFILE;
    EXPECT_EQ(errorOf([&] { terminate(sample, info, signals); }), KestrelError::unavailable("Too many open files"));
}

TEST_F(ProcessControlTest, checksEverySignalAlike) {
    const ProcessSample sample = running(500, "/usr/bin/tool");
    for (const ProcessSignal signal : {ProcessSignal::forceQuit, ProcessSignal::freeze, ProcessSignal::resume}) {
        sendSignal(sample, signal, info, signals);
        EXPECT_EQ(signals.sent.back(), signal);
        EXPECT_EQ(errorOf([&] { sendSignal({.id = 1, .name = "x"}, signal, info, signals); }).errorCase(),
                  KestrelError::Case::safetyViolation);
        processes->details[500].executablePath = Text{"/usr/bin/other"};
        EXPECT_EQ(errorOf([&] { sendSignal(sample, signal, info, signals); }), KestrelError::staleItem(isAnother));
        processes->details[500].executablePath = Text{"/usr/bin/tool"};
    }
    EXPECT_EQ(signals.sent.size(), 3U);
}

// ---- With real processes -------------------------------------------------------------------------------------------

/// Programs in a folder of their own that wait for ever, or do what a shell line says.
struct Child {
    explicit Child(std::vector<std::string> arguments) {
        std::vector<char*> pointers;
        for (std::string& argument : arguments) pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        if (posix_spawn(&identifier, pointers[0], nullptr, nullptr, pointers.data(), environ) != 0) identifier = -1;
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() { end(); }

    /// The signal that ended it; 0 when it ended by itself.
    int wait() {
        int status = 0;
        waitpid(identifier, &status, 0);
        identifier = -1;
        return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    }
    void end() {
        if (identifier <= 0) return;
        kill(identifier, SIGKILL);
        wait();
    }
    [[nodiscard]] bool isRunning() const {
        siginfo_t info{};
        return waitid(P_PID, static_cast<id_t>(identifier), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               info.si_pid == 0;
    }

    pid_t identifier = -1;
};

/// A child runs its program from the moment on at which it can be sampled under that path: before, it is a copy of
/// this process.
std::optional<ProcessSample> sampleOf(const Child& child, const std::string& path) {
    ProcessSampler sampler;
    while (child.isRunning()) {
        for (const ProcessSample& sample : sampler.sample()) {
            if (sample.id == child.identifier && sample.executablePath == Text{path}) return sample;
        }
    }
    return std::nullopt;
}

struct RealProcessControlTest : testing::Test {
    TemporaryFolder folder;

    /// A copy of a program that waits, under a name of its own.
    [[nodiscard]] std::string program(const std::string& name) const {
        const fs::path path = fs::canonical(folder.path()) / name;
        fs::copy_file(fs::canonical("/bin/sleep"), path, fs::copy_options::overwrite_existing);
        return path.string();
    }
};

TEST_F(RealProcessControlTest, asksAProcessToQuit) {
    const std::string path = program("one");
    Child child{{path, "1000"}};
    const auto sample = sampleOf(child, path);
    ASSERT_TRUE(sample.has_value());
    EXPECT_EQ(sample->name, Text{"one"});
    EXPECT_TRUE(ProcessControl::canTerminate(*sample));
    ProcessControl::terminate(*sample);
    EXPECT_EQ(child.wait(), SIGTERM);
}

TEST_F(RealProcessControlTest, refusesThisProcess) {
    const ProcessSample self{.id = getpid(), .name = "kestrel-tests"};
    EXPECT_FALSE(ProcessControl::canTerminate(self));
    EXPECT_EQ(errorOf([&] { ProcessControl::terminate(self); }), KestrelError::safetyViolation(protection));
    EXPECT_FALSE(ProcessControl::canTerminate({.id = -1, .name = "everybody"}));
}

TEST_F(RealProcessControlTest, findsThatAProcessHasExitedAlsoWhileItIsAZombie) {
    const std::string path = program("one");
    Child child{{path, "1000"}};
    const auto sample = sampleOf(child, path);
    ASSERT_TRUE(sample.has_value());
    kill(child.identifier, SIGKILL);
    siginfo_t info{};
    waitid(P_PID, static_cast<id_t>(child.identifier), &info, WEXITED | WNOWAIT);
    EXPECT_EQ(errorOf([&] { ProcessControl::terminate(*sample); }), KestrelError::staleItem(hasExited));
    child.wait();
    EXPECT_EQ(errorOf([&] { ProcessControl::terminate(*sample); }), KestrelError::staleItem(hasExited));
}

TEST_F(RealProcessControlTest, leavesAProcessAloneThatRunsAnotherProgramByNow) {
    const std::string one = program("one");
    const std::string two = program("two");
    Child child{{two, "1000"}};
    auto sample = sampleOf(child, two);
    ASSERT_TRUE(sample.has_value());
    sample->executablePath = Text{one};
    EXPECT_EQ(errorOf([&] { ProcessControl::terminate(*sample); }), KestrelError::staleItem(isAnother));
    EXPECT_TRUE(child.isRunning());
}

TEST_F(RealProcessControlTest, knowsAProcessWhoseFileWasReplacedAndNoImpostor) {
    const std::string path = program("one");
    Child child{{path, "1000"}};
    const auto sample = sampleOf(child, path);
    ASSERT_TRUE(sample.has_value());
    fs::remove(path);
    (void)program("one");
    EXPECT_TRUE(sampleOf(child, path).has_value());

    // Really named as the kernel would name the removed file of the first.
    const std::string impostorPath = program("one (deleted)");
    Child impostor{{impostorPath, "1000"}};
    auto impostorSample = sampleOf(impostor, impostorPath);
    ASSERT_TRUE(impostorSample.has_value());
    impostorSample->executablePath = Text{path};
    EXPECT_EQ(errorOf([&] { ProcessControl::terminate(*impostorSample); }), KestrelError::staleItem(isAnother));
    EXPECT_TRUE(impostor.isRunning());

    // The file of that name exists by now, and the first process is still told apart from it.
    ProcessControl::terminate(*sample);
    EXPECT_EQ(child.wait(), SIGTERM);
}

TEST_F(RealProcessControlTest, freezesAProcessAndLetsItGoOn) {
    const std::string path = program("one");
    Child child{{path, "1000"}};
    const auto sample = sampleOf(child, path);
    ASSERT_TRUE(sample.has_value());
    siginfo_t told{};
    ProcessControl::freeze(*sample);
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child.identifier), &told, WSTOPPED), 0);
    EXPECT_EQ(told.si_code, CLD_STOPPED);
    ProcessControl::resume(*sample);
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child.identifier), &told, WCONTINUED), 0);
    EXPECT_EQ(told.si_code, CLD_CONTINUED);
    ProcessControl::forceQuit(*sample);
    EXPECT_EQ(child.wait(), SIGKILL);
}

TEST_F(RealProcessControlTest, keepsHoldOfAProcessUntilItHasEnded) {
    const std::string path = program("one");
    Child child{{path, "1000"}};
    const auto sample = sampleOf(child, path);
    ASSERT_TRUE(sample.has_value());
    HeldProcess held{*sample};
    EXPECT_FALSE(held.hasExited());
    held.terminate();
    siginfo_t told{};
    waitid(P_PID, static_cast<id_t>(child.identifier), &told, WEXITED | WNOWAIT);
    EXPECT_TRUE(held.hasExited());
    EXPECT_EQ(errorOf([&] { held.forceQuit(); }), KestrelError::staleItem(hasExited));
    EXPECT_EQ(child.wait(), SIGTERM);
    EXPECT_EQ(errorOf([&] { (void)HeldProcess{*sample}; }), KestrelError::staleItem(hasExited));
    EXPECT_EQ(errorOf([&] { (void)HeldProcess{{.id = 1, .name = "x"}}; }), KestrelError::safetyViolation(protection));
}

TEST_F(RealProcessControlTest, refusesTheIdentifierOfAThread) {
    std::mutex hold;
    hold.lock();
    std::promise<std::int32_t> identifier;
    std::thread other{[&] {
        identifier.set_value(static_cast<std::int32_t>(syscall(SYS_gettid)));
        const std::lock_guard guard{hold};
    }};
    const ProcessSample sample{.id = identifier.get_future().get(), .name = "a thread"};
    EXPECT_EQ(errorOf([&] { ProcessControl::terminate(sample); }), KestrelError::unavailable("No such process"));
    hold.unlock();
    other.join();
}

/// Runs `body` in a copy of this process; its result is the exit code of the copy.
int inChild(const std::function<int()>& body) {
    const pid_t child = fork();
    if (child == 0) _exit(body());
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(RealProcessControlTest, failsForAProcessOfAnotherUser) {
    if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
    const std::string path = program("one");
    Child child{{path, "1000"}};
    ASSERT_TRUE(sampleOf(child, path).has_value());
    const int code = inChild([&] {
        if (setuid(65534) != 0) return 2;
        try {
            ProcessControl::terminate({.id = child.identifier, .name = "one"});
        } catch (const KestrelError& error) {
            return error == KestrelError::unavailable("Operation not permitted") ? 0 : 3;
        }
        return 4;
    });
    EXPECT_EQ(code, 0);
    EXPECT_TRUE(child.isRunning());
}

TEST_F(RealProcessControlTest, signalsByIdentifierWhereThereAreNoProcessDescriptors) {
    for (const int refusal : {ENOSYS, EPERM}) {
        const std::string path = program("one");
        Child child{{path, "1000"}};
        const auto sample = sampleOf(child, path);
        ASSERT_TRUE(sample.has_value());
        const int code = inChild([&] {
            if (!refuseSystemCalls({SYS_pidfd_open, SYS_pidfd_send_signal}, refusal)) return 77;
            if (syscall(SYS_pidfd_open, getpid(), 0) != -1 || errno != refusal) return 2;
            try {
                ProcessControl::terminate(*sample);
            } catch (const KestrelError&) {
                return 3;
            }
            return 0;
        });
        if (code == 77) GTEST_SKIP() << "system call filters are not allowed here";
        EXPECT_EQ(code, 0);
        EXPECT_EQ(child.wait(), SIGTERM);
    }
}

// ---- With identifiers that are used again --------------------------------------------------------------------------

/// Starts `path` under the identifier `wanted`, which must be free. Works in a PID namespace of our own, where nobody
/// else starts anything.
std::unique_ptr<Child> startWithIdentifier(const std::string& path, pid_t wanted) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::ofstream{"/proc/sys/kernel/ns_last_pid"} << wanted - 1;
        auto child = std::make_unique<Child>(std::vector<std::string>{path, "1000"});
        if (child->identifier == wanted) return child;
    }
    return nullptr;
}

/// Runs inside a PID namespace, started by the test below.
TEST_F(RealProcessControlTest, DISABLED_insideANamespaceOfItsOwn) {
    const std::string one = program("one");
    const std::string two = program("two");
    {
        Child first{{one, "1000"}};
        const auto sample = sampleOf(first, one);
        ASSERT_TRUE(sample.has_value());
        first.end();
        const auto second = startWithIdentifier(two, sample->id);
        ASSERT_NE(second, nullptr);
        ASSERT_TRUE(sampleOf(*second, two).has_value());
        EXPECT_EQ(errorOf([&] { ProcessControl::terminate(*sample); }), KestrelError::staleItem(isAnother));
        EXPECT_TRUE(second->isRunning());
    }
    {
        // Used again between the check and the signal: what is held is still the first process, which is gone.
        Child first{{one, "1000"}};
        const pid_t identifier = first.identifier;
        const auto held = ProcessSignals::system()->hold(identifier);
        first.end();
        const auto second = startWithIdentifier(two, identifier);
        ASSERT_NE(second, nullptr);
        EXPECT_THROW(held->send(ProcessSignal::quit), PlatformError);
        EXPECT_TRUE(second->isRunning());
    }
}

TEST(ProcessControl, neverSignalsAReusedIdentifier) {
    if (std::system("unshare -Urpf --mount-proc true >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "PID namespaces are not available here";
    }
    const std::string self = fs::read_symlink("/proc/self/exe");
    const std::string command = "unshare -Urpf --mount-proc '" + self +
                                "' --gtest_also_run_disabled_tests"
                                " --gtest_filter=RealProcessControlTest.DISABLED_insideANamespaceOfItsOwn 2>&1";
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    char buffer[4096];
    for (std::size_t got = 0; (got = fread(buffer, 1, sizeof buffer, pipe)) > 0;) output.append(buffer, got);
    EXPECT_EQ(pclose(pipe), 0) << output;
    EXPECT_NE(output.find("1 test."), std::string::npos) << output;
}

}  // namespace
}  // namespace KestrelCore
