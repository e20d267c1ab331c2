#include "CInterface/History.hpp"
#include "CInterface/Plan.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Deletion/DeletionCoordinator.hpp"
#include "KestrelCore/Deletion/TrashReceipt.hpp"
#include "KestrelCore/Deletion/TrashReceipts.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

using namespace KestrelCore;
using namespace KestrelC;

struct kestrel_results {
    std::vector<DeletionItemResult> results{};
    std::vector<kestrel_result> shown{};  ///< views of these
    Text remark{};
    kestrel_results_info info{};
};

namespace {

kestrel_code codeOf(const DeletionItemResult& result) {
    if (result.succeeded) return KESTREL_OK;
    if (!result.errorCase) return KESTREL_SYSTEM;
    return guarded(nullptr, [&] { throw KestrelError{*result.errorCase, result.message}; });
}

kestrel_result shown(const DeletionItemResult& result) {
    return {.path = viewOf(result.path),
            .resulting_path = result.resultingPath ? viewOf(*result.resultingPath) : kestrel_text{},
            .message = viewOf(result.message),
            .code = codeOf(result)};
}

DeletionMode modeOf(kestrel_deletion_mode mode, const char* confirmation) {
    if (mode == KESTREL_DELETION_TRASH) return DeletionMode::trash;
    if (mode != KESTREL_DELETION_PERMANENT) throw Failure{KESTREL_INVALID_ARGUMENT, "There is no such way to go."};
    // The coordinator asks for the same; said here it leaves the plan as it is, for another try.
    if (confirmation == nullptr || std::string_view{confirmation} != "DELETE") {
        throw Failure{KESTREL_INVALID_ARGUMENT,
                      "Nothing was removed: what can’t be undone needs DELETE as typed confirmation."};
    }
    return DeletionMode::permanent;
}

/// Those of the kestrel program, so that it restores what went from here.
TrashReceipts ownReceipts() { return TrashReceipts{Path::appending(dataFolder(), "receipts")}; }

/// What no scan tells of suggested items is asked again, right before each goes. `items` must stay where they are.
std::function<std::optional<Text>(const FileRecord&)> lastLookAt(const std::deque<PlannedItem>& items) {
    std::unordered_multimap<std::string_view, const PlannedItem*> suggested;
    for (const PlannedItem& item : items) {
        if (item.foundIn != nullptr) suggested.emplace(item.path.view(), &item);
    }
    return [suggested = std::move(suggested)](const FileRecord& record) -> std::optional<Text> {
        const auto [first, end] = suggested.equal_range(record.path().view());
        for (auto item = first; item != end; ++item) {
            if (auto reason = suggestionObjection(*item->second)) return reason;
        }
        return std::nullopt;
    };
}

std::vector<DeletionItemResult> execute(kestrel_plan& plan, DeletionRequest request,
                                        const DeletionCoordinator::ResultObserver& onResult,
                                        const CancellationToken& cancellation) {
    for (const PlannedItem& item : plan.items) {
        if (item.shown.refusal == KESTREL_OK) request.records.push_back(*item.record);
    }
    if (request.records.empty() || cancellation.isCancelled()) return {};
    request.lastLook = lastLookAt(plan.items);
    DeletionCoordinator coordinator{FileManager::standard(), plan.places};
    const TrashReceipts receipts = ownReceipts();
    plan.isExecuted = true;
    return receipts.execute(coordinator, request, onResult, cancellation);
}

std::unique_ptr<kestrel_results> resultsOf(const kestrel_plan& plan, std::vector<DeletionItemResult> results,
                                           bool isCancelled) {
    auto made = std::make_unique<kestrel_results>();
    made->results = std::move(results);
    std::vector<Text> gone;
    for (const DeletionItemResult& result : made->results) {
        made->shown.push_back(shown(result));
        if (result.succeeded) gone.push_back(result.path);
    }
    const auto going = static_cast<std::size_t>(
        std::ranges::count_if(plan.items, [](const PlannedItem& item) { return item.shown.refusal == KESTREL_OK; }));
    if (plan.history != nullptr && !gone.empty()) made->remark = takenOut(*plan.history, gone);
    made->info = {.count = made->results.size(),
                  .gone_count = gone.size(),
                  .freed_bytes = plan.measurement.freedBytes(gone),
                  .is_interrupted = made->results.size() < going ||
                                    (isCancelled && !made->results.empty() && !made->results.back().succeeded),
                  .remark = made->remark.isEmpty() ? kestrel_text{} : viewOf(made->remark)};
    return made;
}

void restore(const DeletionItemResult& gone) {
    if (!gone.succeeded || !gone.resultingPath)
        throw Failure{KESTREL_INVALID_ARGUMENT, "The item did not go to the Trash."};
    const TrashReceipts receipts = ownReceipts();
    const std::vector<TrashReceipt> known = receipts.receipts();
    const auto receipt = std::ranges::find_if(known, [&](const TrashReceipt& each) {
        return each.resultingPath == gone.resultingPath && each.path == gone.path;
    });
    if (receipt == known.end()) throw Failure{KESTREL_NOT_FOUND, "The item is not in the Trash any more."};
    const DeletionItemResult result = receipts.restore(*receipt);
    if (!result.succeeded) throw Failure{codeOf(result), result.message.string()};
}

}  // namespace

kestrel_code kestrel_plan_execute(kestrel_plan* plan, kestrel_deletion_mode mode, const char* confirmation,
                                  kestrel_result_callback callback, void* context,
                                  const kestrel_cancellation* cancellation, kestrel_results** results,
                                  kestrel_error** error) noexcept {
    return making(results, error, [&] {
        if (needed(plan, "plan").isExecuted) throw Failure{KESTREL_INVALID_ARGUMENT, "The plan was executed already."};
        DeletionRequest request{.records = {}, .mode = modeOf(mode, confirmation), .typedConfirmation = {}};
        if (request.mode == DeletionMode::permanent) request.typedConfirmation = textOf(confirmation, "confirmation");
        const CancellationToken token = tokenOf(cancellation);
        const auto onResult = [&](const DeletionItemResult& result) {
            if (callback == nullptr) return true;
            const kestrel_result one = shown(result);
            return callback(context, &one) == 0;
        };
        return resultsOf(*plan, execute(*plan, std::move(request), onResult, token), token.isCancelled());
    });
}

const kestrel_results_info* kestrel_results_get_info(const kestrel_results* results) noexcept {
    return results == nullptr ? nullptr : &results->info;
}

const kestrel_result* kestrel_results_at(const kestrel_results* results, size_t index) noexcept {
    return results == nullptr || index >= results->shown.size() ? nullptr : &results->shown[index];
}

kestrel_code kestrel_results_restore(const kestrel_results* results, size_t index, kestrel_error** error) noexcept {
    return guarded(error, [&] {
        if (index >= needed(results, "results").results.size())
            throw Failure{KESTREL_INVALID_ARGUMENT, "There is no result at that index."};
        restore(results->results[index]);
    });
}

void kestrel_results_free(kestrel_results* results) noexcept { delete results; }
