#include "Commands.hpp"

#include "JSONOutput.hpp"
#include "StorePath.hpp"

#include "KestrelCore/Platform/FileManager.hpp"
#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"

namespace KestrelCLI {

void addClearCommand(CLI::App& app, Session& session) {
    addCommand(app,
               {.name = "clear",
                .operands = "",
                .description = "Empties the store: forgets the saved scan.",
                .examples = {"kestrel clear"}},
               [&session](const Operands&) {
                   const auto url = KestrelCore::URL::fromPath(storePath(session));
                   // A store that does not exist is empty, and stays away.
                   if (KestrelCore::FileManager::standard()->exists(url.path())) {
                       KestrelCore::SQLiteSnapshotStore{url}.clear();
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
