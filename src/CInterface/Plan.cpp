#include "CInterface/Plan.hpp"

#include "CInterface/History.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Deletion/SafetyPolicy.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Reclaim/Suggestions.hpp"

#include <algorithm>
#include <string>
#include <utility>

using namespace KestrelCore;
using namespace KestrelC;

namespace KestrelC {

std::optional<Text> suggestionObjection(const PlannedItem& item) {
    if (item.foundIn == nullptr) return std::nullopt;
    return Suggestions::objection(*item.found, item.foundIn->settings);
}

}  // namespace KestrelC

namespace {

struct Refusal {
    kestrel_code code;
    Text reason;
};

Refusal refusalOf(const KestrelError& error) {
    kestrel_error* described = nullptr;
    const kestrel_code code = guarded(&described, [&] { throw error; });
    kestrel_error_free(described);
    return {code, error.errorDescription()};
}

/// What a rule says of an item that it has suggested.
std::optional<Refusal> refusedByRule(const PlannedItem& item) {
    if (item.foundIn == nullptr) return std::nullopt;
    const ReclaimRule& rule = item.foundIn->group.rule;
    if (rule.isShownOnly) {
        const std::string command = rule.ownersCommand ? rule.ownersCommand->string() : "";
        return Refusal{KESTREL_SAFETY_VIOLATION, "It goes by its owner’s own command only: " + command};
    }
    if (!item.foundIn->isOfNewest)
        return Refusal{KESTREL_STALE_ITEM, "What is to go must be in the newest scan of its folder."};
    if (auto reason = suggestionObjection(item)) return Refusal{KESTREL_SAFETY_VIOLATION, std::move(*reason)};
    return std::nullopt;
}

/// The order of the tests decides which reason is told: what the rule says, then the policy by path, then what the disk
/// says, and at last what the user allows.
std::optional<Refusal> refused(kestrel_plan& plan, PlannedItem& item, const CancellationToken& cancellation) {
    const URL url = URL::fromPath(item.path);
    item.shown.risk = rawValue(SafetyPolicy::risk(url));
    if (auto byRule = refusedByRule(item)) return byRule;
    if (auto reason = SafetyPolicy::blockedReason(url)) return Refusal{KESTREL_SAFETY_VIOLATION, std::move(*reason)};
    if (!item.record) item.record = DeletionPlan::freshRecord(item.path, plan.measurement, cancellation);
    if (cancellation.isCancelled()) throwCancelled();
    if (!item.record) throw Failure{KESTREL_NOT_FOUND, "The item no longer exists or cannot be inspected."};
    item.shown.kind = rawValue(item.record->kind());
    // A saved rating may come from a tampered file; the stricter one holds.
    item.shown.risk = std::max(item.shown.risk, rawValue(item.record->risk()));
    if (const auto error = plan.judge->objection(*item.record)) return refusalOf(*error);
    if (item.shown.risk >= KESTREL_RISK_BLOCKED)
        return Refusal{KESTREL_SAFETY_VIOLATION, "The item was rated as blocked when scanned."};
    if (item.shown.risk >= KESTREL_RISK_HIGH && plan.highRisk == HighRisk::stays)
        return Refusal{KESTREL_SAFETY_VIOLATION, "The item is of high risk, and that was not allowed."};
    return std::nullopt;
}

/// Throws unless the plan still takes items; makes what judges them.
void beginAdding(kestrel_plan& plan) {
    if (plan.isExecuted) throw Failure{KESTREL_INVALID_ARGUMENT, "The plan was executed already."};
    if (plan.judge == nullptr) plan.judge = std::make_unique<const DeletionPlan>(plan.places);
}

/// Throws when something was added already: that would have been judged by other rules.
void checkEmpty(const kestrel_plan& plan) {
    if (plan.judge != nullptr) throw Failure{KESTREL_INVALID_ARGUMENT, "Something was added to the plan already."};
}

void add(kestrel_plan& plan, PlannedItem item, const kestrel_cancellation* cancellation) {
    const CancellationToken token = tokenOf(cancellation);
    if (token.isCancelled()) throwCancelled();
    item.shown.kind = KESTREL_KIND_OTHER;
    if (const auto refusal = refused(plan, item, token)) {
        item.shown.refusal = refusal->code;
        item.reason = refusal->reason;
        item.shown.reason = viewOf(item.reason);
    } else {
        const DeletionMeasurement::Amount amount = plan.measurement.measure(item.path, token);
        if (token.isCancelled()) throwCancelled();
        item.shown.allocated_bytes = amount.allocatedBytes;
        item.shown.unread = static_cast<std::int64_t>(amount.unread);
    }
    item.shown.path = viewOf(item.path);
    plan.items.push_back(std::move(item));
}

}  // namespace

kestrel_code kestrel_plan_new(const kestrel_history* history, kestrel_plan** plan, kestrel_error** error) noexcept {
    return making(plan, error, [&] {
        auto made = std::make_unique<kestrel_plan>();
        made->places = ownPlaces(history);
        if (history != nullptr) made->history = history->contents;
        return made;
    });
}

void kestrel_plan_free(kestrel_plan* plan) noexcept { delete plan; }

kestrel_code kestrel_plan_protect(kestrel_plan* plan, const char* path, size_t length, const char* reason,
                                  kestrel_error** error) noexcept {
    return guarded(error, [&] {
        checkEmpty(needed(plan, "plan"));
        const std::string_view place = bytesOf(path, length, "path");
        if (!place.starts_with('/')) throw Failure{KESTREL_INVALID_ARGUMENT, "“path” is no absolute path."};
        plan->places.push_back({std::string{place}, textOf(reason, "reason")});
    });
}

kestrel_code kestrel_plan_allow_high_risk(kestrel_plan* plan, kestrel_error** error) noexcept {
    return guarded(error, [&] {
        checkEmpty(needed(plan, "plan"));
        plan->highRisk = HighRisk::goes;
    });
}

kestrel_code kestrel_plan_add(kestrel_plan* plan, const kestrel_records* records, size_t index,
                              const kestrel_cancellation* cancellation, kestrel_error** error) noexcept {
    return guarded(error, [&] {
        if (index >= needed(records, "records").count())
            throw Failure{KESTREL_INVALID_ARGUMENT, "The list has no record at that index."};
        beginAdding(needed(plan, "plan"));
        const FileRecord record = records->record(index);
        PlannedItem item{.path = record.path(), .record = record};
        if (records->suggested != nullptr) {
            item.foundIn = records->suggested;
            item.found = {records->suggested, &records->suggested->group.items[index]};
        }
        add(*plan, std::move(item), cancellation);
    });
}

kestrel_code kestrel_plan_add_path(kestrel_plan* plan, const char* path, const kestrel_cancellation* cancellation,
                                   kestrel_error** error) noexcept {
    return guarded(error, [&] {
        const Text item = exactPathOf(path, "path");
        // What stands in a link's place is the system's to say, so nothing is made of such a path.
        if (Path::standardized(item).view() != item.view())
            throw Failure{KESTREL_INVALID_ARGUMENT, "“path” holds “.”, “..” or a slash too many."};
        beginAdding(needed(plan, "plan"));
        add(*plan, {.path = item}, cancellation);
    });
}

size_t kestrel_plan_count(const kestrel_plan* plan) noexcept { return plan == nullptr ? 0 : plan->items.size(); }

const kestrel_plan_item* kestrel_plan_at(const kestrel_plan* plan, size_t index) noexcept {
    return index < kestrel_plan_count(plan) ? &plan->items[index].shown : nullptr;
}

int64_t kestrel_plan_freed_bytes(const kestrel_plan* plan) noexcept {
    if (plan == nullptr) return 0;
    try {
        std::vector<Text> going;
        for (const PlannedItem& item : plan->items) {
            if (item.shown.refusal == KESTREL_OK) going.push_back(item.path);
        }
        return plan->measurement.freedBytes(going);
    } catch (...) {
        return 0;  // no room for the sum
    }
}
