#include "commands/Commands.hpp"

#include "commands/Deletion.hpp"
#include "commands/OptionValue.hpp"
#include "commands/TrashEmptying.hpp"

#include <memory>

namespace KestrelCLI {

namespace {

struct TrashOptions {
    DeletionOptions moving;
    TrashEmptyingOptions emptying;
    bool empties = false;
};

ExitCode run(Session& session, const Operands& paths, TrashOptions& options) {
    if (!options.empties) {
        if (options.emptying.olderThan || options.emptying.confirmation)
            throw UsageError{"--older-than and --confirm go with --empty."};
        if (paths.empty()) throw UsageError{"Something is missing: kestrel trash PATH…, or kestrel trash --empty"};
        options.moving.mode = KestrelCore::DeletionMode::trash;
        return runDeletion(session, paths, options.moving);
    }
    if (!paths.empty()) throw UsageError{"--empty is about all of the Trash; it takes no paths."};
    if (options.moving.isConfirmed)
        throw UsageError{"--yes is too little for what can't be undone; --confirm DELETE answers instead."};
    options.emptying.isDryRun = options.moving.isDryRun;
    return emptyTrash(session, options.emptying);
}

}  // namespace

// What trash and remove have in common is in Deletion.cpp; here is only how moving to the Trash is asked for.
void addTrashCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<TrashOptions>();
    const CommandOptions command = addCommand(
        app,
        {.name = "trash",
         .operands = "PATH… | --empty",
         .description = "Moves items to the Trash, from where “kestrel restore” brings them back, or empties it.",
         .examples = {"kestrel trash --dry-run ~/Downloads/old.iso", "kestrel trash --yes -- -odd-name",
                      "kestrel trash --empty", "kestrel trash --empty --older-than 30d"},
         .mostOperands = Command::unlimited,
         .operandKind = ValueKind::file},
        [&session, options](const Operands& paths) { return run(session, paths, *options); });
    command.flag("-y,--yes", options->moving.isConfirmed, "Do not ask");
    command.flag("--dry-run", options->moving.isDryRun, "Only show what would go");
    command.flag("--include-high-risk", options->moving.includesHighRisk, "Let items of high risk go too");
    command.flag("--empty", options->empties, "Remove for good what lies in the Trash, on every volume");
    command.value("--older-than", options->emptying.olderThan, "With --empty: only what went before, such as 30d")
        .valueName("AGE")
        .check(takesSuchAs(usualAges()));
    command.value("--confirm", options->emptying.confirmation, "With --empty: DELETE, instead of typing it")
        .valueName("WORD");
}

}  // namespace KestrelCLI
