#include "commands/BrowseOutcomes.hpp"

#include "output/ByteFormat.hpp"

#include "KestrelCore/Deletion/DeletionCoordinator.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

bool hasGoneInPart(const DeletionItemResult& result) {
    return !result.succeeded &&
           result.message.view().find("Some of its contents were removed") != std::string_view::npos;
}

}  // namespace

BrowsePlan planOf(const DeletionProposal& proposal, const PlanDeletion& request) {
    BrowsePlan plan{.mode = request.mode,
                    .items = {},
                    .freedBytes = proposal.freedBytes,
                    .unread = proposal.unread,
                    .includesHighRisk = request.includesHighRisk};
    for (const ProposedItem& item : proposal.items) {
        BrowsePlan::Item& shown = plan.items.emplace_back(BrowsePlan::Item{.path = item.path});
        if (item.record) shown.bytes = item.record->displayBytes();
        shown.risk = item.risk;
        if (item.refusal) shown.refusal = item.refusal->string();
        // The key of this page, in place of the option of a command.
        if (item.isHighRiskAlone) shown.refusal = "The item is of high risk; h lets it go.";
        if (!item.refusal) ++plan.going;
        plan.hasHighRisk = plan.hasHighRisk || item.isHighRiskAlone;
    }
    return plan;
}

BrowseResults resultsOf(const Session& session, const DeletionOutcome& outcome, std::size_t asked, DeletionMode mode,
                        const std::vector<std::string>& remarks) {
    BrowseResults results{.summary = {}, .items = {}, .gone = outcome.gone};
    for (const DeletionItemResult& result : outcome.results)
        results.items.push_back({result.path, result.succeeded, withoutSpaceSentence(result)});
    for (const std::string& remark : remarks) results.items.push_back({Text{}, false, remark});
    const bool isTrash = mode == DeletionMode::trash;
    results.summary =
        outcome.gone.empty()
            ? fmt::format("Nothing was {}.", isTrash ? "moved to the Trash" : "removed")
            : fmt::format("{} {}{} ({}).", isTrash ? "Moved" : "Removed", ByteFormat::items(outcome.gone.size()),
                          isTrash ? " to the Trash" : "", session.size(outcome.freedBytes));
    // Nothing but a scan can tell what is left of an item that went in part.
    if (std::ranges::any_of(outcome.results, hasGoneInPart))
        results.summary +=
            " Of what is told of above a part is gone, which the saved scan shows still: scan again (r).";
    if (outcome.isInterrupted)
        results.summary +=
            fmt::format(" Stopped: {} left as they were.", ByteFormat::items(asked - outcome.results.size()));
    if (isTrash && !outcome.gone.empty())
        results.summary +=
            " z puts them back; until the Trash is emptied they still count as used (kestrel trash --empty).";
    return results;
}

BrowseResults resultsOf(const RestoreOutcome& outcome, const std::vector<std::string>& remarks) {
    BrowseResults results;
    std::string reasons;
    for (const RestoreResult& result : outcome.results) {
        if (!result.item.succeeded)
            reasons += fmt::format(" {}: {}", result.item.path.view(), result.item.message.view());
    }
    for (const std::string& remark : remarks) reasons += ' ' + remark;
    results.summary = outcome.results.empty()
                          ? "Nothing that was moved to the Trash from here is there."
                          : fmt::format("Put back {}.{}", ByteFormat::items(outcome.restored), reasons);
    return results;
}

}  // namespace KestrelCLI
