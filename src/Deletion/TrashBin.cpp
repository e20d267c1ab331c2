#include "KestrelCore/Deletion/TrashBin.hpp"

#include "Deletion/SafetyRules.hpp"
#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Base/UUID.hpp"
#include "Platform/DeletionGuard.hpp"
#include "Platform/HomeDirectory.hpp"
#include "Platform/TrashContents.hpp"
#include "Platform/Vocabulary.hpp"

#include <cstddef>
#include <string>
#include <utility>

// What lies in a trash was thrown away, so the policy's paths and ratings say nothing here. What an item is still
// counts: a home directory, the running program or the host's own files are not removed because a mount, a link or an
// odd setting shows them in a trash.

namespace KestrelCore {

struct TrashBin::State {
    explicit State(std::pair<std::vector<GuardedPlace>, std::vector<Text>> places)
        : guard{std::move(places.first)}, reasons{std::move(places.second)} {}

    TrashContents contents;
    DeletionGuard guard;
    std::vector<Text> reasons;  ///< one for each guarded place
    /// Where the items of one trash lie, as long as that is asked about; empty where it can't be reached by its path.
    std::optional<std::pair<std::size_t, std::optional<DeletionGuard::Folder>>> folder;

    /// Why the item stays; empty when nothing speaks against its going.
    [[nodiscard]] std::optional<Text> refusal(const TrashedItem& item) {
        const Text place{item.place};
        // No guarded place has a name that is no text.
        if (place.view() != item.place) return std::nullopt;
        std::optional<std::size_t> taken;
        if (!item.item) {
            taken = guard.taken(place).place;
        } else {
            if (!folder || folder->first != item.trash)
                folder.emplace(item.trash, DeletionGuard::folder(Path::deletingLastComponent(place)));
            // What can't be reached can't be removed either; the removal will say why.
            if (folder->second) taken = guard.placeTaken(*folder->second, item.name);
        }
        return taken ? std::optional{reasons[*taken]} : std::nullopt;
    }
};

namespace {

std::pair<std::vector<GuardedPlace>, std::vector<Text>> guardedPlaces(const std::vector<ProtectedPlace>& hostPlaces) {
    std::vector<GuardedPlace> places;
    std::vector<Text> reasons;
    const auto add = [&](GuardedPlace place, const Text& reason) {
        places.push_back(std::move(place));
        reasons.push_back(reason);
    };
    for (const SafetyRules::ProtectedPlace& place : SafetyRules::ofThisProcess().protectedPlaces())
        add({.path = place.path.string()}, place.reason);
    for (const std::string& home : knownHomeDirectories())
        add({.path = home, .isOnlyIfThere = true}, systemVocabulary().neverRemoved);
    for (const ProtectedPlace& place : hostPlaces) add({.path = place.path, .withContent = true}, place.reason);
    return {std::move(places), std::move(reasons)};
}

TrashedItem itemOf(const TrashContents& contents, TrashContent content) {
    TrashedItem item;
    item.place = contents.place(content);
    item.trashedAt = content.trashedAt;
    item.item = content.item;
    item.state = !content.item      ? TrashedItemState::entryAlone
                 : content.hasEntry ? TrashedItemState::whole
                                    : TrashedItemState::withoutEntry;
    if (content.original) item.path = Text{*content.original};
    item.trash = content.trash;
    item.name = std::move(content.name);
    return item;
}

}  // namespace

TrashBin::TrashBin(const std::vector<ProtectedPlace>& protectedPlaces)
    : state_{std::make_unique<State>(guardedPlaces(protectedPlaces))} {}

TrashBin::~TrashBin() = default;

const std::vector<std::string>& TrashBin::trashes() const { return state_->contents.paths(); }

TrashBin::Listing TrashBin::items() const {
    Listing listing;
    for (TrashContent& content : state_->contents.list(listing.unread))
        listing.items.push_back(itemOf(state_->contents, std::move(content)));
    return listing;
}

std::vector<DeletionItemResult> TrashBin::empty(const std::vector<TrashedItem>& items,
                                                const std::optional<Text>& typedConfirmation,
                                                const DeletionCoordinator::ResultObserver& onResult,
                                                const CancellationToken& cancellation) {
    const bool isConfirmed = typedConfirmation && typedConfirmation->view() == "DELETE";
    std::vector<DeletionItemResult> results;
    for (std::size_t i = 0; i < items.size(); ++i) {
        const TrashedItem& item = items[i];
        if (cancellation.isCancelled()) break;
        DeletionItemResult result{.id = UUID::random(),
                                  .path = item.path.value_or(Text{item.place}),
                                  .resultingPath = {},
                                  .message = "Type DELETE to confirm permanent removal."};
        if (isConfirmed) {
            try {
                if (item.trash >= trashes().size()) {
                    result.message = "The item is no longer in the trash.";
                } else if (const auto refusal = state_->refusal(item)) {
                    result.message = *refusal;
                    result.errorCase = KestrelError::Case::safetyViolation;
                } else {
                    const auto remark = state_->contents.remove(
                        {.trash = item.trash, .name = item.name, .item = item.item, .original = {}, .trashedAt = {}},
                        cancellation);
                    result.succeeded = true;
                    result.message = "Permanently removed.";
                    if (remark) result.message = Text::concatenating({result.message.view(), " ", remark->view()});
                }
            } catch (const PlatformError& error) {
                result.message = error.description();
            }
        }
        const bool isLastOfTrash = i + 1 == items.size() || items[i + 1].trash != item.trash;
        if (isConfirmed && isLastOfTrash && item.trash < trashes().size()) {
            if (const auto remark = state_->contents.settle(item.trash))
                result.message = Text::concatenating({result.message.view(), " ", remark->view()});
        }
        results.push_back(std::move(result));
        if (!onResult(results.back())) break;
    }
    state_->contents.tidy();
    // What is asked about later is looked for anew.
    state_->folder.reset();
    return results;
}

}  // namespace KestrelCore
