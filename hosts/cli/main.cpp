#include "commands/Commands.hpp"
#include "output/Session.hpp"
#include "output/Terminal.hpp"
#include "terminal/Interruption.hpp"

#include <clocale>
#include <cstdlib>
#include <iostream>

using namespace KestrelCLI;

int main(int argc, char** argv) {
    // The type of characters only: numbers are written the same everywhere.
    std::setlocale(LC_CTYPE, "");
    std::ios::sync_with_stdio(false);
    Interruption::watch();

    Session session{.out = std::cout, .messages = std::cerr, .terminal = Terminal::ofThisProcess(), .options = {}};
    const ExitCode code = runCommandLine({argv + 1, argv + argc}, session,
                                         {
                                             addScanCommand,
                                             addListCommand,
                                             addSearchCommand,
                                             addMediaCommand,
                                             addDocumentsCommand,
                                             addHistoryCommand,
                                             addGrowthCommand,
                                             addAppsCommand,
                                             addTrashCommand,
                                             addRemoveCommand,
                                             addRestoreCommand,
                                             addMonitorCommand,
                                             addProcessesCommand,
                                             addQuitCommand,
                                             addAccessCommand,
                                             addClearCommand,
                                         });
    // A scan that was given up may be stuck in a system call on a thread of its own: it must not meet destroyed
    // globals, so nothing is torn down behind its back.
    if (code == ExitCode::interrupted) std::_Exit(static_cast<int>(code));
    return static_cast<int>(code);
}
