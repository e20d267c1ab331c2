#include "commands/TrashEmptying.hpp"

#include "commands/Deletion.hpp"
#include "output/ByteFormat.hpp"
#include "output/JSONOutput.hpp"
#include "output/ModelJSON.hpp"
#include "output/Table.hpp"
#include "output/Times.hpp"
#include "store/AgeValue.hpp"
#include "store/DeletionRecords.hpp"
#include "store/DeletionRun.hpp"
#include "store/Places.hpp"
#include "terminal/Interruption.hpp"
#include "terminal/InterruptionWatch.hpp"
#include "terminal/Question.hpp"

#include "KestrelCore/Deletion/DeletionMeasurement.hpp"
#include "KestrelCore/Deletion/TrashBin.hpp"
#include "KestrelCore/Deletion/TrashReceipts.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fmt/format.h>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

namespace KestrelCLI {

namespace {

using namespace KestrelCore;

/// As many lines of a trash as a person looks through; of the smaller items the sum is told.
constexpr std::size_t mostLinesOfTrash = 40;

struct PlannedItem {
    TrashedItem item;
    std::int64_t bytes = 0;
};

std::string_view nameOf(TrashedItemState state) {
    switch (state) {
    case TrashedItemState::whole: return "whole";
    case TrashedItemState::withoutEntry: return "withoutEntry";
    case TrashedItemState::entryAlone: return "entryAlone";
    }
    return "";
}

std::string whereFrom(const Session& session, const TrashedItem& item) {
    std::string shown = session.shownPath(item.path ? item.path->string() : item.place);
    if (item.state == TrashedItemState::withoutEntry) shown += " (nothing tells where it was)";
    if (item.state == TrashedItemState::entryAlone) shown += " (only the entry is left)";
    return shown;
}

/// Trash by trash, largest items first.
void showPlan(const Session& session, std::ostream& out, const TrashBin& bin, const std::vector<PlannedItem>& plan) {
    const bool isOut = &out == &session.out;
    const bool isTerminal = !isOut || session.terminal.isOutput;
    for (std::size_t trash = 0; trash < bin.trashes().size(); ++trash) {
        std::vector<const PlannedItem*> items;
        for (const PlannedItem& each : plan) {
            if (each.item.trash == trash) items.push_back(&each);
        }
        if (items.empty()) continue;
        std::ranges::stable_sort(items, [](const auto* a, const auto* b) { return a->bytes > b->bytes; });
        out << session.shownPath(bin.trashes()[trash]) << '\n';
        Table table{{{.title = "Size", .align = Table::Align::right},
                     {.title = "Trashed"},
                     {.title = "From", .shrinks = true}}};
        const std::size_t shown = isTerminal ? std::min(items.size(), mostLinesOfTrash) : items.size();
        for (std::size_t i = 0; i < shown; ++i) {
            const TrashedItem& item = items[i]->item;
            table.addRow({{session.size(items[i]->bytes)},
                          {item.trashedAt ? localTime(*item.trashedAt) : ""},
                          {whereFrom(session, item)}});
        }
        if (isOut)
            table.write(session);
        else
            table.write(out, session.terminal.columns, false, session.characters());
        std::int64_t rest = 0;
        for (std::size_t i = shown; i < items.size(); ++i) rest += items[i]->bytes;
        if (shown < items.size())
            out << fmt::format("and {} smaller ({}); --dry-run in a pipe shows all\n",
                               ByteFormat::items(items.size() - shown), session.size(rest));
        out << '\n';
    }
}

void writePlan(JSONOutput& json, const TrashBin& bin, const std::vector<PlannedItem>& plan) {
    json.beginArray("plan");
    for (const PlannedItem& each : plan) {
        json.beginObject();
        json.member("trash", bin.trashes().at(each.item.trash));
        json.member("place", each.item.place);
        if (each.item.path) json.member("path", each.item.path->view());
        if (each.item.trashedAt) writeDate(json, "trashedAt", *each.item.trashedAt);
        json.member("displayBytes", each.bytes);
        json.member("state", nameOf(each.item.state));
        json.endObject();
    }
    json.endArray();
}

/// Drops the receipts of what is gone. Another item may have got the place of one meanwhile: that is there, and its
/// receipt stays.
void forgetReceipts(const Session& session, const std::vector<const TrashedItem*>& gone) {
    std::set<std::string> places;
    std::set<std::pair<std::uint64_t, std::uint64_t>> identities;
    for (const TrashedItem* item : gone) {
        places.insert(item->place);
        if (item->item) identities.emplace(item->item->device, item->item->inode);
    }
    const TrashReceipts store{receiptsPath(session)};
    for (const TrashReceipt& receipt : store.receipts()) {
        // One whose move was interrupted tells no place.
        const bool isGone = receipt.resultingPath
                                ? places.contains(receipt.resultingPath->string())
                                : identities.contains({receipt.identity.device, receipt.identity.inode});
        if (isGone && !TrashReceipts::presentPlace(receipt)) store.forget(receipt);
    }
}

}  // namespace

ExitCode emptyTrash(const Session& session, const TrashEmptyingOptions& options) {
    checkConfirmation(options.confirmation);
    // The moment before which an item went that is to go.
    std::optional<Date> before;
    if (options.olderThan) before = timeSpanOption(*options.olderThan, Date::now()).begin;
    TrashBin bin{ownPlaces(session)};
    TrashBin::Listing listing = bin.items();
    const InterruptionWatch watch;
    DeletionMeasurement measurement;
    std::size_t unread = listing.unread;
    std::vector<PlannedItem> plan;
    std::vector<Text> places;
    for (TrashedItem& item : listing.items) {
        Interruption::check();
        const bool isOld = !before || (item.trashedAt &&
                                       item.trashedAt->secondsSinceReferenceDate < before->secondsSinceReferenceDate);
        if (!isOld) continue;
        std::int64_t bytes = 0;
        if (item.item) {
            places.emplace_back(item.place);
            const auto amount = measurement.measure(places.back(), watch.token());
            bytes = amount.allocatedBytes;
            unread += amount.unread;
        }
        plan.push_back({std::move(item), bytes});
    }
    Interruption::check();
    const std::string amount =
        fmt::format("{} ({})", ByteFormat::items(plan.size()), session.size(measurement.freedBytes(places)));

    const bool asks = !options.isDryRun && !plan.empty() && !options.confirmation;
    if (!session.options.json) {
        if (plan.empty())
            session.out << (before && !listing.items.empty() ? "Nothing in the Trash is that old.\n"
                            : unread > 0                     ? "Nothing in the Trash could be read.\n"
                                                             : "The Trash is empty.\n");
        showPlan(session, session.out, bin, plan);
    }
    if (asks && session.terminal.isInput && (session.options.json || !session.terminal.isOutput))
        showPlan(session, session.messages, bin, plan);
    if (unread > 0)
        session.say(
            fmt::format("{} could not be looked at; the sizes leave out what is there.", ByteFormat::items(unread)));

    std::optional<Text> typed;
    if (asks) {
        typed = ask(session, fmt::format("Type DELETE to remove {} for good:", amount),
                    "--confirm DELETE answers instead.");
    } else if (options.confirmation) {
        typed = *options.confirmation;
    }

    ExitCode code = ExitCode::done;
    std::vector<DeletionItemResult> results;
    const bool isTried = !options.isDryRun && !plan.empty();
    const bool isConfirmed = typed && typed->view() == "DELETE";
    if (isTried) {
        std::vector<TrashedItem> items;
        for (const PlannedItem& each : plan) items.push_back(each.item);
        results = bin.empty(
            items, typed,
            [&](const DeletionItemResult& result) {
                // What went as it should is one sum at the end.
                if (!result.succeeded && isConfirmed && !session.options.json) {
                    session.out << session.painted(Style::bad,
                                                   fmt::format("{}: {}", session.shownPath(result.path.view()),
                                                               session.shown(result.message.view())))
                                << '\n';
                }
                return !Interruption::isRequested();
            },
            watch.token());
    }
    std::vector<const TrashedItem*> gone;
    std::vector<Text> gonePlaces;
    for (std::size_t i = 0; i < results.size(); ++i) {
        code = combined(code, exitCode(results[i]));
        if (!results[i].succeeded) continue;
        gone.push_back(&plan[i].item);
        if (plan[i].item.item) gonePlaces.emplace_back(plan[i].item.place);
    }
    if (!gone.empty()) forgetReceipts(session, gone);
    // A scan of the home directory shows what lay in its Trash.
    if (!gonePlaces.empty()) DeletionRecords{session, gonePlaces}.takeOut(gonePlaces);

    const std::int64_t freed = measurement.freedBytes(options.isDryRun ? places : gonePlaces);
    if (session.options.json) {
        JSONOutput json{session.out};
        writePlan(json, bin, plan);
        json.beginArray("results");
        for (std::size_t i = 0; i < results.size(); ++i) {
            json.beginObject();
            json.member("path", results[i].path.view());
            json.member("place", plan[i].item.place);
            json.member("succeeded", results[i].succeeded);
            json.member("message", results[i].message.view());
            json.endObject();
        }
        json.endArray();
        json.member("reclaimableBytes", freed);
        json.finish();
    } else if (options.isDryRun && !plan.empty()) {
        session.out << fmt::format("{} would go for good; nothing was touched.\n", amount);
    } else if (isTried && !isConfirmed) {
        session.say("Nothing was removed: the word is DELETE.");
    } else if (isTried) {
        session.out << fmt::format("Removed {} from the Trash ({}).\n", ByteFormat::items(gone.size()),
                                   session.size(freed));
    }
    if (isTried && isConfirmed && (Interruption::isRequested() || results.size() < plan.size())) {
        session.say(fmt::format("Interrupted: {} left in the Trash.", ByteFormat::items(plan.size() - gone.size())));
        return ExitCode::interrupted;
    }
    return code;
}

}  // namespace KestrelCLI
