#include "commands/Commands.hpp"

#include "output/JSONOutput.hpp"
#include "store/StorePath.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>

namespace KestrelCLI {

namespace {

/// The size of the database's file; 0 where none can be told.
std::int64_t bytesOf(const std::string& path) {
    std::error_code error;
    const std::uintmax_t bytes = std::filesystem::file_size(path, error);
    return error ? 0 : static_cast<std::int64_t>(bytes);
}

}  // namespace

void addClearCommand(CLI::App& app, Session& session) {
    addCommand(app,
               {.name = "clear",
                .operands = "",
                .description = "Empties the store: forgets the saved scan and gives its space back.",
                .examples = {"kestrel clear"}},
               [&session](const Operands&) {
                   const std::string path = storePath(session);
                   // The last moment at which a request to stop can be heeded: clearing is one step.
                   Interruption::check();
                   std::int64_t freed = 0;
                   // A store that does not exist is empty, and stays away.
                   if (isStoreThere(path)) {
                       // By the file itself: what SQLite keeps free inside of it is not free to anybody else.
                       const std::int64_t before = bytesOf(path);
                       KestrelCore::SQLiteSnapshotStore{KestrelCore::URL::fromPath(path)}.clear();
                       freed = std::max<std::int64_t>(0, before - bytesOf(path));
                   }
                   if (session.options.json) {
                       JSONOutput json{session.out};
                       json.member("cleared", true);
                       json.member("freedBytes", freed);
                       json.finish();
                   } else {
                       session.out << fmt::format("The store is empty; {} came free.\n", session.size(freed));
                   }
                   return ExitCode::done;
               });
}

}  // namespace KestrelCLI
