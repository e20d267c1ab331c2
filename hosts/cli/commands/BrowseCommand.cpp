#include "commands/BrowseRun.hpp"
#include "commands/Commands.hpp"
#include "commands/LivePage.hpp"
#include "commands/ScanRoot.hpp"
#include "commands/ScanRun.hpp"
#include "store/HistoryAccess.hpp"
#include "store/Places.hpp"
#include "store/SavedScan.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

// What is saved is there at once; only what no scan covers is scanned first. Where the answer is not the newest state
// of things, the page is for looking alone: what it shows must not decide what goes.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

struct BrowseOptions {
    bool isReadOnly = false;
};

constexpr std::string_view whyImportIsReadOnly =
    "This is an imported scan, of a disk that is not here: nothing in it can be taken away.";

/// A page on a folder that is scanned while it is looked at.
BrowseStart scanning(std::shared_ptr<SnapshotHistory> history, const std::string& name) {
    const ScanRoot root = resolveScanRoot(name);
    BrowseStart start{.history = std::move(history), .scan = nullptr, .toScan = root.scope};
    start.folder = root.scope.root.path();
    return start;
}

/// The newest scan, or what --at names, of those that cover the folder; a null one where none does.
BrowseStart onSaved(const Session& session, const std::shared_ptr<SnapshotHistory>& history,
                    const std::vector<Generation>& generations, const std::string& name) {
    BrowseStart start{.history = history};
    for (const Text& path : meanings(name)) {
        std::vector<Generation> covering;
        std::ranges::copy_if(generations, std::back_inserter(covering),
                             [&](const Generation& each) { return covers(each, path); });
        if (covering.empty()) continue;
        const Generation& asked = chosenByOption(session, covering);
        auto scan = std::make_shared<const SavedScan>(history->open(asked.number));
        const auto record = scan->record(path);
        if (!record) continue;
        if (!record->isContainer()) throw PathError{fmt::format("{} is not a folder.", path.view()), path.string()};
        if (asked.number != covering.front().number)
            start.whyReadOnly = "This is an older scan, for looking only; without --at the newest is shown.";
        if (isImported(asked)) start.whyReadOnly = whyImportIsReadOnly;
        start.scan = std::move(scan);
        start.folder = path;
        return start;
    }
    return start;
}

BrowseStart begin(const Session& session, const Operands& operands) {
    if (namedStorePath(session)) {
        BrowseStart start;
        if (operands.empty()) {
            start.scan = std::make_shared<const SavedScan>(SavedScan::newest(session));
            start.folder = start.scan->summary().scope.root.path();
        } else {
            NamedRecord named = NamedRecord::find(session, operands.front());
            if (!named.record.isContainer())
                throw PathError{fmt::format("{} is not a folder.", named.record.path().view()),
                                named.record.path().string()};
            start.folder = named.record.path();
            start.scan = std::make_shared<const SavedScan>(std::move(named.scan));
        }
        start.whyReadOnly = "The database that --store names is for looking only here.";
        start.whyNoScan = "The database that --store names is for looking only here.";
        return start;
    }
    const std::shared_ptr<SnapshotHistory> history = openHistory(session);
    const std::vector<Generation> generations = scansToAnswerFrom(session, *history);
    if (!operands.empty()) {
        BrowseStart start = onSaved(session, history, generations, operands.front());
        if (start.scan != nullptr) return start;
        if (session.options.at) (void)NamedRecord::find(session, operands.front());  // throws, with the reason
        return scanning(history, operands.front());
    }
    if (generations.empty()) {
        if (session.options.at) (void)SavedScan::newest(session);  // throws, with the reason
        return scanning(history, usualScanRoot(session));
    }
    BrowseStart start{.history = history};
    const Generation& asked = chosenByOption(session, generations);
    start.scan = std::make_shared<const SavedScan>(history->open(asked.number));
    start.folder = asked.scope.root.path();
    const auto newest = history->generations(start.folder);
    if (!newest.empty() && newest.front().number != asked.number)
        start.whyReadOnly = "This is an older scan, for looking only; without --at the newest is shown.";
    if (isImported(asked)) start.whyReadOnly = whyImportIsReadOnly;
    return start;
}

ExitCode browse(const Session& session, const BrowseOptions& options, const Operands& operands) {
    if (session.options.json) throw UsageError{"browse is a page for people; kestrel list --json answers programs."};
    if (!canShowLivePage(session)) {
        throw UsageError{"browse needs a terminal that can show a page, for its keys and its screen. kestrel list and "
                         "kestrel search answer without one."};
    }
    BrowseStart start = begin(session, operands);
    if (!start.whyReadOnly.empty()) start.whyNoScan = start.whyReadOnly;
    if (options.isReadOnly) start.whyReadOnly = "It was started with --read-only: nothing is taken away here.";
    return runBrowse(session, std::move(start));
}

}  // namespace

void addBrowseCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<BrowseOptions>();
    const CommandOptions command = addCommand(
        app,
        {.name = "browse",
         .operands = "[PATH]",
         .description = "Walks through a scan on a full-screen page: folders by size, what has grown, what to find, "
                        "what to take away (? tells the keys). Scans first what no saved scan covers.",
         .examples = {"kestrel browse", "kestrel browse ~/Downloads", "kestrel browse --read-only /",
                      "kestrel browse --at 7d"},
         .mostOperands = 1,
         .operandKind = ValueKind::folder,
         .readsSavedScan = true},
        [&session, options](const Operands& operands) { return browse(session, *options, operands); });
    command.flag("--read-only", options->isReadOnly, "Nothing can be taken away");
}

}  // namespace KestrelCLI
