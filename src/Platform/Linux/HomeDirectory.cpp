#include "Platform/HomeDirectory.hpp"

#include "KestrelCore/Base/URL.hpp"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <optional>
#include <pwd.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace KestrelCore {
namespace {

/// A set and non-empty environment variable; none in a program that runs with raised rights.
std::optional<std::string> environmentValue(const char* name) {
    const char* value = secure_getenv(name);
    if (value == nullptr || *value == '\0') return std::nullopt;
    return value;
}

std::optional<std::string> homeOfUser(uid_t user) {
    constexpr std::size_t mostBytes = std::size_t{1} << 20;
    for (std::vector<char> buffer(1024); buffer.size() <= mostBytes; buffer.resize(buffer.size() * 2)) {
        passwd entry;
        passwd* found = nullptr;
        const int error = getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found);
        if (error == ERANGE) continue;
        if (error != 0 || found == nullptr || found->pw_dir == nullptr || *found->pw_dir == '\0') return std::nullopt;
        return found->pw_dir;
    }
    return std::nullopt;
}

std::string unstandardizedHome() {
    if (const auto fixed = environmentValue("CFFIXED_USER_HOME")) return *fixed;
    const uid_t effective = geteuid();
    if (const auto home = homeOfUser(effective == 0 ? getuid() : effective)) return *home;
    if (const auto home = environmentValue("HOME")) return *home;
    return "/var/empty";
}

/// Where the kernel says that the running executable lies. It marks one that was removed or replaced meanwhile; the
/// mark is cut unless a file of that very name exists.
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

}  // namespace

Text currentHomeDirectory() { return URL::fromPath(unstandardizedHome()).standardized().path(); }

Text mainExecutablePath() { return executablePath(); }

Text mainBundlePath() {
    const Text folder = Path::deletingLastComponent(mainExecutablePath());
    const Text contents = Path::deletingLastComponent(folder);
    if (Path::lastComponent(folder) == "MacOS" && Path::lastComponent(contents) == "Contents")
        return Path::standardized(Path::deletingLastComponent(contents));
    return Path::standardized(folder);
}

}  // namespace KestrelCore
