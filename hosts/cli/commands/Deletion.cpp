#include "commands/Deletion.hpp"

#include "commands/NamedItem.hpp"
#include "output/ModelJSON.hpp"
#include "output/Table.hpp"
#include "store/DeletionRecords.hpp"
#include "store/Places.hpp"
#include "terminal/Interruption.hpp"
#include "terminal/InterruptionWatch.hpp"
#include "terminal/Question.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Deletion/DeletionMeasurement.hpp"
#include "KestrelCore/Deletion/DeletionPlan.hpp"
#include "KestrelCore/Deletion/SafetyPolicy.hpp"
#include "KestrelCore/Deletion/TrashReceipts.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <algorithm>
#include <cstdint>
#include <fmt/format.h>
#include <vector>

// What trash, remove and apps --trash-residues do with paths, in this order; nothing changes before the last step:
//
//     name      each operand becomes the path of one item, or is refused
//     plan      each item gets its record, its rating and, where a rule says so, the sentence why it stays
//     show      the whole plan, refused items among it
//     ask       a word of the user's, unless an option gave it
//     execute   the library does it, item by item, and judges each one anew right before
//
// Nothing here decides that an item may go: the plan tells early what the library would say anyway.

namespace KestrelCLI {

namespace {

using namespace KestrelCore;

/// A refusal by a rule of safety has an exit code of its own, so that a script can tell it from what went wrong.
ExitCode codeOf(KestrelError::Case errorCase) {
    return errorCase == KestrelError::Case::safetyViolation ? ExitCode::refused : ExitCode::failed;
}

/// One path of the command line on its way.
struct PlannedItem {
    Text path;
    std::optional<FileRecord> record;
    RiskLevel risk = RiskLevel::normal;
    std::optional<Text> refusal;
    ExitCode code = ExitCode::done;  ///< of the refusal: only the policy's count as such

    PlannedItem& refuse(const Text& reason, ExitCode exitCode) {
        refusal = reason;
        code = exitCode;
        return *this;
    }
};

/// What is to become of an operand. The order of the tests decides which reason is told: what the operand itself says,
/// then the rules by path, then what the disk says, and at last what the options allow.
PlannedItem planned(const NamedItem& named, const DeletionRecords& saved, const DeletionOptions& options,
                    const DeletionPlan& judge, DeletionMeasurement& measurement,
                    const CancellationToken& cancellation) {
    PlannedItem item{.path = named.path, .record = {}, .refusal = {}};
    if (named.refusal) return item.refuse(*named.refusal, named.code);
    const URL url = URL::fromPath(item.path);
    item.risk = SafetyPolicy::risk(url);
    if (const auto reason = SafetyPolicy::blockedReason(url)) return item.refuse(*reason, ExitCode::refused);

    item.record = saved.record(item.path);
    if (!item.record) item.record = DeletionPlan::freshRecord(item.path, measurement, cancellation);
    if (!item.record) return item.refuse(missingMessage, ExitCode::failed);
    // A saved rating may come from a tampered file; the stricter one holds.
    item.risk = std::max(item.risk, item.record->risk());
    if (const auto error = judge.objection(*item.record))
        return item.refuse(error->errorDescription(), codeOf(error->errorCase()));
    if (item.risk == RiskLevel::blocked)
        return item.refuse("The item was rated as blocked when scanned.", ExitCode::refused);
    if (item.risk == RiskLevel::high && !options.includesHighRisk)
        return item.refuse("The item is of high risk; --include-high-risk lets it go.", ExitCode::refused);
    return item;
}

Style styleOf(RiskLevel level) {
    switch (level) {
    case RiskLevel::normal: break;
    case RiskLevel::caution: return Style::warning;
    case RiskLevel::high: return Style::bad;
    case RiskLevel::blocked: return Style::match;
    }
    return Style::plain;
}

/// The plan for a person: each item, and on the next line why it is refused. Nothing is shortened, whatever the width
/// of the terminal: what is agreed to must be seen whole.
void showPlan(const Session& session, std::ostream& out, const std::vector<PlannedItem>& plan) {
    Table table{{{.title = "Size", .align = Table::Align::right}, {.title = "Risk"}, {.title = "Item"}}};
    for (const PlannedItem& item : plan) {
        table.addRow({{item.record ? session.size(item.record->displayBytes()) : "–"},
                      {std::string{nameOf(item.risk)}, styleOf(item.risk)},
                      {session.shown(item.path.view()), item.refusal ? Style::quiet : Style::plain}});
        if (item.refusal)
            table.addRow({{""}, {""}, {"  Refused: " + session.shown(item.refusal->view()), Style::warning}});
    }
    // A width of 0: no column gives way.
    table.write(out, 0, &out == &session.out && session.hasColor());
}

void writePlan(JSONOutput& json, const std::vector<PlannedItem>& plan) {
    json.beginArray("plan");
    for (const PlannedItem& item : plan) {
        json.beginObject();
        json.member("path", item.path.view());
        if (item.record) json.member("displayBytes", item.record->displayBytes());
        json.member("risk", nameOf(item.risk));
        if (item.refusal) json.member("refusal", item.refusal->view());
        json.endObject();
    }
    json.endArray();
}

void writeResults(JSONOutput& json, const std::vector<DeletionItemResult>& results) {
    json.beginArray("results");
    for (const DeletionItemResult& result : results) {
        json.beginObject();
        json.member("path", result.path.view());
        json.member("succeeded", result.succeeded);
        if (result.resultingPath) json.member("resultingPath", result.resultingPath->view());
        json.member("message", result.message.view());
        json.endObject();
    }
    json.endArray();
}

std::vector<Text> pathsOf(const std::vector<FileRecord>& records) {
    std::vector<Text> paths;
    for (const FileRecord& record : records) paths.push_back(record.path());
    return paths;
}

std::string itemCount(std::uint64_t count) { return count == 1 ? "1 item" : fmt::format("{} items", count); }

/// Said once behind the sum, and not with each item.
constexpr const char* stillUsedSentence = " It still counts as used until the Trash is emptied: kestrel trash --empty.";

/// The message of one item, without the sentence about the space that all trashed items have in common.
std::string withoutSpaceSentence(const DeletionItemResult& result) {
    constexpr std::string_view sentence = " Space is reclaimed after Trash is emptied.";
    std::string message = result.message.string();
    const std::size_t at = result.succeeded && result.resultingPath ? message.find(sentence) : std::string::npos;
    if (at != std::string::npos) message.erase(at, sentence.size());
    return message;
}

/// What became of the items that the plan let pass.
struct Execution {
    std::vector<DeletionItemResult> results;  ///< of the items that were tried
    std::vector<FileRecord> gone;
    bool isInterrupted = false;
};

/// Lets the library do it, one item after the other, and tells a person of each at once.
Execution execute(const Session& session, const std::vector<FileRecord>& records, DeletionMode mode,
                  const std::optional<Text>& typed) {
    Execution execution;
    DeletionCoordinator coordinator{FileManager::standard(), ownPlaces(session)};
    const TrashReceipts receipts{receiptsPath(session)};
    execution.isInterrupted = Interruption::isRequested();
    if (execution.isInterrupted) return execution;
    const InterruptionWatch watch;
    const auto onResult = [&](const DeletionItemResult& result) {
        if (!session.options.json) {
            session.out << session.painted(result.succeeded ? Style::good : Style::bad,
                                           fmt::format("{}: {}", session.shown(result.path.view()),
                                                       session.shown(withoutSpaceSentence(result))))
                        << '\n';
        }
        return !Interruption::isRequested();
    };
    execution.results = receipts.execute(coordinator, {records, mode, typed}, onResult, watch.token());
    // Items that were not begun have no result; one that was given up on the way has one that did not succeed.
    execution.isInterrupted = execution.results.size() < records.size() ||
                              (watch.token().isCancelled() && !execution.results.back().succeeded);
    for (std::size_t i = 0; i < execution.results.size(); ++i) {
        if (execution.results[i].succeeded) execution.gone.push_back(records[i]);
    }
    return execution;
}

}  // namespace

std::vector<ProtectedPlace> ownPlaces(const Session& session) {
    std::vector<ProtectedPlace> places;
    for (const std::string& path : ownPaths(session))
        places.push_back({path, "Kestrel’s own snapshot database is there; “kestrel clear” empties it."});
    return places;
}

std::string restoreCall(const Session& session) {
    const auto store = namedStorePath(session);
    if (!store) return "kestrel restore ";
    // It is to be copied into a shell, also with blanks in it.
    std::string quoted;
    for (const char c : *store) quoted += c == '\'' ? std::string{"'\\''"} : std::string{c};
    return fmt::format("kestrel restore --store '{}' ", session.shown(quoted));
}

ExitCode exitCode(const DeletionItemResult& result) {
    if (result.succeeded) return ExitCode::done;
    return result.errorCase ? codeOf(*result.errorCase) : ExitCode::failed;
}

ExitCode runDeletion(Session& session, const Operands& paths, const DeletionOptions& options) {
    const bool isTrash = options.mode == DeletionMode::trash;
    std::vector<NamedItem> named;
    std::vector<Text> namedPaths;
    for (const std::string& path : paths) {
        named.push_back(namedItem(path));
        if (!named.back().refusal) namedPaths.emplace_back(named.back().path);
    }
    // The scan's sizes and ratings are those that the user has seen; that the item still is the same is looked up anew.
    const DeletionRecords saved{session, namedPaths};
    const DeletionPlan judge{ownPlaces(session)};

    // Whatever a folder holds, Ctrl-C ends the look at it.
    const InterruptionWatch watch;
    DeletionMeasurement measurement;
    std::vector<PlannedItem> plan;
    std::vector<FileRecord> records;
    std::uint64_t unread = 0;
    ExitCode code = ExitCode::done;
    for (const NamedItem& item : named) {
        Interruption::check();
        plan.push_back(planned(item, saved, options, judge, measurement, watch.token()));
        code = combined(code, plan.back().code);
        if (plan.back().refusal) continue;
        records.push_back(*plan.back().record);
        // Looked at once, however often it is asked: the sums of what comes free need the same look.
        unread += measurement.measure(records.back().path(), watch.token()).unread;
    }
    Interruption::check();

    // A person who is asked needs to see the plan first, also where it goes elsewhere, or into the JSON object later.
    const bool asks = !options.isDryRun && !records.empty() && (isTrash ? !options.isConfirmed : !options.confirmation);
    const bool isSeen = !session.options.json && session.terminal.isOutput;
    if (!session.options.json) showPlan(session, session.out, plan);
    if (asks && !isSeen && session.terminal.isInput) showPlan(session, session.messages, plan);
    const std::string amount =
        fmt::format("{} ({})", itemCount(records.size()), session.size(measurement.freedBytes(pathsOf(records))));

    if (unread > 0)
        session.say(fmt::format("{} could not be looked at; the sizes leave out what is there.", itemCount(unread)));

    bool isDeclined = false;
    std::optional<Text> typed;
    if (asks && isTrash) {
        isDeclined = !confirm(session, fmt::format("Move {} to the Trash?", amount), "--yes answers instead.");
    } else if (asks) {
        typed = ask(session, fmt::format("Type DELETE to remove {} for good:", amount),
                    "--confirm DELETE answers instead.");
    } else if (options.confirmation) {
        typed = *options.confirmation;
    }
    // Who says no has what they wanted; to a script that waited for a yes it is a failure all the same.
    if (isDeclined) {
        session.say("Nothing was moved.");
        code = combined(code, ExitCode::failed);
    }

    Execution execution;
    if (!options.isDryRun && !isDeclined && !records.empty())
        execution = execute(session, records, options.mode, typed);
    const std::vector<Text> gonePaths = pathsOf(execution.gone);
    // Also after an interruption: what is gone must not be shown by the next command.
    saved.takeOut(gonePaths);
    for (const DeletionItemResult& result : execution.results) code = combined(code, exitCode(result));

    const std::int64_t reclaimable = measurement.freedBytes(options.isDryRun ? pathsOf(records) : gonePaths);
    if (session.options.json) {
        JSONOutput json{session.out};
        writePlan(json, plan);
        writeResults(json, execution.results);
        json.member("reclaimableBytes", reclaimable);
        if (options.afterwards) options.afterwards(&json, gonePaths);
        json.finish();
    } else if (options.isDryRun) {
        session.out << fmt::format("{} would go; nothing was touched.\n", amount);
    } else if (!isDeclined) {
        session.out << (gonePaths.empty() ? fmt::format("Nothing was {}.\n", isTrash ? "moved to the Trash" : "removed")
                                          : fmt::format("{} {}{} ({}).{}\n", isTrash ? "Moved" : "Removed",
                                                        itemCount(gonePaths.size()), isTrash ? " to the Trash" : "",
                                                        session.size(reclaimable), isTrash ? stillUsedSentence : ""));
        if (options.afterwards) options.afterwards(nullptr, gonePaths);
        if (isTrash && !gonePaths.empty()) session.out << fmt::format("Undo: {}--last\n", restoreCall(session));
    }
    if (execution.isInterrupted) {
        const std::size_t left = records.size() - execution.results.size();
        session.say(fmt::format("Interrupted: {} left as they were.", itemCount(left)));
        return ExitCode::interrupted;
    }
    return code;
}

}  // namespace KestrelCLI
