#include "store/ConfigurationFile.hpp"

#include "store/ConfigurationText.hpp"

#include <fmt/format.h>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

namespace KestrelCLI {

namespace {

/// Many times what a file that says all there is to say takes.
constexpr std::size_t mostBytes = 65'536;

class Descriptor {
public:
    explicit Descriptor(int descriptor) : descriptor_{descriptor} {}
    ~Descriptor() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    [[nodiscard]] int get() const { return descriptor_; }

private:
    int descriptor_;
};

/// Whether this user alone is in the group: many systems give everybody one, and let its files be written by it.
bool isGroupOfOne(gid_t group) {
    const struct passwd* const user = getpwuid(geteuid());
    if (user == nullptr || user->pw_gid != group) return false;
    const std::string name = user->pw_name;
    const struct group* const entry = getgrgid(group);
    return entry != nullptr && name == entry->gr_name && (entry->gr_mem == nullptr || *entry->gr_mem == nullptr);
}

/// Why what is in the file may not be this user's own choice; empty where it is.
std::string whyNotOwn(const struct stat& status) {
    if (status.st_uid != geteuid() && status.st_uid != 0) return "It belongs to another user, so nothing in it holds.";
    const bool isForGroup = (status.st_mode & S_IWGRP) != 0 && !isGroupOfOne(status.st_gid);
    if ((status.st_mode & S_IWOTH) == 0 && !isForGroup) return {};
    return fmt::format(
        "Other users may write to it (its mode is {:o}), so nothing in it holds. chmod go-w changes that.",
        status.st_mode & 07777U);
}

std::string whyNoFile(const struct stat& status) {
    if (S_ISDIR(status.st_mode)) return "It is a folder, and is to be a file.";
    return "It is no regular file.";
}

/// All of it, or a byte more than there may be.
std::optional<std::string> contents(int descriptor) {
    std::string text(mostBytes + 1, '\0');
    std::size_t length = 0;
    while (length < text.size()) {
        const ssize_t count = read(descriptor, text.data() + length, text.size() - length);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return std::nullopt;
        if (count == 0) break;
        length += static_cast<std::size_t>(count);
    }
    text.resize(length);
    return text;
}

/// Reads, or says why not.
std::string read(std::string_view home, Settings& settings) {
    // What is opened decides, not what its name meant before; a FIFO is not waited for. A link is followed: people keep
    // their settings elsewhere.
    const Descriptor file{open(settings.file.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)};
    if (file.get() < 0) {
        const int reason = errno;
        if (reason == ENOENT) return "It is a link that leads nowhere.";
        if (reason == ENXIO) return "It is no regular file.";  // a socket
        return fmt::format("It can't be read: {}.", std::strerror(reason));
    }
    struct stat status {};
    if (fstat(file.get(), &status) != 0) return fmt::format("It can't be read: {}.", std::strerror(errno));
    if (!S_ISREG(status.st_mode)) return whyNoFile(status);
    if (std::string why = whyNotOwn(status); !why.empty()) return why;
    const auto text = contents(file.get());
    if (!text) return fmt::format("It can't be read: {}.", std::strerror(errno));
    // Its length by the system is no promise: it may grow while it is read.
    if (text->size() > mostBytes)
        return fmt::format("It has more than {} bytes, and so is no configuration.", mostBytes);
    readConfiguration(*text, home, settings);
    return {};
}

}  // namespace

std::string configurationPath(std::string_view home, const std::optional<std::string>& configurationHome) {
    constexpr const char* name = "/kestrel/config.toml";
    // A relative one is invalid by its own definition, and would follow the working directory.
    if (configurationHome && configurationHome->starts_with('/')) return *configurationHome + name;
    return home.empty() ? std::string{} : std::string{home} + "/.config" + name;
}

void readConfigurationFile(std::string_view home, Settings& settings) {
    struct stat status {};
    settings.hasFile = !settings.file.empty() && lstat(settings.file.c_str(), &status) == 0;
    if (!settings.hasFile) return;
    if (std::string why = read(home, settings); !why.empty())
        settings.problems.push_back({.line = 0, .message = std::move(why)});
}

std::string sentenceOf(const Settings& settings, const SettingProblem& problem) {
    if (problem.line == 0) return fmt::format("{}: {}", settings.file, problem.message);
    return fmt::format("{}:{}: {}", settings.file, problem.line, problem.message);
}

}  // namespace KestrelCLI
