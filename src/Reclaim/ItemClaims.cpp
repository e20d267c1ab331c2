#include "Reclaim/ItemClaims.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Deletion/SafetyPolicy.hpp"
#include "Reclaim/RuleText.hpp"

#include <algorithm>
#include <iterator>
#include <tuple>

namespace KestrelCore {

ItemClaims::ItemClaims(FittingItems fitting, const OpenGeneration& generation, const std::vector<ReclaimRule>& rules,
                       const FolderFacts& facts, const SuggestionSettings& settings)
    : rules_{rules}, facts_{facts}, names_{generation.rows().files(), 0, true}, claimOf_(facts.table().size(), none),
      holdsClaims_(facts.table().size()) {
    if (settings.readsRepositories) tracked_.emplace();
    const Date now = settings.now.value_or(Date::now());
    for (const ReclaimRule& rule : rules) latest_.push_back(latestChange(rule, now));
    // Rules stand in their order; of one rank folders come before what lies in them, and before files.
    const auto order = [&](const FittingItem& item) {
        return std::tuple{rules[item.match.rule].rank, item.isFile, item.position, item.match};
    };
    std::vector<FittingItem> all = std::move(fitting.folders);
    std::ranges::move(fitting.files, std::back_inserter(all));
    std::ranges::stable_sort(all, {}, order);
    std::uint32_t shadow = 0;
    std::int32_t rank = -1;
    for (FittingItem& item : all) {
        if (std::exchange(rank, rules[item.match.rule].rank) != rules[item.match.rule].rank) shadow = 0;
        if (item.isFile) {
            claimFile(item);
        } else {
            claimFolder(item, fitting.versioned, shadow);
        }
    }
    std::ranges::sort(files_);
}

void ItemClaims::claimFolder(FittingItem& item, const std::vector<std::uint32_t>& versioned, std::uint32_t& shadow) {
    const std::uint32_t folder = item.position;
    const FolderTable& table = facts_.table();
    if (claimOf_[folder] != none || holdsClaims_[folder]) return;
    const bool isByWitness = !rules_[item.match.rule].matches[item.match.match].folders.empty();
    // A part of what has to stay as a whole, such as a module of an installed one.
    if (isByWitness && folder < shadow) return;
    if (!mayGo(item, versioned) || isTracked(item)) {
        if (isByWitness) shadow = std::max(shadow, table.end(folder));
        return;
    }
    if (isRefused(table.path(folder))) return;
    std::fill(claimOf_.begin() + folder, claimOf_.begin() + table.end(folder),
              static_cast<std::uint32_t>(items_.size()));
    markAbove(table.parent(folder));
    items_.push_back(std::move(item));
}

void ItemClaims::claimFile(FittingItem& item) {
    const FolderTable& table = facts_.table();
    const std::uint32_t folder = table.folderOf(item.position);
    // The same file comes up once for each rule, the first one first; of a lesser rank it has been noted before.
    if (claimOf_[folder] != none || claimedFiles_.contains(item.position) || isTracked(item)) return;
    claimedFiles_.insert(item.position);
    markAbove(folder);
    files_.emplace_back(item.position, static_cast<std::uint32_t>(items_.size()));
    items_.push_back(std::move(item));
}

bool ItemClaims::mayGo(const FittingItem& item, const std::vector<std::uint32_t>& versioned) const {
    const std::uint32_t folder = item.position;
    if (!facts_.isWhole(folder) || facts_.newest(folder) > latest_[item.match.rule]) return false;
    if (takesTrash(item)) return true;
    const auto inside = std::ranges::lower_bound(versioned, folder);
    const ReclaimMatch& match = rules_[item.match.rule].matches[item.match.match];
    if (match.places.empty() && facts_.holdsBareRepository(folder)) return false;
    const bool holdsFileOfVersions = inside != versioned.end() && *inside < facts_.table().end(folder);
    return !facts_.holdsVersions(folder) && !holdsFileOfVersions;
}

bool ItemClaims::isTracked(const FittingItem& item) {
    if (!tracked_ || takesTrash(item)) return false;
    const FolderTable& table = facts_.table();
    const Text above{table.path(item.isFile ? table.folderOf(item.position) : table.parent(item.position))};
    if (!tracked_->isInWorkingCopy(above)) return false;
    const std::string_view name =
        item.isFile ? names_.at(item.position).name(0) : std::string_view{table.name(item.position)};
    return tracked_->reasonToKeep(Path::appending(above, Text{name})).has_value();
}

/// Whether its rule takes what has been thrown away: a working copy there is as little worth as all else.
bool ItemClaims::takesTrash(const FittingItem& item) const {
    const std::vector<Text>& places = rules_[item.match.rule].matches[item.match.match].places;
    return !places.empty() && std::ranges::all_of(places, [](const Text& place) {
        return placeText(place.view()).anchor == PlaceAnchor::trash;
    });
}

bool ItemClaims::isRefused(const std::string& path) {
    return SafetyPolicy::blockedReason(URL::fromPath(Text{path})).has_value();
}

void ItemClaims::markAbove(std::uint32_t folder) {
    for (; folder != FolderTable::none && !holdsClaims_[folder]; folder = facts_.table().parent(folder))
        holdsClaims_[folder] = true;
}

std::uint32_t ItemClaims::ofFile(std::uint32_t file, std::uint32_t folder) const {
    if (claimOf_[folder] != none) return claimOf_[folder];
    const auto found = std::ranges::lower_bound(files_, file, {}, &std::pair<std::uint32_t, std::uint32_t>::first);
    return found != files_.end() && found->first == file ? found->second : none;
}

}  // namespace KestrelCore
