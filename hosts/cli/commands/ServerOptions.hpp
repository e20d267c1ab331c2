#pragma once

#include "commands/CommandOptions.hpp"
#include "fleet/Server.hpp"
#include "output/Session.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace KestrelCLI {

/// The options of all commands that ask a column store.
struct ServerOptions {
    std::optional<std::string> url;
    std::optional<std::string> credentials;
    std::optional<std::string> authorities;
    std::int64_t patience = 60;  ///< seconds
};

/// `options` must live until the command has run.
void addServerOptions(const CommandOptions& command, ServerOptions& options);

/// What the options, or the environment, say of the server; nobody is asked. Throws `UsageError` or another sentence.
[[nodiscard]] ServerSettings serverSettings(const ServerOptions& options);

/// That server. It has been asked for its tables, and has those of this version. Throws `ServerError` or another
/// sentence; warns where a password would go out readable.
[[nodiscard]] std::unique_ptr<Server> connectedServer(const Session& session, ServerSettings settings);

}  // namespace KestrelCLI
