#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace KestrelCLI {

/// Where a column store is asked: what `http://HOST:8123/DATABASE` says, taken apart.
struct ServerAddress {
    bool isEncrypted = false;
    std::string host;        ///< a name or an address, of an IPv6 address without the brackets
    std::uint16_t port = 0;  ///< 8123, or 8443 with https, where none is named
    std::string database;    ///< percent-decoded; bytes

    /// Throws `UsageError` for anything else; what may hold a password is told without it.
    [[nodiscard]] static ServerAddress parse(std::string_view url);

    /// Whether it is this machine: then nothing that is sent leaves it.
    [[nodiscard]] bool isLoopback() const;
    /// "HOST:8123", as a sentence names the server.
    [[nodiscard]] std::string name() const;
    /// "https://HOST:8443/", for requests.
    [[nodiscard]] std::string url() const;

    bool operator==(const ServerAddress&) const = default;
};

}  // namespace KestrelCLI
