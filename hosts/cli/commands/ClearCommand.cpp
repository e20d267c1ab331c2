#include "commands/Commands.hpp"

#include "output/JSONOutput.hpp"
#include "store/HistoryAccess.hpp"
#include "store/Places.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>

namespace KestrelCLI {

namespace {

using namespace KestrelCore;

/// The size of the database's file; 0 where none can be told.
std::int64_t bytesOf(const std::string& path) {
    std::error_code error;
    const std::uintmax_t bytes = std::filesystem::file_size(path, error);
    return error ? 0 : static_cast<std::int64_t>(bytes);
}

/// Empties a snapshot database; gives the bytes that came free.
std::int64_t clearStore(const std::string& path) {
    // A store that does not exist is empty, and stays away.
    if (!isStoreThere(path)) return 0;
    // By the file itself: what SQLite keeps free inside of it is not free to anybody else.
    const std::int64_t before = bytesOf(path);
    SQLiteSnapshotStore{URL::fromPath(path)}.clear();
    return std::max<std::int64_t>(0, before - bytesOf(path));
}

ExitCode clear(const Session& session) {
    const auto store = namedStorePath(session);
    const std::string history = store ? std::string{} : historyPath();
    // The last moment at which a request to stop can be heeded: clearing is one step.
    Interruption::check();
    std::int64_t freed = 0;
    if (store) {
        freed = clearStore(*store);
    } else {
        // What earlier versions saved goes, too: it would come back as the first scan of the empty history.
        freed = SnapshotHistory{URL::fromPath(history)}.clear() + clearStore(earlierStorePath());
    }
    if (session.options.json) {
        JSONOutput json{session.out};
        json.member("cleared", true);
        json.member("freedBytes", freed);
        json.finish();
    } else {
        session.out << fmt::format("The {} is empty; {} came free.\n", store ? "store" : "history",
                                   session.size(freed));
    }
    return ExitCode::done;
}

}  // namespace

void addClearCommand(CLI::App& app, Session& session) {
    addCommand(app,
               {.name = "clear",
                .operands = "",
                .description = "Empties the history: forgets every saved scan and gives their space back.",
                .examples = {"kestrel clear"}},
               [&session](const Operands&) { return clear(session); });
}

}  // namespace KestrelCLI
