#include "commands/Commands.hpp"

#include "commands/Deletion.hpp"
#include "commands/ReceiptChoice.hpp"
#include "output/ModelJSON.hpp"
#include "output/Table.hpp"
#include "output/Times.hpp"
#include "store/Restoration.hpp"
#include "terminal/Interruption.hpp"

#include <algorithm>
#include <cstddef>
#include <fmt/format.h>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// What is named is looked up before anything is moved: a mistyped name does nothing at all. How the items then come
// back is in Restoration.

namespace KestrelCLI {

namespace {

using namespace KestrelCore;

/// Enough of an identifier to tell receipts apart when they are listed.
constexpr std::size_t shownDigits = 8;

struct RestoreOptions {
    bool last = false;
    bool all = false;
    bool listsGone = false;
    bool includesHighRisk = false;  ///< among what is replaced
    bool isDryRun = false;
    RestoreTerms terms;
};

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
        row.push_back({session.shownPath(path)});
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

/// Only the last component of a path can be another.
void checkName(const RestoreOptions& options, std::size_t count) {
    if (!options.terms.name) return;
    const std::string& name = *options.terms.name;
    if (options.terms.replaces) throw UsageError{"--as and --replace exclude each other."};
    if (count != 1) throw UsageError{"--as gives one item another name; name one."};
    if (name == "." || name == ".." || name.find('/') != std::string::npos)
        throw UsageError{"--as takes a name, without “/”; the item goes to the folder it came from."};
    if (Text{name}.view() != name) throw UsageError{"--as takes a name in UTF-8."};
}

/// What would happen to each, without touching anything.
std::string forecast(const KnownReceipt& each, const RestoreTerms& terms) {
    if (!each.place) return "No longer in the Trash.";
    const Text destination = terms.destination(each.receipt);
    if (!isTaken(destination))
        return destination == each.receipt.path ? "Would be restored."
                                                : fmt::format("Would be restored as “{}”.", *terms.name);
    return terms.replaces ? "Would be restored; what is in its place would go to the Trash."
                          : "Another item is in its place.";
}

ExitCode restore(const Session& session, const Restoration& restoration, const std::vector<const KnownReceipt*>& back,
                 const RestoreOptions& options) {
    std::optional<JSONOutput> json;
    if (session.options.json) {
        json.emplace(session.out);
        writeReceipts(*json, back);
        json->beginArray("results");
    }
    ExitCode code = ExitCode::done;
    if (options.isDryRun) {
        for (const KnownReceipt* each : back) {
            const std::string text = forecast(*each, options.terms);
            if (!json)
                session.out << session.shownPath(each->receipt.path.view()) << ": " << session.shown(text) << '\n';
        }
        if (json) {
            json->endArray();
            json->finish();
        } else {
            session.out << "Nothing was touched.\n";
        }
        return code;
    }

    const auto onResult = [&](const RestoreResult& restored) {
        const DeletionItemResult& result = restored.item;
        if (json) {
            json->beginObject();
            json->member("path", result.path.view());
            json->member("succeeded", result.succeeded);
            if (result.resultingPath) json->member("resultingPath", result.resultingPath->view());
            if (restored.replacedPlace) json->member("replaced", restored.replacedPlace->view());
            json->member("message", result.message.view());
            json->endObject();
        } else {
            const Text& shown = result.resultingPath ? *result.resultingPath : result.path;
            session.out << session.painted(result.succeeded ? Style::good : Style::bad,
                                           fmt::format("{}: {}", session.shownPath(shown.view()),
                                                       session.shown(result.message.view())))
                        << '\n';
        }
    };
    const RestoreOutcome outcome = restoration.execute(back, options.terms, onResult, Interruption::isRequested);
    if (outcome.isInterrupted) code = ExitCode::interrupted;
    bool isInTheWay = false;
    for (const RestoreResult& result : outcome.results) {
        code = combined(code, exitCode(result.item));
        isInTheWay = isInTheWay || result.isInTheWay;
    }
    if (json) {
        json->endArray();
        json->finish();
        return code;
    }
    if (back.size() > 1) {
        session.out << (outcome.restored == back.size()
                            ? fmt::format("Restored {} items.\n", back.size())
                            : fmt::format("Restored {} of {} items.\n", outcome.restored, back.size()));
    }
    if (outcome.hasReplaced) session.out << fmt::format("Undo: {}--last --replace\n", restoreCall(session));
    if (isInTheWay && !options.terms.replaces) {
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
    const Restoration restoration{session, [&session](std::string_view sentence) { session.say(sentence); }};
    const std::vector<KnownReceipt> receipts = restoration.receipts();
    if (!options.last && !options.all && operands.empty()) {
        if (options.terms.name || options.terms.replaces || options.isDryRun)
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
    return restore(session, restoration, back, options);
}

}  // namespace

void addRestoreCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<RestoreOptions>();
    const CommandOptions command = addCommand(
        app,
        {.name = "restore",
         .operands = "[NAME…]",
         .description = "Lists what “kestrel trash” moved away, or puts it back; never overwrites.",
         .examples = {"kestrel restore", "kestrel restore --last", "kestrel restore old.iso",
                      "kestrel restore ~/Documents/letter.txt --as older.txt", "kestrel restore 1B4E28BA --replace"},
         .mostOperands = Command::unlimited,
         .operandKind = ValueKind::receipt},
        [&session, options](const Operands& names) {
            options->terms.highRisk = options->includesHighRisk ? HighRisk::goes : HighRisk::stays;
            return run(session, names, *options);
        });
    command.flag("--last", options->last, "Everything that the last “kestrel trash” moved");
    command.flag("--all", options->all, "Everything that is listed");
    command.value("--as", options->terms.name, "Give the item this name, in the folder it came from").valueName("NAME");
    command.flag("--replace", options->terms.replaces, "Move what is in the way to the Trash first");
    command.flag("--include-high-risk", options->includesHighRisk,
                 "With --replace: let items of high risk be moved away too");
    command.flag("--gone", options->listsGone, "List also what is no longer in the Trash");
    command.flag("--dry-run", options->isDryRun, "Only show what would be restored");
}

}  // namespace KestrelCLI
