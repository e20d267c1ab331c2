#include "commands/Commands.hpp"

#include "commands/Deletion.hpp"

#include <memory>

namespace KestrelCLI {

// What trash and remove have in common is in Deletion.cpp; here is only how moving to the Trash is asked for.
void addTrashCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<DeletionOptions>();
    CLI::App& command =
        addCommand(app,
                   {.name = "trash",
                    .operands = "PATH…",
                    .description = "Moves items to the Trash, from where “kestrel restore” brings "
                                   "them back.",
                    .examples = {"kestrel trash --dry-run ~/Downloads/old.iso", "kestrel trash --yes -- -odd-name"},
                    .fewestOperands = 1,
                    .mostOperands = Command::unlimited},
                   [&session, options](const Operands& paths) {
                       options->mode = KestrelCore::DeletionMode::trash;
                       return runDeletion(session, paths, *options);
                   });
    command.add_flag("--yes", options->isConfirmed, "Do not ask");
    command.add_flag("--dry-run", options->isDryRun, "Only show what would go");
    command.add_flag("--include-high-risk", options->includesHighRisk, "Let items of high risk go too");
}

}  // namespace KestrelCLI
