#include "CInterface/History.hpp"
#include "CInterface/Records.hpp"

#include "KestrelCore/Reclaim/ReclaimCatalogue.hpp"
#include "KestrelCore/Reclaim/SuggestionSettings.hpp"
#include "KestrelCore/Reclaim/Suggestions.hpp"

#include <memory>
#include <optional>
#include <utility>
#include <vector>

using namespace KestrelCore;
using namespace KestrelC;

struct kestrel_suggestions {
    std::vector<std::shared_ptr<const SuggestedList>> lists{};
    std::vector<kestrel_suggestion_group> groups{};  ///< views of these
};

namespace {

kestrel_suggestion_group shown(const SuggestionGroup& group) {
    const ReclaimRule& rule = group.rule;
    return {.rule = viewOf(rule.identifier),
            .title = viewOf(rule.title),
            .why = viewOf(rule.why),
            .comes_back = viewOf(rule.comesBack),
            .owners_command = rule.ownersCommand ? viewOf(*rule.ownersCommand) : kestrel_text{},
            .certainty = static_cast<kestrel_certainty>(rule.certainty),
            .is_shown_only = rule.isShownOnly,
            .item_count = group.itemCount,
            .items_below = group.itemsBelow,
            .freed_bytes = group.freedBytes};
}

/// Items go from the newest scan alone: an older one is for looking.
bool isNewest(const SnapshotHistory& history, const Generation& generation) {
    const std::vector<Generation> all = history.generations(generation.scope.root.path());
    return !all.empty() && all.front().number == generation.number;
}

std::unique_ptr<kestrel_suggestions> suggestionsOf(const SnapshotHistory& history, const GenerationReader& reader,
                                                   const char* folder, const kestrel_cancellation* cancellation) {
    if (reader.generation().source.name)
        throw Failure{KESTREL_INVALID_ARGUMENT,
                      "An imported scan is of another disk; what can go is told of this one."};
    SuggestionSettings settings{.places = ReclaimPlaces::ofThisProcess()};
    if (folder != nullptr) settings.folder = pathOf(folder, "folder");
    settings.cancellation = tokenOf(cancellation);
    auto found = Suggestions::of(reader, ReclaimCatalogue::standard(), settings);
    if (!found) throwCancelled();
    settings.cancellation = std::nullopt;
    const bool isOfNewest = isNewest(history, reader.generation());
    auto suggestions = std::make_unique<kestrel_suggestions>();
    for (SuggestionGroup& group : found->groups) {
        // What a rule finds only by a look at the disk, no generation tells.
        if (group.items.empty()) continue;
        suggestions->lists.push_back(
            std::make_shared<const SuggestedList>(SuggestedList{std::move(group), settings, isOfNewest}));
        suggestions->groups.push_back(shown(suggestions->lists.back()->group));
    }
    return suggestions;
}

}  // namespace

kestrel_code kestrel_history_suggestions(const kestrel_history* history, int64_t number, const char* folder,
                                         const kestrel_cancellation* cancellation, kestrel_suggestions** suggestions,
                                         kestrel_error** error) noexcept {
    return making(suggestions, error, [&] {
        const GenerationReader reader = opened(history, number);
        return suggestionsOf(*history->contents, reader, folder, cancellation);
    });
}

size_t kestrel_suggestions_count(const kestrel_suggestions* suggestions) noexcept {
    return suggestions == nullptr ? 0 : suggestions->groups.size();
}

const kestrel_suggestion_group* kestrel_suggestions_at(const kestrel_suggestions* suggestions, size_t index) noexcept {
    return index < kestrel_suggestions_count(suggestions) ? &suggestions->groups[index] : nullptr;
}

kestrel_code kestrel_suggestions_records(const kestrel_suggestions* suggestions, size_t index,
                                         kestrel_records** records, kestrel_error** error) noexcept {
    return making(records, error, [&] {
        const auto& lists = needed(suggestions, "suggestions").lists;
        if (index >= lists.size()) throw Failure{KESTREL_INVALID_ARGUMENT, "There is no such group of suggestions."};
        auto list = std::make_unique<kestrel_records>();
        list->suggested = lists[index];
        for (const SuggestedItem& item : list->suggested->group.items) {
            list->listed.push_back(
                {.record = item.record, .itemsBelow = item.itemsBelow, .freedBytes = item.freedBytes});
        }
        return list;
    });
}

void kestrel_suggestions_free(kestrel_suggestions* suggestions) noexcept { delete suggestions; }
