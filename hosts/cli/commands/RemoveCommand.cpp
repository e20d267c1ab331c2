#include "commands/Commands.hpp"

#include "commands/Deletion.hpp"

#include <memory>

namespace KestrelCLI {

// As trash, but for good: so a "--yes" would be too little, and a word has to be typed or given.
void addRemoveCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<DeletionOptions>();
    CLI::App& command =
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
    command.add_option("--confirm", options->confirmation, "DELETE, instead of typing it")->type_name("WORD");
    command.add_flag("--dry-run", options->isDryRun, "Only show what would go");
    command.add_flag("--include-high-risk", options->includesHighRisk, "Let items of high risk go too");
}

}  // namespace KestrelCLI
