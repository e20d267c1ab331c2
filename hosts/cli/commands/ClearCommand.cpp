#include "commands/Commands.hpp"

#include "output/ByteFormat.hpp"
#include "output/JSONOutput.hpp"
#include "store/HistoryAccess.hpp"
#include "store/Places.hpp"
#include "terminal/Interruption.hpp"
#include "terminal/Question.hpp"

#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

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

/// What a person is asked before the history goes; empty where nothing in it would be missed.
std::string questionAbout(const std::string& history) {
    if (bytesOf(history) == 0) return {};
    std::vector<Generation> scans;
    try {
        scans = SnapshotHistory{URL::fromPath(history)}.generations();
    } catch (const std::exception&) {
        return "Empty the history, which can't be read?";  // that is why somebody empties it
    }
    if (scans.empty()) return {};
    const auto pinned = std::ranges::count_if(scans, [](const Generation& scan) { return scan.isPinned; });
    const auto imported = std::ranges::count_if(scans, isImported);
    std::string parts;
    if (pinned > 0) parts += fmt::format(", {} pinned", ByteFormat::count(pinned));
    if (imported > 0) parts += fmt::format(", {} imported", ByteFormat::count(imported));
    return fmt::format("Forget {} saved scan{}{}?", ByteFormat::count(static_cast<std::int64_t>(scans.size())),
                       scans.size() == 1 ? "" : "s", parts);
}

ExitCode clear(const Session& session, bool isConfirmed) {
    const auto store = namedStorePath(session);
    const std::string history = store ? std::string{} : historyPath();
    // A script has said what it wants; a person may have wanted another word.
    if (!store && !isConfirmed && session.terminal.isInput) {
        const std::string question = questionAbout(history);
        if (!question.empty() && !confirm(session, question, "--yes answers instead.")) {
            session.say("Nothing was forgotten.");
            return ExitCode::failed;
        }
    }
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
    const auto isConfirmed = std::make_shared<bool>(false);
    const CommandOptions command =
        addCommand(app,
                   {.name = "clear",
                    .operands = "",
                    .description = "Empties the history: forgets every saved scan, pinned and imported ones too, and "
                                   "gives their space back.",
                    .examples = {"kestrel clear", "kestrel clear --yes"}},
                   [&session, isConfirmed](const Operands&) { return clear(session, *isConfirmed); });
    command.flag("-y,--yes", *isConfirmed, "Do not ask, as on a terminal");
}

}  // namespace KestrelCLI
