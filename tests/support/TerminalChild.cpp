#include "support/TerminalChild.hpp"

#include <gtest/gtest.h>

#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <tuple>

namespace KestrelCLI {

TerminalChild::TerminalChild(unsigned short rows, unsigned short columns, const std::string& terminalType,
                             const std::function<int()>& task) {
    const winsize size{.ws_row = rows, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
    EXPECT_EQ(openpty(&master_, &terminal_, nullptr, nullptr, &size), 0);
    EXPECT_EQ(tcgetattr(terminal_, &before_), 0);
    process_ = fork();
    if (process_ != 0) return;
    setsid();
    ioctl(terminal_, TIOCSCTTY, 0);
    for (const int descriptor : {0, 1, 2}) dup2(terminal_, descriptor);
    close(master_);
    close(terminal_);
    setenv("TERM", terminalType.c_str(), 1);
    setenv("LC_ALL", "C.UTF-8", 1);
    for (const char* const name : {"COLORTERM", "NO_COLOR", "TMUX", "ESCDELAY"}) unsetenv(name);
    std::setlocale(LC_ALL, "");
    _exit(task());
}

TerminalChild::~TerminalChild() {
    if (process_ > 0) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    if (master_ >= 0) close(master_);
    if (terminal_ >= 0) close(terminal_);
}

bool TerminalChild::shows(std::string_view text) {
    while (output_.find(text) == std::string::npos) {
        if (!readMore()) return output_.find(text) != std::string::npos;
    }
    return true;
}

bool TerminalChild::shows(std::string_view text, std::string_view earlier) {
    const auto isThere = [&] {
        const std::size_t at = output_.find(earlier);
        return at != std::string::npos && output_.find(text, at) != std::string::npos;
    };
    while (!isThere()) {
        if (!readMore()) return isThere();
    }
    return true;
}

void TerminalChild::type(std::string_view keys) const {
    EXPECT_EQ(write(master_, keys.data(), keys.size()), std::ssize(keys));
}

void TerminalChild::signal(int number) const { kill(process_, number); }

void TerminalChild::resize(unsigned short rows, unsigned short columns) const {
    const winsize size{.ws_row = rows, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
    EXPECT_EQ(ioctl(master_, TIOCSWINSZ, &size), 0);
}

void TerminalChild::hangUp() {
    for (int* const descriptor : {&master_, &terminal_}) {
        close(*descriptor);
        *descriptor = -1;
    }
}

int TerminalChild::end() {
    int status = 0;
    while (waitpid(process_, &status, WNOHANG) == 0) readMore();
    process_ = -1;
    while (readMore()) {
    }
    return status;
}

bool TerminalChild::hasEarlierSettings() const {
    termios now{};
    EXPECT_EQ(tcgetattr(terminal_, &now), 0);
    return std::tie(now.c_iflag, now.c_oflag, now.c_cflag, now.c_lflag) ==
               std::tie(before_.c_iflag, before_.c_oflag, before_.c_cflag, before_.c_lflag) &&
           std::ranges::equal(now.c_cc, before_.c_cc);
}

bool TerminalChild::hasEarlierScreen() const {
    // Behind the last one, so that 0 is none.
    const auto last = [this](std::string_view sequence) { return output_.rfind(sequence) + 1; };
    return last("\x1b[?1049l") > last("\x1b[?1049h") && last("\x1b[?25h") > last("\x1b[?25l");
}

/// False when nothing came for a moment (and, while the program runs, something may still).
bool TerminalChild::readMore() {
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

bool TerminalChild::waitStatusIsOpen() const {
    siginfo_t info{};
    return waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == 0;
}

}  // namespace KestrelCLI
