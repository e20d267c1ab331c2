#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Reclaim/ReclaimCatalogue.hpp"
#include "KestrelCore/Reclaim/ReclaimRule.hpp"
#include "KestrelCore/Reclaim/SuggestionSettings.hpp"
#include "KestrelCore/Storage/GenerationReader.hpp"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace KestrelCore {

/// One item that may go, with all that is in it.
struct SuggestedItem {
    FileRecord record;
    /// What really comes free when it goes alone: a file of which a name stays somewhere else in the scan gives
    /// nothing.
    std::int64_t freedBytes = 0;
    std::int64_t itemsBelow = 0;         ///< in a folder, at any depth
    std::optional<Date> newestChange{};  ///< of itself and all that is in it
    std::vector<Text> witnesses{};       ///< paths of what tells that it is what the rule means; mostly none
};

/// What one rule found.
struct SuggestionGroup {
    ReclaimRule rule;
    /// Largest first, equal sizes by path; no more than were asked for.
    std::vector<SuggestedItem> items;
    std::int64_t itemCount = 0;   ///< of all; 0 for a rule that asks the disk and found nothing yet
    std::int64_t itemsBelow = 0;  ///< in all of them
    std::int64_t freedBytes = 0;  ///< what comes free when all go
};

/// What can go, by rules, told from a generation of the history alone. Only what version control keeps no scan tells:
/// the index of each repository around an item is read for it, where the settings don't forbid it.
///
/// Every item counts once, for the rule that claims it first. What the safety policy refuses is no part of it, nor is
/// what version control keeps, or a folder that holds such a thing, something younger than its rule's smallest age, a
/// repository, or a mount.
struct KESTRELCORE_EXPORT Suggestions {
    /// The surest first, in each certainty the most bytes first. Only of rules that found something.
    std::vector<SuggestionGroup> groups;
    std::int64_t freedBytes = 0;  ///< when all of it goes

    /// Of what the generation has; any thread. Empty when it was cancelled. Throws as the reader does.
    [[nodiscard]] static std::optional<Suggestions>
    of(const GenerationReader& generation, const ReclaimCatalogue& catalogue, const SuggestionSettings& settings);

    /// Of all groups of one certainty.
    [[nodiscard]] std::int64_t bytesOf(ReclaimCertainty certainty) const;

    /// Asks the disk, right before items go, what no scan tells: that they and their witnesses are no links, that below
    /// the person's own places none is somebody else's, and that no repository tracks them by now. Of each item why it
    /// has to stay, as a finished sentence; empty where nothing speaks against it. That an item is still the scanned
    /// one is asked by whoever removes it.
    [[nodiscard]] static std::vector<std::optional<Text>> objections(std::span<const SuggestedItem> items,
                                                                     const SuggestionSettings& settings);
    /// Of one item. Many are better asked together: each call reads the repositories around them once.
    [[nodiscard]] static std::optional<Text> objection(const SuggestedItem& item, const SuggestionSettings& settings);
    /// Takes out the items that an objection speaks against, and what they count for; of a group only those that it
    /// names. What is asked then is the disk, for each item: for lists that somebody chooses from.
    void leaveOutObjections(const SuggestionSettings& settings);
};

}  // namespace KestrelCore
