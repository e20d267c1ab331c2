#include "commands/Commands.hpp"

#include "commands/Deletion.hpp"
#include "commands/ReceiptChoice.hpp"
#include "output/ModelJSON.hpp"
#include "output/Table.hpp"
#include "output/Times.hpp"
#include "store/DeletionRecords.hpp"
#include "store/Places.hpp"
#include "store/RestoredRecords.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Deletion/DeletionMeasurement.hpp"
#include "KestrelCore/Deletion/DeletionPlan.hpp"
#include "KestrelCore/Deletion/SafetyPolicy.hpp"
#include "KestrelCore/Deletion/TrashReceipts.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fmt/format.h>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

// What is named is looked up before anything is moved: a mistyped name does nothing at all. Then what stands in the way
// goes to the Trash, all in one request, so that one more restore brings all of it back. Then each item is restored by
// itself, and one that fails keeps none of the others from its place; what was moved out of its way comes back.

namespace KestrelCLI {

namespace {

using namespace KestrelCore;

/// Enough of an identifier to tell receipts apart when they are listed.
constexpr std::size_t shownDigits = 8;

struct RestoreOptions {
    bool last = false;
    bool all = false;
    bool listsGone = false;
    bool replaces = false;
    bool includesHighRisk = false;  ///< among what is replaced
    bool isDryRun = false;
    std::optional<std::string> name{};  ///< --as
};

/// Whether something is at the path, also a link that leads nowhere.
bool isTaken(const Text& path) {
    std::error_code error;
    return std::filesystem::exists(std::filesystem::symlink_status(path.string(), error));
}

/// Asked of the disk: the user may have moved or emptied the Trash since.
std::vector<KnownReceipt> known(const TrashReceipts& store) {
    std::vector<KnownReceipt> known;
    for (TrashReceipt& receipt : store.receipts()) {
        auto place = TrashReceipts::presentPlace(receipt);
        known.push_back({std::move(receipt), std::move(place)});
    }
    return known;
}

void writeReceipts(JSONOutput& json, const std::vector<const KnownReceipt*>& receipts) {
    json.beginArray("receipts");
    for (const KnownReceipt* each : receipts) {
        const TrashReceipt& receipt = each->receipt;
        json.beginObject();
        json.member("id", receipt.id.uuidString());
        json.member("path", receipt.path.view());
        // What is gone keeps the place it had.
        const auto& shown = each->place ? each->place : receipt.resultingPath;
        if (shown) json.member("resultingPath", shown->view());
        writeDate(json, "trashedAt", receipt.trashedAt);
        json.member("present", each->place.has_value());
        json.endObject();
    }
    json.endArray();
}

/// Newest first, and whether each still is in the Trash where not all of them are.
void showReceipts(const Session& session, std::ostream& out, const std::vector<const KnownReceipt*>& receipts) {
    const bool isOut = &out == &session.out;
    const bool isTerminal = isOut ? session.terminal.isOutput : true;
    const bool areAllPresent = std::ranges::all_of(receipts, [](const auto* each) { return each->place.has_value(); });
    std::vector<Table::Column> columns{{.title = "Receipt"}, {.title = "Trashed"}};
    if (!areAllPresent) columns.push_back({.title = "In the Trash"});
    columns.push_back({.title = "From", .shrinks = isOut});
    Table table{columns};
    for (const KnownReceipt* each : receipts) {
        std::vector<Table::Cell> row{{each->receipt.id.uuidString().substr(0, shownDigits)},
                                     {localTime(each->receipt.trashedAt)}};
        if (!areAllPresent) row.push_back({each->place ? "yes" : "no", each->place ? Style::good : Style::quiet});
        const std::string_view path = each->receipt.path.view();
        row.push_back({isTerminal ? session.shownPath(path) : session.shown(path)});
        table.addRow(std::move(row));
    }
    table.write(out, isOut ? session.columns() : 0, isOut && session.hasColor(), session.characters());
}

void list(const Session& session, const std::vector<KnownReceipt>& receipts, bool listsGone) {
    std::vector<const KnownReceipt*> listed;
    for (const KnownReceipt& each : receipts) {
        if (each.place || listsGone) listed.push_back(&each);
    }
    const std::size_t gone = receipts.size() - listed.size();
    if (session.options.json) {
        JSONOutput json{session.out};
        writeReceipts(json, listed);
        json.beginArray("results");
        json.endArray();
        json.finish();
        return;
    }
    if (listed.empty())
        session.out << (receipts.empty() ? "Nothing was moved to the Trash from here.\n"
                                         : "Nothing that was moved to the Trash from here is still in it.\n");
    else
        showReceipts(session, session.out, listed);
    if (gone > 0 && !listed.empty())
        session.say(fmt::format("{} no longer in the Trash; --gone lists {}.",
                                gone == 1 ? "1 more is" : fmt::format("{} more are", gone), gone == 1 ? "it" : "them"));
}

/// What the command line means, each once. Throws `UsageError` where it is not clear what.
std::vector<const KnownReceipt*> chosen(const Session& session, const std::vector<KnownReceipt>& receipts,
                                        const Operands& operands, const RestoreOptions& options) {
    std::vector<const KnownReceipt*> chosen;
    if (options.last) return lastRequest(receipts);
    if (options.all) {
        for (const KnownReceipt& each : receipts) {
            if (each.place) chosen.push_back(&each);
        }
        return chosen;
    }
    for (const std::string& operand : operands) {
        const auto meant = meantBy(operand, receipts);
        if (meant.empty()) {
            throw UsageError{fmt::format(
                "Nothing that “{}” means was moved to the Trash from here; kestrel restore lists what was.", operand)};
        }
        if (meant.size() > 1) {
            showReceipts(session, session.messages, meant);
            throw UsageError{fmt::format("“{}” means {} items; name one by its receipt.", operand, meant.size())};
        }
        if (std::ranges::find(chosen, meant.front()) == chosen.end()) chosen.push_back(meant.front());
    }
    return chosen;
}

/// What was moved out of the way of what comes back.
struct Replacement {
    std::map<std::string, TrashReceipt> moved;         ///< by path
    std::map<std::string, DeletionItemResult> failed;  ///< by path
    std::vector<Text> paths;                           ///< of what was moved
};

/// Moves what stands in the way to the Trash, each with a receipt of its own, in one request.
Replacement makeRoom(const Session& session, const RestoreOptions& options, const TrashReceipts& store,
                     const std::vector<const KnownReceipt*>& back) {
    Replacement result;
    const std::vector<ProtectedPlace> places = ownPlaces(session);
    const DeletionPlan judge{places};
    DeletionMeasurement measurement;
    DeletionRequest request;
    std::set<std::string> seen;
    for (const KnownReceipt* each : back) {
        const Text& path = each->receipt.path;
        if (!each->place || !seen.insert(path.string()).second || !isTaken(path)) continue;
        const auto record = DeletionPlan::freshRecord(path, measurement);
        if (!record) continue;
        if (const auto refusal = judge.objection(*record)) {
            result.failed.emplace(path.string(), DeletionItemResult{.id = each->receipt.id,
                                                                    .path = path,
                                                                    .resultingPath = {},
                                                                    .message = refusal->errorDescription(),
                                                                    .errorCase = refusal->errorCase()});
            continue;
        }
        if (!options.includesHighRisk &&
            std::max(SafetyPolicy::risk(URL::fromPath(path)), record->risk()) >= RiskLevel::high) {
            result.failed.emplace(
                path.string(),
                DeletionItemResult{.id = each->receipt.id,
                                   .path = path,
                                   .resultingPath = {},
                                   .message = "The item is of high risk; --include-high-risk lets it go.",
                                   .errorCase = KestrelError::Case::safetyViolation});
            continue;
        }
        request.records.push_back(*record);
    }
    if (request.records.empty()) return result;
    DeletionCoordinator coordinator{FileManager::standard(), places};
    std::map<std::string, Text> movedTo;
    for (DeletionItemResult& moved : store.execute(coordinator, request)) {
        const std::string path = moved.path.string();
        if (moved.succeeded && moved.resultingPath) {
            movedTo.emplace(path, *moved.resultingPath);
            result.paths.push_back(moved.path);
        } else if (!moved.succeeded) {
            result.failed.emplace(path, std::move(moved));
        }
    }
    for (TrashReceipt& receipt : store.receipts()) {
        const auto found = movedTo.find(receipt.path.string());
        if (found != movedTo.end() && receipt.resultingPath == found->second)
            result.moved.emplace(found->first, std::move(receipt));
    }
    return result;
}

DeletionItemResult restoreOne(const TrashReceipts& store, const TrashReceipt& receipt,
                              const std::optional<std::string>& name, Replacement& replacement) {
    const std::string path = receipt.path.string();
    if (const auto failed = replacement.failed.find(path); failed != replacement.failed.end()) {
        DeletionItemResult result = failed->second;
        result.message = Text::concatenating({"What is in its place stays there: ", result.message.view()});
        return result;
    }
    DeletionItemResult result = store.restore(receipt, name ? std::optional<Text>{*name} : std::nullopt);
    const auto moved = replacement.moved.find(path);
    if (result.succeeded && moved != replacement.moved.end()) {
        result.message = Text::concatenating({result.message.view(), " What was in its place is in the Trash now."});
    } else if (!result.succeeded && moved != replacement.moved.end()) {
        const DeletionItemResult back = store.restore(moved->second);
        result.message = Text::concatenating(
            {result.message.view(), back.succeeded ? " What was in its place is there again."
                                                   : " What was in its place is in the Trash now."});
        if (back.succeeded) {
            std::erase(replacement.paths, receipt.path);
            replacement.moved.erase(moved);
        }
    }
    return result;
}

/// Only the last component of a path can be another.
void checkName(const RestoreOptions& options, std::size_t count) {
    if (!options.name) return;
    const std::string& name = *options.name;
    if (options.replaces) throw UsageError{"--as and --replace exclude each other."};
    if (count != 1) throw UsageError{"--as gives one item another name; name one."};
    if (name == "." || name == ".." || name.find('/') != std::string::npos)
        throw UsageError{"--as takes a name, without “/”; the item goes to the folder it came from."};
    if (Text{name}.view() != name) throw UsageError{"--as takes a name in UTF-8."};
}

/// What would happen to each, without touching anything.
std::string forecast(const KnownReceipt& each, const Text& destination, const RestoreOptions& options) {
    if (!each.place) return "No longer in the Trash.";
    if (!isTaken(destination))
        return destination == each.receipt.path ? "Would be restored."
                                                : fmt::format("Would be restored as {}.", destination.view());
    return options.replaces ? "Would be restored; what is in its place would go to the Trash."
                            : "Another item is in its place.";
}

ExitCode restore(const Session& session, const TrashReceipts& store, const std::vector<const KnownReceipt*>& back,
                 const RestoreOptions& options) {
    const auto destination = [&](const TrashReceipt& receipt) {
        if (!options.name) return receipt.path;
        return Path::appending(Path::deletingLastComponent(receipt.path), Text{*options.name});
    };
    std::optional<JSONOutput> json;
    if (session.options.json) {
        json.emplace(session.out);
        writeReceipts(*json, back);
        json->beginArray("results");
    }
    ExitCode code = ExitCode::done;
    if (options.isDryRun) {
        for (const KnownReceipt* each : back) {
            const std::string text = forecast(*each, destination(each->receipt), options);
            if (!json) session.out << session.shown(each->receipt.path.view()) << ": " << session.shown(text) << '\n';
        }
        if (json) {
            json->endArray();
            json->finish();
        } else {
            session.out << "Nothing was touched.\n";
        }
        return code;
    }

    Replacement replacement;
    if (options.replaces) replacement = makeRoom(session, options, store, back);
    std::vector<RestoredItem> restored;
    bool isInTheWay = false;
    for (const KnownReceipt* each : back) {
        // Between two items only: one that was begun is brought to its end, so that it lies in one place.
        if (Interruption::isRequested()) {
            code = ExitCode::interrupted;
            break;
        }
        const TrashReceipt& receipt = each->receipt;
        const DeletionItemResult result = restoreOne(store, receipt, options.name, replacement);
        code = combined(code, exitCode(result));
        if (result.succeeded) {
            restored.push_back({.path = *result.resultingPath, .trashedAt = {}});
            if (!options.name) restored.back().trashedAt = receipt.trashedAt;
        }
        isInTheWay = isInTheWay || (!result.succeeded && each->place && isTaken(destination(receipt)));
        if (json) {
            json->beginObject();
            json->member("path", result.path.view());
            json->member("succeeded", result.succeeded);
            if (result.resultingPath) json->member("resultingPath", result.resultingPath->view());
            const auto moved = replacement.moved.find(receipt.path.string());
            if (moved != replacement.moved.end()) json->member("replaced", moved->second.resultingPath->view());
            json->member("message", result.message.view());
            json->endObject();
        } else {
            const Text& shown = result.resultingPath ? *result.resultingPath : result.path;
            session.out << session.painted(
                               result.succeeded ? Style::good : Style::bad,
                               fmt::format("{}: {}", session.shown(shown.view()), session.shown(result.message.view())))
                        << '\n';
        }
    }
    // What was moved for an item that was not begun goes back.
    if (code == ExitCode::interrupted) {
        for (const auto& [path, receipt] : replacement.moved) {
            if (!isTaken(receipt.path) && store.restore(receipt).succeeded) std::erase(replacement.paths, receipt.path);
        }
    }
    if (!replacement.paths.empty()) DeletionRecords{session, replacement.paths}.takeOut(replacement.paths);
    showRestored(session, restored);
    if (json) {
        json->endArray();
        json->finish();
        return code;
    }
    if (back.size() > 1) {
        session.out << (restored.size() == back.size()
                            ? fmt::format("Restored {} items.\n", back.size())
                            : fmt::format("Restored {} of {} items.\n", restored.size(), back.size()));
    }
    if (!replacement.paths.empty()) session.out << fmt::format("Undo: {}--last --replace\n", restoreCall(session));
    if (isInTheWay && !options.replaces) {
        session.say(back.size() == 1 ? "--as NAME restores it under another name; --replace moves what is in its place "
                                       "to the Trash first."
                                     : "--replace moves what is in the way to the Trash first; --as NAME restores one "
                                       "item under another name.");
    }
    return code;
}

ExitCode run(Session& session, const Operands& operands, const RestoreOptions& options) {
    if (static_cast<int>(options.last) + static_cast<int>(options.all) + static_cast<int>(!operands.empty()) > 1)
        throw UsageError{"--last, --all and names exclude each other."};
    const TrashReceipts store{receiptsPath(session)};
    const std::vector<KnownReceipt> receipts = known(store);
    if (!options.last && !options.all && operands.empty()) {
        if (options.name || options.replaces || options.isDryRun)
            throw UsageError{
                "What is to be restored? Name it, or use --last or --all; kestrel restore lists what is there."};
        list(session, receipts, options.listsGone);
        return ExitCode::done;
    }
    const std::vector<const KnownReceipt*> back = chosen(session, receipts, operands, options);
    checkName(options, back.size());
    if (back.empty() && !session.options.json) {
        session.out << "Nothing that was moved to the Trash from here is still in it.\n";
        return ExitCode::done;
    }
    return restore(session, store, back, options);
}

}  // namespace

void addRestoreCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<RestoreOptions>();
    CLI::App& command = addCommand(
        app,
        {.name = "restore",
         .operands = "[NAME…]",
         .description = "Lists what “kestrel trash” moved away, or puts it back; never overwrites.",
         .examples = {"kestrel restore", "kestrel restore --last", "kestrel restore old.iso",
                      "kestrel restore ~/Documents/letter.txt --as older.txt", "kestrel restore 1B4E28BA --replace"},
         .mostOperands = Command::unlimited},
        [&session, options](const Operands& names) { return run(session, names, *options); });
    command.add_flag("--last", options->last, "Everything that the last “kestrel trash” moved");
    command.add_flag("--all", options->all, "Everything that is listed");
    command.add_option("--as", options->name, "Give the item this name, in the folder it came from")->type_name("NAME");
    command.add_flag("--replace", options->replaces, "Move what is in the way to the Trash first");
    command.add_flag("--include-high-risk", options->includesHighRisk,
                     "With --replace: let items of high risk be moved away too");
    command.add_flag("--gone", options->listsGone, "List also what is no longer in the Trash");
    command.add_flag("--dry-run", options->isDryRun, "Only show what would be restored");
}

}  // namespace KestrelCLI
