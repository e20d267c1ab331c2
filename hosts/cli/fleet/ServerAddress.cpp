#include "fleet/ServerAddress.hpp"

#include "output/Session.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>

namespace KestrelCLI {

namespace {

constexpr std::string_view example = "https://HOST:8443/DATABASE";

int digitOf(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result += text[i];
            continue;
        }
        if (text.size() - i < 3) return std::nullopt;
        const int high = digitOf(text[i + 1]);
        const int low = digitOf(text[i + 2]);
        if (high < 0 || low < 0) return std::nullopt;
        result += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return result;
}

/// In any case, as schemes are.
bool beginsWithScheme(std::string_view url, std::string_view scheme) {
    return url.size() >= scheme.size() &&
           std::equal(scheme.begin(), scheme.end(), url.begin(), [](char wanted, char c) {
               return wanted == (c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c);
           });
}

/// What no name and no address of a host has: nothing else may become part of a request.
bool isHost(std::string_view host) {
    return !host.empty() && std::ranges::all_of(host, [](char c) {
        const bool isASCII = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        return isASCII || c == '.' || c == '-' || c == '_' || c == ':';
    });
}

}  // namespace

ServerAddress ServerAddress::parse(std::string_view url) {
    ServerAddress address;
    if (beginsWithScheme(url, "https://")) {
        address.isEncrypted = true;
        url.remove_prefix(8);
    } else if (beginsWithScheme(url, "http://")) {
        url.remove_prefix(7);
    } else {
        throw UsageError{fmt::format("A server is named by the URL of its HTTP interface, such as {}.", example)};
    }
    // Everything before an @ may be a password: it is not repeated, nor looked at.
    if (url.find('@') != std::string_view::npos) {
        throw UsageError{
            "The URL may hold no user and no password, which everybody could read in the list of processes: "
            "KESTREL_FLEET_USER and KESTREL_FLEET_PASSWORD, or a file with --credentials, take them."};
    }
    const std::size_t slash = url.find('/');
    std::string_view authority = url.substr(0, slash);
    std::string_view database = slash == std::string_view::npos ? std::string_view{} : url.substr(slash + 1);
    while (database.ends_with('/')) database.remove_suffix(1);
    if (database.find_first_of("/?#") != std::string_view::npos ||
        authority.find_first_of("?#") != std::string_view::npos)
        throw UsageError{fmt::format("Behind the database’s name the URL has nothing: {}.", example)};
    const auto name = percentDecoded(database);
    if (!name || name->empty()) throw UsageError{fmt::format("The URL lacks the database’s name: {}.", example)};
    address.database = *name;

    std::string_view port;
    if (authority.starts_with('[')) {
        const std::size_t end = authority.find(']');
        if (end == std::string_view::npos) throw UsageError{fmt::format("The URL’s host lacks its “]”: {}.", example)};
        address.host = authority.substr(1, end - 1);
        port = authority.substr(end + 1);
    } else {
        const std::size_t colon = std::min(authority.find(':'), authority.size());
        address.host = authority.substr(0, colon);
        port = authority.substr(colon);
    }
    if (!isHost(address.host)) throw UsageError{fmt::format("The URL names no host: {}.", example)};
    address.port = address.isEncrypted ? 8443 : 8123;
    if (!port.empty()) {
        const char* const begin = port.data() + 1;
        const char* const end = port.data() + port.size();
        const auto [rest, error] = std::from_chars(begin, end, address.port);
        if (port.front() != ':' || error != std::errc{} || rest != end || address.port == 0)
            throw UsageError{fmt::format("The URL’s port is to be a number up to 65535: {}.", example)};
    }
    return address;
}

bool ServerAddress::isLoopback() const { return host == "localhost" || host == "::1" || host.starts_with("127."); }

std::string ServerAddress::name() const {
    return host.find(':') == std::string::npos ? fmt::format("{}:{}", host, port) : fmt::format("[{}]:{}", host, port);
}

std::string ServerAddress::url() const { return fmt::format("http{}://{}/", isEncrypted ? "s" : "", name()); }

}  // namespace KestrelCLI
