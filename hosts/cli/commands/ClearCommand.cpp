#include "commands/Commands.hpp"

#include "output/JSONOutput.hpp"
#include "store/StorePath.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"

#include <string>

namespace KestrelCLI {

void addClearCommand(CLI::App& app, Session& session) {
    addCommand(app,
               {.name = "clear",
                .operands = "",
                .description = "Empties the store: forgets the saved scan.",
                .examples = {"kestrel clear"}},
               [&session](const Operands&) {
                   const std::string path = storePath(session);
                   Interruption::check();
                   // A store that does not exist is empty, and stays away.
                   if (isStoreThere(path)) {
                       KestrelCore::SQLiteSnapshotStore{KestrelCore::URL::fromPath(path)}.clear();
                   }
                   if (session.options.json) {
                       JSONOutput json{session.out};
                       json.member("cleared", true);
                       json.finish();
                   } else {
                       session.out << "The store is empty.\n";
                   }
                   return ExitCode::done;
               });
}

}  // namespace KestrelCLI
