#include "fleet/Credentials.hpp"

#include "output/Session.hpp"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace KestrelCLI {

namespace {

constexpr std::size_t mostBytes = 4096;

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string{} : std::string{value};
}

class Descriptor {
public:
    explicit Descriptor(const std::string& path)
        // What is opened decides, not what its name meant before; a FIFO is not waited for.
        : descriptor_{open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)} {}
    ~Descriptor() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    [[nodiscard]] int get() const { return descriptor_; }

private:
    int descriptor_;
};

std::string contents(const std::string& path) {
    const auto failed = [&](int reason) {
        return std::runtime_error{fmt::format("{}: It can't be read: {}.", path, std::strerror(reason))};
    };
    const Descriptor file{path};
    if (file.get() < 0) throw failed(errno);
    struct stat status {};
    if (fstat(file.get(), &status) != 0) throw failed(errno);
    if (!S_ISREG(status.st_mode)) throw std::runtime_error{fmt::format("{}: It is no regular file.", path)};
    if (status.st_uid != geteuid() && status.st_uid != 0)
        throw std::runtime_error{fmt::format("{}: It belongs to another user, who would know the password.", path)};
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        throw std::runtime_error{fmt::format("{}: Other users may read it (its mode is {:o}): chmod 600 changes that.",
                                             path, status.st_mode & 07777U)};
    }
    std::string text(mostBytes + 1, '\0');
    std::size_t length = 0;
    while (length < text.size()) {
        const ssize_t count = read(file.get(), text.data() + length, text.size() - length);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw failed(errno);
        if (count == 0) break;
        length += static_cast<std::size_t>(count);
    }
    text.resize(length);
    return text;
}

std::string_view nextLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

/// As basic authentication spells it.
std::string base64(std::string_view bytes) {
    constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string result;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const auto at = [&](std::size_t offset) -> std::uint32_t {
            return i + offset < bytes.size() ? static_cast<unsigned char>(bytes[i + offset]) : 0U;
        };
        const std::uint32_t group = at(0) << 16U | at(1) << 8U | at(2);
        for (std::uint32_t digit = 0; digit < 4; ++digit)
            result += i + digit <= bytes.size() ? digits[group >> (18U - 6U * digit) & 63U] : '=';
    }
    return result;
}

void replaceAll(std::string& text, std::string_view what) {
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at)) {
        text.replace(at, what.size(), "…");
        at += std::string_view{"…"}.size();
    }
}

}  // namespace

Credentials Credentials::parse(std::string_view text, std::string_view name) {
    if (text.size() > mostBytes)
        throw std::runtime_error{fmt::format("{}: It is to be two lines, the user and the password.", name)};
    Credentials credentials;
    credentials.user = nextLine(text);
    credentials.password = nextLine(text);
    if (credentials.user.empty() || !text.empty())
        throw std::runtime_error{fmt::format("{}: It is to be two lines, the user and the password.", name)};
    return credentials;
}

Credentials Credentials::current(const std::optional<std::string>& file) {
    Credentials credentials =
        file ? parse(contents(*file), *file)
             : Credentials{.user = variable("KESTREL_FLEET_USER"), .password = variable("KESTREL_FLEET_PASSWORD")};
    if (credentials.user.empty() && !credentials.password.empty())
        throw UsageError{"KESTREL_FLEET_PASSWORD needs KESTREL_FLEET_USER, whose password it is."};
    if (credentials.user.find(':') != std::string::npos)
        throw UsageError{
            "The name of a server’s user may have no colon: what follows would be taken for the password."};
    return credentials;
}

std::string Credentials::scrubbed(std::string text) const {
    if (password.empty()) return text;
    replaceAll(text, base64(user + ':' + password));
    replaceAll(text, password);
    return text;
}

}  // namespace KestrelCLI
