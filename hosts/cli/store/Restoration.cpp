#include "store/Restoration.hpp"

#include "store/DeletionRecords.hpp"
#include "store/Places.hpp"
#include "store/RestoredRecords.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Deletion/DeletionMeasurement.hpp"
#include "KestrelCore/Deletion/DeletionPlan.hpp"
#include "KestrelCore/Deletion/SafetyPolicy.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <system_error>
#include <utility>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// What was moved out of the way of what comes back.
struct Replacement {
    std::map<std::string, TrashReceipt> moved;         ///< by path
    std::map<std::string, DeletionItemResult> failed;  ///< by path
    std::vector<Text> paths;                           ///< of what was moved
};

/// Moves what stands in the way to the Trash, each with a receipt of its own, in one request.
Replacement makeRoom(const std::vector<ProtectedPlace>& places, HighRisk highRisk, const TrashReceipts& store,
                     const std::vector<const KnownReceipt*>& back) {
    Replacement result;
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
        if (highRisk == HighRisk::stays &&
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

}  // namespace

bool isTaken(const Text& path) {
    std::error_code error;
    return std::filesystem::exists(std::filesystem::symlink_status(path.string(), error));
}

Text RestoreTerms::destination(const TrashReceipt& receipt) const {
    if (!name) return receipt.path;
    return Path::appending(Path::deletingLastComponent(receipt.path), Text{*name});
}

Restoration::Restoration(const Session& session, Remark remark)
    : session_{session}, remark_{std::move(remark)}, store_{receiptsPath(session)} {}

RestoreOutcome Restoration::execute(const std::vector<const KnownReceipt*>& back, const RestoreTerms& terms,
                                    const std::function<void(const RestoreResult&)>& onResult,
                                    const std::function<bool()>& isStopped) const {
    RestoreOutcome outcome;
    Replacement replacement;
    if (terms.replaces) replacement = makeRoom(ownPlaces(session_), terms.highRisk, store_, back);
    std::vector<RestoredItem> restored;
    for (const KnownReceipt* each : back) {
        if (isStopped()) {
            outcome.isInterrupted = true;
            break;
        }
        const TrashReceipt& receipt = each->receipt;
        RestoreResult result{.item = restoreOne(store_, receipt, terms.name, replacement), .replacedPlace = {}};
        if (result.item.succeeded) {
            restored.push_back({.path = *result.item.resultingPath, .trashedAt = {}});
            if (!terms.name) restored.back().trashedAt = receipt.trashedAt;
        }
        result.isInTheWay = !result.item.succeeded && each->place && isTaken(terms.destination(receipt));
        const auto moved = replacement.moved.find(receipt.path.string());
        if (moved != replacement.moved.end()) result.replacedPlace = moved->second.resultingPath;
        outcome.results.push_back(std::move(result));
        onResult(outcome.results.back());
    }
    outcome.restored = restored.size();
    // What was moved for an item that was not begun goes back.
    if (outcome.isInterrupted) {
        for (const auto& [path, receipt] : replacement.moved) {
            if (!isTaken(receipt.path) && store_.restore(receipt).succeeded)
                std::erase(replacement.paths, receipt.path);
        }
    }
    outcome.hasReplaced = !replacement.paths.empty();
    if (outcome.hasReplaced) DeletionRecords{session_, replacement.paths, remark_}.takeOut(replacement.paths);
    showRestored(session_, restored, remark_);
    return outcome;
}

}  // namespace KestrelCLI
