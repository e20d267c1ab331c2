#pragma once

#include "commands/Command.hpp"

#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace KestrelCLI {

/// What one run of the program printed and returned.
struct CommandRun {
    ExitCode code = ExitCode::done;
    std::string out;
    std::string messages;
};

/// Runs `arguments` with the given commands; no stream is a terminal unless `terminal` says so.
[[nodiscard]] inline CommandRun runCommands(std::vector<std::string> arguments,
                                            const std::vector<CommandAdder>& commands, const Terminal& terminal = {}) {
    std::ostringstream out;
    std::ostringstream messages;
    Session session{.out = out, .messages = messages, .terminal = terminal, .options = {}};
    const ExitCode code = runCommandLine(std::move(arguments), session, commands);
    return {code, out.str(), messages.str()};
}

}  // namespace KestrelCLI
