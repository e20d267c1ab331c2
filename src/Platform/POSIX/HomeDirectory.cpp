#include "Platform/HomeDirectory.hpp"

#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "Platform/POSIX/HomeRules.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <memory>
#include <optional>
#include <pwd.h>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace KestrelCore {
namespace {

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
    // One that is not absolute would mean another place in each folder.
    const auto home = environmentValue("HOME");
    if (followsHomeVariable() && home && home->starts_with('/')) return *home;
    // A program that was given root's rights means the user who started it; any other one the user whose rights it has.
    const uid_t effective = geteuid();
    return homeOfUser(effective == 0 ? getuid() : effective).value_or(home.value_or("/var/empty"));
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
