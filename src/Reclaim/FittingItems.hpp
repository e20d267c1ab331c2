#pragma once

#include "KestrelCore/Reclaim/ReclaimRule.hpp"
#include "KestrelCore/Reclaim/SuggestionSettings.hpp"
#include "Reclaim/FolderFacts.hpp"
#include "Reclaim/RulePlaces.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace KestrelCore {

/// An item that fits a match of a rule, whatever other rules say of it.
struct FittingItem {
    RuleMatch match;
    bool isFile = false;
    std::uint32_t position = 0;            ///< in the stream of files, or of folders
    std::vector<std::string> witnesses{};  ///< paths
};

/// What fits which rules.
struct FittingItems {
    /// By position. Of folders also those that hold what is too young, obstacles or versions.
    std::vector<FittingItem> folders;
    std::vector<FittingItem> files;  ///< by position; of kinds, sizes and ages that their rules take
    /// Folders in which a file stands for a version control, ascending, among those below `folders`.
    std::vector<std::uint32_t> versioned;
};

/// Looks through the generation: folders by their names first, then the names of files where a rule asks for them, then
/// sizes and dates where a name or a folder lets something through. What comes is not whole where it was cancelled.
/// Throws what reading throws.
[[nodiscard]] FittingItems fittingItems(const OpenGeneration& generation, const std::vector<ReclaimRule>& rules,
                                        const SuggestionSettings& settings, const FolderFacts& facts);

/// The time before which something must have been changed for a rule, as `HistoryField::seconds`; the largest number
/// where the rule does not ask.
[[nodiscard]] std::uint64_t latestChange(const ReclaimRule& rule, Date now);

}  // namespace KestrelCore
