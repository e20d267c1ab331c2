#include "Platform/POSIX/HomeRules.hpp"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <pwd.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace KestrelCore {

std::optional<std::string> environmentValue(const char* name) {
    const char* value = secure_getenv(name);
    if (value == nullptr || *value == '\0') return std::nullopt;
    return value;
}

// Every program here follows HOME, the shell first of all: one that didn't would scan another home than its user stands
// in.
bool followsHomeVariable() { return true; }

// The users in /etc/passwd that are people's accounts.
std::vector<std::string> homesOfOrdinaryUsers() {
    constexpr uid_t first = 1000;
    constexpr uid_t nobody = 65534;
    std::vector<std::string> homes;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file{std::fopen("/etc/passwd", "re"), std::fclose};
    std::vector<char> buffer(std::size_t{1} << 16);
    passwd entry;
    passwd* found = nullptr;
    while (file && fgetpwent_r(file.get(), &entry, buffer.data(), buffer.size(), &found) == 0) {
        if (found->pw_uid >= first && found->pw_uid < nobody && found->pw_dir != nullptr)
            homes.emplace_back(found->pw_dir);
    }
    return homes;
}

// The kernel marks an executable that was removed or replaced meanwhile; the mark is cut unless a file of that very
// name exists.
std::string executablePath() {
    std::string path(PATH_MAX, '\0');
    const ssize_t size = readlink("/proc/self/exe", path.data(), path.size());
    if (size <= 0) return "";
    path.resize(static_cast<std::size_t>(size));
    constexpr std::string_view mark = " (deleted)";
    struct stat status;
    if (path.ends_with(mark) && lstat(path.c_str(), &status) != 0) path.resize(path.size() - mark.size());
    return path;
}

}  // namespace KestrelCore
