#include "commands/Commands.hpp"

#include "commands/Deletion.hpp"

#include <memory>

namespace KestrelCLI {

// As trash, but for good: so a "--yes" would be too little, and a word has to be typed or given.
void addRemoveCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<DeletionOptions>();
    const CommandOptions command =
        addCommand(app,
                   {.name = "remove",
                    .operands = "PATH…",
                    .description = "Removes items for good.",
                    .examples = {"kestrel remove --dry-run ~/build", "kestrel remove --confirm DELETE ~/build"},
                    .fewestOperands = 1,
                    .mostOperands = Command::unlimited,
                    .operandKind = ValueKind::file},
                   [&session, options](const Operands& paths) {
                       options->mode = KestrelCore::DeletionMode::permanent;
                       return runDeletion(session, paths, *options);
                   });
    command.value("--confirm", options->confirmation, "DELETE, instead of typing it").valueName("WORD");
    command.flag("--dry-run", options->isDryRun, "Only show what would go");
    command.flag("--include-high-risk", options->includesHighRisk, "Let items of high risk go too");
}

}  // namespace KestrelCLI
