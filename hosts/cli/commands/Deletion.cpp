#include "commands/Deletion.hpp"

#include "output/ByteFormat.hpp"
#include "output/ModelJSON.hpp"
#include "output/RiskStyle.hpp"
#include "output/Table.hpp"
#include "output/TerminalText.hpp"
#include "store/DataPlace.hpp"
#include "store/DeletionRun.hpp"
#include "store/NamedItem.hpp"
#include "store/Places.hpp"
#include "terminal/Interruption.hpp"
#include "terminal/InterruptionWatch.hpp"
#include "terminal/Question.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fmt/format.h>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
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

/// The plan for a person: each item, and on the next line why it is refused. Nothing is cut, whatever the width of the
/// terminal: what is agreed to must be seen whole. On a terminal "~" is the home directory, which is whole, too.
void showPlan(const Session& session, std::ostream& out, const DeletionProposal& proposal) {
    constexpr std::size_t riskColumns = 7;
    constexpr std::string_view indent = "  ";
    constexpr std::size_t fewest = 20;  ///< columns for a reason
    std::size_t before = riskColumns + 2 * indent.size();
    std::size_t sizeColumns = 4;
    for (const ProposedItem& item : proposal.items) {
        if (item.record) sizeColumns = std::max(sizeColumns, session.size(item.record->displayBytes()).size());
    }
    before += sizeColumns + indent.size();
    Table table{{{.title = "Size", .align = Table::Align::right}, {.title = "Risk"}, {.title = "Item"}}};
    for (const ProposedItem& item : proposal.items) {
        table.addRow({{item.record ? session.size(item.record->displayBytes()) : "–"},
                      {std::string{nameOf(item.risk)}, styleOf(item.risk)},
                      {session.shownPath(item.path.view()), item.refusal ? Style::quiet : Style::plain}});
        if (!item.refusal) continue;
        const std::string reason = "Refused: " + session.shown(item.refusal->view());
        // Parted between words rather than by the terminal.
        const std::size_t room = session.columns() == 0
                                     ? reason.size()
                                     : std::max(fewest, session.columns() - std::min(before, session.columns()));
        for (const std::string_view piece : TerminalText::wrapped(reason, room))
            table.addRow({{""}, {""}, {fmt::format("{}{}", indent, piece), Style::warning}});
    }
    // A width of 0: no column gives way.
    table.write(out, 0, &out == &session.out && session.hasColor());
}

void writePlan(JSONOutput& json, const DeletionProposal& proposal) {
    json.beginArray("plan");
    for (const ProposedItem& item : proposal.items) {
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

/// Said once behind the sum, and not with each item.
constexpr const char* stillUsedSentence = " It still counts as used until the Trash is emptied: kestrel trash --empty.";

void showResult(const Session& session, const DeletionItemResult& result) {
    session.out << session.painted(result.succeeded ? Style::good : Style::bad,
                                   fmt::format("{}: {}", session.shownPath(result.path.view()),
                                               session.shown(withoutSpaceSentence(result))))
                << '\n';
}

}  // namespace

void checkConfirmation(const std::optional<std::string>& confirmation) {
    if (!confirmation || *confirmation == "DELETE") return;
    throw UsageError{fmt::format("--confirm {}: the word is DELETE, in capitals. Nothing was removed.", *confirmation)};
}

std::string restoreCall(const Session& session) {
    const auto store = namedStorePath(session);
    if (!store) return "kestrel restore ";
    // It is to be copied into a shell, also with blanks in it.
    std::string quoted;
    for (const char c : *store) quoted += c == '\'' ? std::string{"'\\''"} : std::string{c};
    return fmt::format("kestrel restore --store '{}' ", session.shown(quoted));
}

ExitCode runDeletion(Session& session, const Operands& paths, const DeletionOptions& options) {
    checkConfirmation(options.confirmation);
    std::vector<DeletionTarget> targets;
    for (const std::string& path : paths) {
        NamedItem named = namedItem(path);
        targets.push_back({.path = named.path, .refusal = std::move(named.refusal), .code = named.code});
    }
    return runDeletion(session, targets, options);
}

ExitCode runDeletion(Session& session, const std::vector<DeletionTarget>& targets, const DeletionOptions& options) {
    checkConfirmation(options.confirmation);
    const bool isTrash = options.mode == DeletionMode::trash;
    // Whatever a folder holds, Ctrl-C ends the look at it.
    const InterruptionWatch watch;
    DeletionRun run{session, [&session](std::string_view sentence) { session.say(sentence); }};
    const auto proposal =
        run.propose(targets, options.includesHighRisk ? HighRisk::goes : HighRisk::stays, watch.token());
    Interruption::check();
    if (!proposal) throw Interrupted{};
    ExitCode code = ExitCode::done;
    for (const ProposedItem& item : proposal->items) code = combined(code, item.code);
    const std::size_t going = proposal->records().size();

    // A person who is asked needs to see the plan first, also where it goes elsewhere, or into the JSON object later.
    const bool asks = !options.isDryRun && going > 0 && (isTrash ? !options.isConfirmed : !options.confirmation);
    const bool isSeen = !session.options.json && session.terminal.isOutput;
    const auto show = [&](std::ostream& out) {
        options.planOutput ? options.planOutput(out, *proposal) : showPlan(session, out, *proposal);
    };
    if (!session.options.json) show(session.out);
    if (asks && !isSeen && session.terminal.isInput) show(session.messages);
    const std::string amount = fmt::format("{} ({})", ByteFormat::items(going), session.size(proposal->freedBytes));

    if (proposal->unread > 0)
        session.say(fmt::format("{} could not be looked at; the sizes leave out what is there.",
                                ByteFormat::items(proposal->unread)));

    if (going > 0 && !options.remark.empty() && !session.options.json) session.say(options.remark);

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

    DeletionOutcome outcome;
    if (!options.isDryRun && !isDeclined && going > 0) {
        // Between two items the flag itself is asked, which the token follows only soon.
        if (Interruption::isRequested()) {
            outcome.isInterrupted = true;
        } else {
            const auto onResult = [&](const DeletionItemResult& result) {
                if (!session.options.json) showResult(session, result);
                return !Interruption::isRequested();
            };
            LastLook lastLook;
            if (options.lastLook)
                lastLook = [&](const FileRecord& record) { return options.lastLook(record, watch.token()); };
            outcome = run.execute(*proposal, options.mode, typed, onResult, watch.token(), lastLook);
        }
    }
    for (const DeletionItemResult& result : outcome.results) code = combined(code, exitCode(result));
    if (isTrash && std::ranges::any_of(outcome.results, [](const auto& result) { return !result.succeeded; })) {
        // What goes to the Trash has a receipt written before, and that may be what had no place.
        if (const auto why = whyNothingIsKept(session))
            session.say(*why + " A move to the Trash needs a receipt there; kestrel remove needs none.");
    }

    const std::int64_t reclaimable = options.isDryRun ? proposal->freedBytes : outcome.freedBytes;
    if (session.options.json) {
        JSONOutput json{session.out};
        writePlan(json, *proposal);
        writeResults(json, outcome.results);
        json.member("reclaimableBytes", reclaimable);
        if (options.afterwards) options.afterwards(&json, outcome.gone);
        json.finish();
    } else if (options.isDryRun) {
        session.out << fmt::format("{} would go; nothing was touched.\n", amount);
    } else if (!isDeclined) {
        session.out << (outcome.gone.empty()
                            ? fmt::format("Nothing was {}.\n", isTrash ? "moved to the Trash" : "removed")
                            : fmt::format("{} {}{} ({}).{}\n", isTrash ? "Moved" : "Removed",
                                          ByteFormat::items(outcome.gone.size()), isTrash ? " to the Trash" : "",
                                          session.size(reclaimable), isTrash ? stillUsedSentence : ""));
        if (options.afterwards) options.afterwards(nullptr, outcome.gone);
        if (isTrash && !outcome.gone.empty()) session.out << fmt::format("Undo: {}--last\n", restoreCall(session));
    }
    if (outcome.isInterrupted) {
        const std::size_t left = going - outcome.results.size();
        session.say(fmt::format("Interrupted: {} left as they were.", ByteFormat::items(left)));
        return ExitCode::interrupted;
    }
    return code;
}

}  // namespace KestrelCLI
