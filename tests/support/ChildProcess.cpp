#include "support/ChildProcess.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <grp.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#ifdef KESTREL_SANITIZED
// A child of a process with threads may start threads of its own: the tests that do so share nothing with the parent.
extern "C" const char* __tsan_default_options() { return "die_after_fork=0"; }
#endif

namespace KestrelCore {

namespace {

constexpr uid_t nobody = 65534;
constexpr int failed = 1;
constexpr int skipped = 77;

/// Empty, or why the setting can't be had here.
std::string enter(ChildSetting setting) {
    const auto failure = [](const char* what) { return std::string{what} + ": " + std::strerror(errno); };
    if (setting == ChildSetting::unprivileged && geteuid() == 0) {
        if (setgroups(0, nullptr) != 0 || setresgid(nobody, nobody, nobody) != 0) return failure("No other group");
        if (setresuid(nobody, nobody, nobody) != 0) return failure("No other user");
        // The kernel hides the process from its own user after that, and with it the way into a namespace.
        if (prctl(PR_SET_DUMPABLE, 1) != 0) return failure("No trace of itself");
    }
    if (setting == ChildSetting::mountNamespace) {
        const uid_t user = geteuid();
        const gid_t group = getegid();
        if (unshare(CLONE_NEWNS | (user == 0 ? 0 : CLONE_NEWUSER)) != 0) return failure("No mount namespace");
        if (user != 0) {
            std::ofstream{"/proc/self/setgroups"} << "deny";
            std::ofstream{"/proc/self/uid_map"} << "0 " << user << " 1";
            std::ofstream{"/proc/self/gid_map"} << "0 " << group << " 1";
        }
        if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return failure("No private mounts");
    }
    return {};
}

int run(ChildSetting setting, const std::function<void()>& body) {
    if (const std::string refusal = enter(setting); !refusal.empty()) {
        std::printf("%s\n", refusal.c_str());
        return skipped;
    }
    try {
        body();
    } catch (const std::exception& error) {
        std::printf("Exception in the child: %s\n", error.what());
        return failed;
    }
    if (testing::Test::HasFailure()) return failed;
    return testing::Test::IsSkipped() ? skipped : 0;
}

}  // namespace

void inChild(ChildSetting setting, const std::function<void()>& body) {
    std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_GE(child, 0) << std::strerror(errno);
    if (child == 0) {
        const int code = run(setting, body);
        std::fflush(nullptr);
        _exit(code);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) ASSERT_EQ(errno, EINTR);
    if (WIFEXITED(status) && WEXITSTATUS(status) == skipped) GTEST_SKIP() << "the reason is printed above";
    EXPECT_TRUE(WIFEXITED(status)) << "the child was ended by signal " << WTERMSIG(status);
    if (WIFEXITED(status)) {
        EXPECT_EQ(WEXITSTATUS(status), 0) << "the failures are printed above";
    }
}

}  // namespace KestrelCore
