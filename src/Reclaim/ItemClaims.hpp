#pragma once

#include "Reclaim/FittingItems.hpp"
#include "Reclaim/TrackedFiles.hpp"
#include "Storage/History/ChunkColumns.hpp"

#include <boost/unordered/unordered_flat_set.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace KestrelCore {

/// Which rule each item belongs to: every item to one, and none twice.
///
/// Rules claim in the order of their ranks. What lies in a folder that is claimed belongs to that; among claims of one
/// rank the outermost folder comes first, then the surer rule. A folder in which a rule of a lesser rank has claimed
/// something is not claimed any more: it would take that along.
class ItemClaims {
public:
    static constexpr std::uint32_t none = 0xFFFFFFFF;

    /// What may not go after all is left out: what the policy refuses, what version control keeps, and folders that
    /// hold what is too young, a repository, a mount or something unknown.
    ItemClaims(FittingItems fitting, const OpenGeneration& generation, const std::vector<ReclaimRule>& rules,
               const FolderFacts& facts, const SuggestionSettings& settings);

    [[nodiscard]] const std::vector<FittingItem>& items() const { return items_; }
    /// Which of `items` the folder is or lies in; `none`.
    [[nodiscard]] std::uint32_t ofFolder(std::uint32_t folder) const { return claimOf_[folder]; }
    /// The same of a file in that folder.
    [[nodiscard]] std::uint32_t ofFile(std::uint32_t file, std::uint32_t folder) const;

private:
    /// Behind `shadow` no folder with a witness has been refused.
    void claimFolder(FittingItem& item, const std::vector<std::uint32_t>& versioned, std::uint32_t& shadow);
    void claimFile(FittingItem& item);
    [[nodiscard]] bool mayGo(const FittingItem& item, const std::vector<std::uint32_t>& versioned) const;
    /// Whether version control keeps it, or something in it. Asks the disk, so last.
    [[nodiscard]] bool isTracked(const FittingItem& item);
    [[nodiscard]] bool takesTrash(const FittingItem& item) const;
    [[nodiscard]] static bool isRefused(const std::string& path);
    void markAbove(std::uint32_t folder);

    const std::vector<ReclaimRule>& rules_;
    const FolderFacts& facts_;
    std::vector<std::uint64_t> latest_;
    RowReader names_;                      ///< of files
    std::optional<TrackedFiles> tracked_;  ///< absent where nobody asks for it
    std::vector<FittingItem> items_;
    std::vector<std::uint32_t> claimOf_;  ///< of each folder
    std::vector<bool> holdsClaims_;       ///< of each folder
    boost::unordered_flat_set<std::uint32_t> claimedFiles_;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> files_;  ///< positions, and which of `items_`; ascending
};

}  // namespace KestrelCore
