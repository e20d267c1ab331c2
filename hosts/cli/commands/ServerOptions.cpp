#include "commands/ServerOptions.hpp"

#include "commands/OptionValue.hpp"

#include <fmt/format.h>

#include <chrono>
#include <cstdlib>
#include <string_view>

namespace KestrelCLI {

namespace {

/// Of the tables that this version fills and asks.
constexpr std::uint32_t schemaVersion = 1;
constexpr std::int64_t mostPatience = 86'400;
constexpr std::string_view schemaFile = "the file clickhouse/schema.sql, which comes with kestrel";

void checkSchema(Server& server) {
    std::optional<std::uint32_t> version;
    server.query<std::uint32_t>("SELECT MARK, toUInt32(version) FROM schema_version", {},
                                [&](std::uint32_t found) { version = found; });
    const std::string name = server.address().name();
    if (!version || *version < schemaVersion) {
        throw ServerError{fmt::format("The tables of {} are of an older version: its administrator brings them up to "
                                      "date with {}.",
                                      name, schemaFile),
                          0};
    }
    if (*version > schemaVersion) {
        throw ServerError{fmt::format("The tables of {} are of a later version than this kestrel knows, which is to be "
                                      "updated.",
                                      name),
                          0};
    }
}

}  // namespace

void addServerOptions(const CommandOptions& command, ServerOptions& options) {
    command
        .value(
            "--to", options.url,
            "The server: http(s)://HOST:PORT/DATABASE, the HTTP interface of ClickHouse (default: KESTREL_FLEET_URL)")
        .valueName("URL");
    command
        .value("--credentials", options.credentials,
               "Take user and password from the two lines of FILE (default: KESTREL_FLEET_USER and _PASSWORD)")
        .valueName("FILE")
        .check(takes(ValueKind::file));
    command.value("--ca", options.authorities, "Trust the certificates in FILE (default: those that the system trusts)")
        .valueName("FILE")
        .check(takes(ValueKind::file));
    command.value("--timeout", options.patience, "Give up when the server says nothing for N seconds (default: 60)")
        .valueName("N")
        .check(wholeNumber(mostPatience));
}

ServerSettings serverSettings(const ServerOptions& options) {
    const char* const named = std::getenv("KESTREL_FLEET_URL");
    if (!options.url && (named == nullptr || *named == '\0'))
        throw UsageError{"Which server? --to https://HOST:8443/DATABASE names it, or KESTREL_FLEET_URL."};
    if (options.patience == 0) throw UsageError{"--timeout is to be at least a second."};
    ServerSettings settings{.address = ServerAddress::parse(options.url ? *options.url : named)};
    settings.credentials = Credentials::current(options.credentials);
    settings.authorities = options.authorities;
    settings.patience = std::chrono::seconds{options.patience};
    return settings;
}

std::unique_ptr<Server> connectedServer(const Session& session, ServerSettings settings) {
    if (!settings.address.isEncrypted && !settings.address.isLoopback() && !settings.credentials.password.empty())
        session.say("The password and all names go to the server unencrypted; https:// in the URL would hide them.");
    auto server = std::make_unique<Server>(std::move(settings));
    checkSchema(*server);
    return server;
}

}  // namespace KestrelCLI
