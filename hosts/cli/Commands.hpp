#pragma once

#include "Command.hpp"

namespace KestrelCLI {

// One function a command, each defined in the file named after it (ScanCommand.cpp). main.cpp lists them in the order
// in which the help shows them.
void addAppsCommand(CLI::App& app, Session& session);
void addMonitorCommand(CLI::App& app, Session& session);
void addProcessesCommand(CLI::App& app, Session& session);
void addQuitCommand(CLI::App& app, Session& session);
void addAccessCommand(CLI::App& app, Session& session);

}  // namespace KestrelCLI
