#pragma once

#include "commands/Command.hpp"

namespace KestrelCLI {

// One function a command, each defined in the file named after it (ScanCommand.cpp). main.cpp lists them in the order
// in which the help shows them.
void addScanCommand(CLI::App& app, Session& session);
void addBrowseCommand(CLI::App& app, Session& session);
void addListCommand(CLI::App& app, Session& session);
void addSearchCommand(CLI::App& app, Session& session);
void addSummaryCommand(CLI::App& app, Session& session);
void addSuggestCommand(CLI::App& app, Session& session);
void addDuplicatesCommand(CLI::App& app, Session& session);
void addMediaCommand(CLI::App& app, Session& session);
void addDocumentsCommand(CLI::App& app, Session& session);
void addHistoryCommand(CLI::App& app, Session& session);
void addGrowthCommand(CLI::App& app, Session& session);
void addReportCommand(CLI::App& app, Session& session);
void addExportCommand(CLI::App& app, Session& session);
void addImportCommand(CLI::App& app, Session& session);
void addPublishCommand(CLI::App& app, Session& session);
void addFleetCommand(CLI::App& app, Session& session);
void addClearCommand(CLI::App& app, Session& session);
void addConfigCommand(CLI::App& app, Session& session);
void addAppsCommand(CLI::App& app, Session& session);
void addMonitorCommand(CLI::App& app, Session& session);
void addProcessesCommand(CLI::App& app, Session& session);
void addQuitCommand(CLI::App& app, Session& session);
void addAccessCommand(CLI::App& app, Session& session);
void addTrashCommand(CLI::App& app, Session& session);
void addRemoveCommand(CLI::App& app, Session& session);
void addRestoreCommand(CLI::App& app, Session& session);
void addCompletionCommand(CLI::App& app, Session& session);
void addDefinitionsCommand(CLI::App& app, Session& session);

}  // namespace KestrelCLI
