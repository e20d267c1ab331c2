#include "store/DeletionRun.hpp"

#include "store/NamedItem.hpp"
#include "store/Places.hpp"

#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Deletion/DeletionPlan.hpp"
#include "KestrelCore/Deletion/SafetyPolicy.hpp"
#include "KestrelCore/Deletion/TrashReceipts.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// A refusal by a rule of safety has an exit code of its own, so that a script can tell it from what went wrong.
ExitCode codeOf(KestrelError::Case errorCase) {
    return errorCase == KestrelError::Case::safetyViolation ? ExitCode::refused : ExitCode::failed;
}

ProposedItem refused(ProposedItem item, const Text& reason, ExitCode code) {
    item.refusal = reason;
    item.code = code;
    return item;
}

/// The order of the tests decides which reason is told: what was known before, then the rules by path, then what the
/// disk says, and at last what the user allows.
ProposedItem proposed(const DeletionTarget& target, const DeletionRecords& saved, HighRisk highRisk,
                      const DeletionPlan& judge, DeletionMeasurement& measurement,
                      const CancellationToken& cancellation) {
    ProposedItem item{.path = target.path, .record = {}, .refusal = {}};
    if (target.refusal) return refused(std::move(item), *target.refusal, target.code);
    const URL url = URL::fromPath(item.path);
    item.risk = SafetyPolicy::risk(url);
    if (const auto reason = SafetyPolicy::blockedReason(url))
        return refused(std::move(item), *reason, ExitCode::refused);

    item.record = saved.record(item.path);
    if (target.seen && target.seen->path().view() == item.path.view()) item.record = target.seen;
    if (!item.record) item.record = DeletionPlan::freshRecord(item.path, measurement, cancellation);
    if (!item.record) return refused(std::move(item), missingMessage, ExitCode::failed);
    // A saved rating may come from a tampered file; the stricter one holds.
    item.risk = std::max(item.risk, item.record->risk());
    if (const auto error = judge.objection(*item.record))
        return refused(std::move(item), error->errorDescription(), codeOf(error->errorCase()));
    if (item.risk == RiskLevel::blocked)
        return refused(std::move(item), "The item was rated as blocked when scanned.", ExitCode::refused);
    if (item.risk == RiskLevel::high && highRisk == HighRisk::stays) {
        item.isHighRiskAlone = true;
        return refused(std::move(item), "The item is of high risk; --include-high-risk lets it go.", ExitCode::refused);
    }
    return item;
}

}  // namespace

std::vector<FileRecord> DeletionProposal::records() const {
    std::vector<FileRecord> records;
    for (const ProposedItem& item : items) {
        if (!item.refusal) records.push_back(*item.record);
    }
    return records;
}

DeletionRun::DeletionRun(const Session& session, Remark remark)
    : session_{session}, remark_{std::move(remark)}, ownPlaces_{ownPlaces(session)},
      measurement_{std::make_shared<DeletionMeasurement>()} {}

std::optional<DeletionProposal> DeletionRun::propose(const std::vector<DeletionTarget>& targets, HighRisk highRisk,
                                                     const CancellationToken& cancellation) {
    if (cancellation.isCancelled()) return std::nullopt;
    std::vector<Text> paths;
    for (const DeletionTarget& target : targets) {
        if (!target.refusal) paths.push_back(target.path);
    }
    // The scan's sizes and ratings are those that the user has seen; that the item still is the same is looked up anew.
    const auto saved = std::make_shared<const DeletionRecords>(session_, paths, remark_);
    const auto measurement = std::make_shared<DeletionMeasurement>();
    const DeletionPlan judge{ownPlaces_};
    DeletionProposal proposal{.items = {}, .saved = saved, .measured = measurement};
    std::vector<Text> going;
    for (const DeletionTarget& target : targets) {
        if (cancellation.isCancelled()) return std::nullopt;
        proposal.items.push_back(proposed(target, *saved, highRisk, judge, *measurement, cancellation));
        const ProposedItem& item = proposal.items.back();
        if (item.refusal) continue;
        going.push_back(item.record->path());
        // Looked at once, however often it is asked: the sums of what comes free need the same look.
        proposal.unread += measurement->measure(going.back(), cancellation).unread;
    }
    if (cancellation.isCancelled()) return std::nullopt;
    proposal.freedBytes = measurement->freedBytes(going);
    measurement_ = measurement;
    return proposal;
}

DeletionOutcome DeletionRun::execute(const DeletionProposal& proposal, DeletionMode mode,
                                     const std::optional<Text>& typedConfirmation,
                                     const DeletionCoordinator::ResultObserver& onResult,
                                     const CancellationToken& cancellation, const LastLook& lastLook) {
    DeletionOutcome outcome;
    const std::vector<FileRecord> records = proposal.records();
    if (records.empty()) return outcome;
    outcome.isInterrupted = cancellation.isCancelled();
    if (outcome.isInterrupted) return outcome;
    DeletionCoordinator coordinator{FileManager::standard(), ownPlaces_};
    const TrashReceipts receipts{receiptsPath(session_)};
    outcome.results =
        receipts.execute(coordinator, {records, mode, typedConfirmation, lastLook}, onResult, cancellation);
    // Items that were not begun have no result; one that was given up on the way has one that did not succeed.
    outcome.isInterrupted =
        outcome.results.size() < records.size() || (cancellation.isCancelled() && !outcome.results.back().succeeded);
    for (std::size_t i = 0; i < outcome.results.size(); ++i) {
        if (outcome.results[i].succeeded) outcome.gone.push_back(records[i].path());
    }
    if (proposal.measured) outcome.freedBytes = proposal.measured->freedBytes(outcome.gone);
    // Also after an interruption: what is gone must not be shown by what comes next.
    if (proposal.saved) proposal.saved->takeOut(outcome.gone);
    measurement_ = std::make_shared<DeletionMeasurement>();
    return outcome;
}

std::optional<ChosenBytes> DeletionRun::chosenBytes(const std::vector<Text>& paths,
                                                    const CancellationToken& cancellation) {
    ChosenBytes chosen;
    for (const Text& path : paths) {
        // It would stay, and may be all of a disk.
        if (SafetyPolicy::blockedReason(URL::fromPath(path))) continue;
        chosen.unread += measurement_->measure(path, cancellation).unread;
        if (cancellation.isCancelled()) return std::nullopt;
    }
    chosen.freed = measurement_->freedBytes(paths);
    return chosen;
}

std::vector<ProtectedPlace> ownPlaces(const Session& session) {
    std::vector<ProtectedPlace> places;
    for (const std::string& path : ownPaths(session))
        places.push_back({path, "Kestrel’s own snapshot database is there; “kestrel clear” empties it."});
    return places;
}

std::string withoutSpaceSentence(const DeletionItemResult& result) {
    constexpr std::string_view sentence = " Space is reclaimed after Trash is emptied.";
    std::string message = result.message.string();
    const std::size_t at = result.succeeded && result.resultingPath ? message.find(sentence) : std::string::npos;
    if (at != std::string::npos) message.erase(at, sentence.size());
    return message;
}

ExitCode exitCode(const DeletionItemResult& result) {
    if (result.succeeded) return ExitCode::done;
    return result.errorCase ? codeOf(*result.errorCase) : ExitCode::failed;
}

}  // namespace KestrelCLI
