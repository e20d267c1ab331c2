#include "terminal/Shell.hpp"

#include <fmt/format.h>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

extern "C" char** environ;  // which no header of POSIX declares  NOLINT(readability-redundant-declaration)

namespace KestrelCLI {

std::string runShell(const std::string& path) {
    const char* const wanted = std::getenv("SHELL");
    const std::string shell = wanted != nullptr && *wanted == '/' ? wanted : "/bin/sh";

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
    if (posix_spawn_file_actions_init(&actions) != 0) return "The shell can't be started.";
    if (posix_spawnattr_init(&attributes) != 0) {
        posix_spawn_file_actions_destroy(&actions);
        return "The shell can't be started.";
    }
    posix_spawn_file_actions_addchdir_np(&actions, path.c_str());
    // This program's handlers and what it ignores are not the shell's.
    sigset_t usual{};
    sigemptyset(&usual);
    for (const int number : {SIGINT, SIGQUIT, SIGTSTP, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ, SIGTTOU})
        sigaddset(&usual, number);
    posix_spawnattr_setsigdefault(&attributes, &usual);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);

    // Ctrl-C and Ctrl-Z at the shell's prompt are for the shell.
    std::array<struct sigaction, 3> earlier{};
    constexpr std::array keys{SIGINT, SIGQUIT, SIGTSTP};
    for (std::size_t i = 0; i < keys.size(); ++i) {
        struct sigaction ignored {};
        ignored.sa_handler = SIG_IGN;
        sigaction(keys[i], &ignored, &earlier[i]);
    }
    std::string name = shell;
    std::array<char*, 2> arguments{name.data(), nullptr};
    pid_t child = 0;
    const int error = posix_spawn(&child, shell.c_str(), &actions, &attributes, arguments.data(), environ);
    if (error == 0) {
        int status = 0;
        while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
    }
    for (std::size_t i = 0; i < keys.size(); ++i) sigaction(keys[i], &earlier[i], nullptr);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error == 0) return {};
    return fmt::format("{} can't be started in this folder: {}.", shell, std::strerror(error));
}

}  // namespace KestrelCLI
