#include "Platform/HomeDirectory.hpp"

#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Base/URL.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <pwd.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
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
    // The system says when the buffer is too small, but not how large it must be.
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
    // Every program here follows HOME, the shell first of all: one that didn't would scan another home than its user
    // stands in. One that is not absolute would mean another place in each folder.
    const auto home = environmentValue("HOME");
    if (home && home->starts_with('/')) return *home;
    // A program that was given root's rights means the user who started it; any other one the user whose rights it has.
    const uid_t effective = geteuid();
    return homeOfUser(effective == 0 ? getuid() : effective).value_or(home.value_or("/var/empty"));
}

/// The homes of the users in /etc/passwd that are people's accounts. Users that a network knows are left out: there may
/// be a hundred thousand of them, and a server that must answer first.
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

std::string currentHomePath() {
    std::string home = unstandardizedHome();
    const Text text{home};
    if (text.view() == home) return URL::fromPath(text).standardized().path().string();
    while (home.size() > 1 && home.ends_with('/')) home.pop_back();
    return home;
}

Text currentHomeDirectory() {
    const std::string home = currentHomePath();
    Text text{home};
    if (text.view() == home) return text;
    throw PlatformError{PlatformError::Domain::fileManager, PlatformError::fileReadInvalidFileName,
                        "The name of the home directory is not UTF-8, so nothing in it can be named.",
                        std::make_shared<const PlatformError>(PlatformError::posix(EILSEQ))};
}

std::vector<std::string> knownHomeDirectories() {
    std::vector<std::string> homes{currentHomePath()};
    const auto add = [&homes](const std::optional<std::string>& home) {
        if (home) homes.push_back(*home);
    };
    add(environmentValue("HOME"));
    add(homeOfUser(getuid()));
    add(homeOfUser(geteuid()));
    // The user who became root has a home too. A number that is none, or that names nobody, adds nothing.
    for (const char* variable : {"SUDO_UID", "PKEXEC_UID"}) {
        const std::string text = environmentValue(variable).value_or("");
        uid_t user = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), user);
        if (!text.empty() && error == std::errc{} && end == text.data() + text.size()) add(homeOfUser(user));
    }
    for (std::string& home : homesOfOrdinaryUsers()) homes.push_back(std::move(home));
    std::erase_if(homes, [](const std::string& home) {
        return !home.starts_with('/') || home.find_first_not_of('/') == std::string::npos;
    });
    std::sort(homes.begin(), homes.end());
    homes.erase(std::unique(homes.begin(), homes.end()), homes.end());
    return homes;
}

Text mainExecutablePath() { return executablePath(); }

Text mainBundlePath() {
    const Text folder = Path::deletingLastComponent(mainExecutablePath());
    const Text contents = Path::deletingLastComponent(folder);
    if (Path::lastComponent(folder) == "MacOS" && Path::lastComponent(contents) == "Contents")
        return Path::standardized(Path::deletingLastComponent(contents));
    return Path::standardized(folder);
}

}  // namespace KestrelCore
