#include "commands/Commands.hpp"
#include "output/ASCIIOutput.hpp"
#include "output/Session.hpp"
#include "output/SourceCommit.hpp"
#include "output/Terminal.hpp"
#include "store/ConfigurationFile.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <clocale>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>

using namespace KestrelCLI;

namespace {

/// The home directory's path; empty where it has none that is a text.
std::string homePath() {
    try {
        return KestrelCore::FileManager::standard()->homeDirectory().string();
    } catch (const KestrelCore::PlatformError&) {
        return {};
    }
}

}  // namespace

int main(int argc, char** argv) {
    // The type of characters only: numbers are written the same everywhere. A locale that is named and not installed
    // is one of UTF-8 nearly always, and pages on a terminal need one.
    if (std::setlocale(LC_CTYPE, "") == nullptr) std::setlocale(LC_CTYPE, "C.UTF-8");
    std::ios::sync_with_stdio(false);
    Interruption::watch();

    const Terminal terminal = Terminal::ofThisProcess();
    GlobalOptions* options = nullptr;
    ASCIIOutput plainResults{*std::cout.rdbuf(), [&options] { return options != nullptr && options->json; }};
    ASCIIOutput plainMessages{*std::cerr.rdbuf(), [] { return false; }};
    std::ostream results{terminal.isASCII ? &plainResults : std::cout.rdbuf()};
    std::ostream messages{terminal.isASCII ? &plainMessages : std::cerr.rdbuf()};
    messages << std::unitbuf;  // as std::cerr: what is told is told at once
    Session session{.out = results,
                    .messages = messages,
                    .terminal = terminal,
                    .options = {},
                    .home = homePath(),
                    .rawOutput = terminal.isASCII ? &std::cout : nullptr,
                    .configurationPath = {},
                    .settings = {},
                    .source = sourceCommit()};
    const char* const configurationHome = std::getenv("XDG_CONFIG_HOME");
    session.configurationPath = configurationPath(
        session.home, configurationHome == nullptr ? std::nullopt : std::optional<std::string>{configurationHome});
    options = &session.options;
    const ExitCode code = runCommandLine(
        {argv + 1, argv + argc}, session,
        {
            addScanCommand,    addBrowseCommand,     addListCommand,        addSearchCommand,    addSummaryCommand,
            addSuggestCommand, addDuplicatesCommand, addMediaCommand,       addDocumentsCommand, addHistoryCommand,
            addGrowthCommand,  addReportCommand,     addAppsCommand,        addTrashCommand,     addRemoveCommand,
            addRestoreCommand, addMonitorCommand,    addProcessesCommand,   addQuitCommand,      addAccessCommand,
            addExportCommand,  addImportCommand,     addPublishCommand,     addFleetCommand,     addClearCommand,
            addConfigCommand,  addCompletionCommand, addDefinitionsCommand,
        });
    // The session goes before the buffers, which look once more when they go.
    options = nullptr;
    // What was asked is done, and nobody reads what came of it.
    if (Interruption::isPipeClosed() && !session.flush()) Interruption::endByClosedPipe();
    // A scan that was given up may be stuck in a system call on a thread of its own: it must not meet destroyed
    // globals, so nothing is torn down behind its back.
    if (code == ExitCode::interrupted) std::_Exit(static_cast<int>(code));
    return static_cast<int>(code);
}
