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

/// The server that the options, or the environment, name. It has been asked for its tables, and has those of this
/// version. Throws `UsageError`, `ServerError` or another sentence; warns where a password would go out readable.
[[nodiscard]] std::unique_ptr<Server> connectedServer(const Session& session, const ServerOptions& options);

}  // namespace KestrelCLI
