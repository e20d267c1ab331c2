#include "support/TerminalChild.hpp"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <utility>

namespace KestrelCLI {

namespace {

const std::string kestrel = KESTREL_BINARY_DIR "/kestrel";

/// `kestrel monitor` in a terminal of its own, as a person runs it.
class MonitorInTerminal : public TerminalChild {
public:
    MonitorInTerminal(unsigned short rows, unsigned short columns, const std::string& terminalType = "xterm-256color")
        : TerminalChild{rows, columns, terminalType, [] {
                            // One sample only, so that nothing but the first page and what is done to it makes output.
                            execl(kestrel.c_str(), "kestrel", "monitor", "--every", "1h", nullptr);
                            return 127;
                        }} {}
};

TEST(MonitorInTerminal, quitsOnQAndLeavesTheTerminalAsItWas) {
    MonitorInTerminal monitor{24, 80};
    ASSERT_TRUE(monitor.shows("PID")) << monitor.output();
    EXPECT_FALSE(monitor.hasEarlierSettings());  // keys come one by one and are not echoed
    monitor.type("xyz");
    monitor.type("q");
    const int status = monitor.end();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_TRUE(monitor.hasEarlierSettings());
    EXPECT_TRUE(monitor.hasEarlierScreen());
}

TEST(MonitorInTerminal, drawsItselfAnewWhenTheTerminalIsResized) {
    MonitorInTerminal monitor{24, 40};
    ASSERT_TRUE(monitor.shows("PID")) << monitor.output();
    // There is no room for a name yet; then there is, and rows for every process, so also for this one.
    EXPECT_EQ(monitor.output().find("kestrel-tests"), std::string::npos);
    monitor.resize(4000, 120);
    EXPECT_TRUE(monitor.shows("kestrel-tests"));
    for (const auto& [rows, columns] : {std::pair{1, 1}, std::pair{2, 200}, std::pair{24, 5}}) {
        monitor.resize(static_cast<unsigned short>(rows), static_cast<unsigned short>(columns));
    }
    monitor.forgetOutput();
    monitor.resize(30, 90);
    EXPECT_TRUE(monitor.shows("Memory"));
    monitor.type("q");
    const int status = monitor.end();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_TRUE(monitor.hasEarlierSettings());
}

TEST(MonitorInTerminal, endsOnControlCAsInterrupted) {
    MonitorInTerminal monitor{24, 80};
    ASSERT_TRUE(monitor.shows("PID")) << monitor.output();
    monitor.type("\x03");
    const int status = monitor.end();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 130) << status;
    EXPECT_TRUE(monitor.hasEarlierSettings());
    EXPECT_TRUE(monitor.hasEarlierScreen());
}

TEST(MonitorInTerminal, endsOnSIGTERMAsInterrupted) {
    MonitorInTerminal monitor{24, 80};
    ASSERT_TRUE(monitor.shows("PID")) << monitor.output();
    monitor.signal(SIGTERM);
    const int status = monitor.end();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 130) << status;
    EXPECT_TRUE(monitor.hasEarlierSettings());
    EXPECT_TRUE(monitor.hasEarlierScreen());
}

TEST(MonitorInTerminal, leavesTheTerminalAsItWasWhenItCrashes) {
    for (const int number : {SIGABRT, SIGSEGV, SIGBUS, SIGQUIT}) {
        MonitorInTerminal monitor{24, 80};
        ASSERT_TRUE(monitor.shows("PID")) << monitor.output();
        EXPECT_FALSE(monitor.hasEarlierSettings());
        monitor.signal(number);
        const int status = monitor.end();
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == number) << number << " " << status;
        EXPECT_TRUE(monitor.hasEarlierSettings()) << number;
        EXPECT_TRUE(monitor.hasEarlierScreen()) << number;
    }
}

TEST(MonitorInTerminal, comesBackFromBeingStopped) {
    MonitorInTerminal monitor{24, 80};
    ASSERT_TRUE(monitor.shows("PID")) << monitor.output();
    monitor.signal(SIGSTOP);
    monitor.signal(SIGCONT);
    monitor.forgetOutput();
    monitor.resize(25, 81);
    EXPECT_TRUE(monitor.shows("Memory"));
    monitor.type("q");
    EXPECT_EQ(monitor.end(), 0);
}

// The signal mostly comes while the page is still being drawn, since "PID" stands above the processes.
TEST(MonitorInTerminal, givesTheTerminalBackOnControlZUntilItGoesOn) {
    MonitorInTerminal monitor{24, 80};
    ASSERT_TRUE(monitor.shows("PID")) << monitor.output();
    monitor.signal(SIGTSTP);
    // A process group that nobody could let go on again is not stopped; the page is put aside and comes back all the
    // same.
    EXPECT_TRUE(monitor.shows("\x1b[?1049h", "\x1b[?1049l"));
    EXPECT_TRUE(monitor.shows("PID", "\x1b[?1049l"));
    monitor.type("q");
    EXPECT_EQ(monitor.end(), 0);
    EXPECT_TRUE(monitor.hasEarlierSettings());
    EXPECT_TRUE(monitor.hasEarlierScreen());
}

TEST(MonitorInTerminal, printsLinesOnATerminalThatCanShowNoPage) {
    MonitorInTerminal monitor{24, 200, "dumb"};
    ASSERT_TRUE(monitor.shows("thermal")) << monitor.output();
    EXPECT_TRUE(monitor.hasEarlierSettings());
    EXPECT_EQ(monitor.output().find('\x1b'), std::string::npos);
    monitor.signal(SIGINT);
    const int status = monitor.end();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 130) << status;
}

}  // namespace

}  // namespace KestrelCLI
