#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <tuple>

namespace KestrelCLI {

namespace {

const std::string kestrel = KESTREL_BINARY_DIR "/kestrel";

/// `kestrel monitor` in a terminal of its own, as a person runs it.
class MonitorInTerminal {
public:
    MonitorInTerminal(unsigned short rows, unsigned short columns, const std::string& terminalType = "xterm-256color") {
        const winsize size{.ws_row = rows, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
        EXPECT_EQ(openpty(&master_, &terminal_, nullptr, nullptr, &size), 0);
        EXPECT_EQ(tcgetattr(terminal_, &before_), 0);
        process_ = fork();
        if (process_ == 0) {
            setsid();
            ioctl(terminal_, TIOCSCTTY, 0);
            for (const int descriptor : {0, 1, 2}) dup2(terminal_, descriptor);
            close(master_);
            setenv("TERM", terminalType.c_str(), 1);
            setenv("LC_ALL", "C.UTF-8", 1);
            // One sample only, so that nothing but the first page and what is done to it makes output.
            execl(kestrel.c_str(), "kestrel", "monitor", "--every", "1h", nullptr);
            _exit(127);
        }
    }
    MonitorInTerminal(const MonitorInTerminal&) = delete;
    MonitorInTerminal& operator=(const MonitorInTerminal&) = delete;
    ~MonitorInTerminal() {
        if (process_ > 0) {
            kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
        }
        close(master_);
        close(terminal_);
    }

    /// Reads what is shown until `text` is; false when the program ends without it.
    bool shows(std::string_view text) {
        while (output_.find(text) == std::string::npos) {
            if (!readMore()) return output_.find(text) != std::string::npos;
        }
        return true;
    }
    /// The same with a text that comes after another.
    bool shows(std::string_view text, std::string_view earlier) {
        const auto isThere = [&] {
            const std::size_t at = output_.find(earlier);
            return at != std::string::npos && output_.find(text, at) != std::string::npos;
        };
        while (!isThere()) {
            if (!readMore()) return isThere();
        }
        return true;
    }
    void forgetOutput() { output_.clear(); }
    [[nodiscard]] const std::string& output() const { return output_; }

    void type(std::string_view keys) const { EXPECT_EQ(write(master_, keys.data(), keys.size()), std::ssize(keys)); }
    void signal(int number) const { kill(process_, number); }
    void resize(unsigned short rows, unsigned short columns) const {
        const winsize size{.ws_row = rows, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
        EXPECT_EQ(ioctl(master_, TIOCSWINSZ, &size), 0);
    }

    /// The status of `waitpid`, after everything that was still shown was read.
    int end() {
        int status = 0;
        while (waitpid(process_, &status, WNOHANG) == 0) readMore();
        process_ = -1;
        while (readMore()) {
        }
        return status;
    }

    /// Whether the terminal's settings are those from before the program.
    [[nodiscard]] bool hasEarlierSettings() const {
        termios now{};
        EXPECT_EQ(tcgetattr(terminal_, &now), 0);
        return std::tie(now.c_iflag, now.c_oflag, now.c_cflag, now.c_lflag) ==
                   std::tie(before_.c_iflag, before_.c_oflag, before_.c_cflag, before_.c_lflag) &&
               std::ranges::equal(now.c_cc, before_.c_cc);
    }
    /// Whether the last the terminal was told is to show the earlier screen and the cursor.
    [[nodiscard]] bool hasEarlierScreen() const {
        const auto last = [this](std::string_view sequence) { return output_.rfind(sequence); };
        return last("\x1b[?1049l") != std::string::npos && last("\x1b[?1049l") > last("\x1b[?1049h") &&
               last("\x1b[?25h") != std::string::npos && last("\x1b[?25h") > last("\x1b[?25l");
    }

private:
    /// False when nothing came for a moment (and, while the program runs, something may still).
    bool readMore() {
        pollfd waited{.fd = master_, .events = POLLIN, .revents = 0};
        constexpr int patienceMilliseconds = 20'000;
        if (poll(&waited, 1, process_ > 0 ? 100 : 0) <= 0) {
            quietMilliseconds_ += 100;
            return process_ > 0 && quietMilliseconds_ < patienceMilliseconds && waitStatusIsOpen();
        }
        char buffer[4096];
        const ssize_t got = read(master_, buffer, sizeof buffer);
        if (got <= 0) return false;
        output_.append(buffer, static_cast<std::size_t>(got));
        quietMilliseconds_ = 0;
        return true;
    }
    [[nodiscard]] bool waitStatusIsOpen() const {
        siginfo_t info{};
        return waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == 0;
    }

    int master_ = -1;
    int terminal_ = -1;
    termios before_{};
    pid_t process_ = -1;
    std::string output_;
    int quietMilliseconds_ = 0;
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
