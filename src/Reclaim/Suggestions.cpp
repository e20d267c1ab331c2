#include "KestrelCore/Reclaim/Suggestions.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "Platform/ItemOwner.hpp"
#include "Reclaim/ItemClaims.hpp"
#include "Reclaim/SharedInodes.hpp"
#include "Reclaim/TrackedFiles.hpp"
#include "Storage/GenerationAccess.hpp"
#include "Storage/History/RecordBuilder.hpp"
#include "Storage/History/RowValues.hpp"

#include <algorithm>
#include <iterator>
#include <limits>
#include <numeric>
#include <tuple>
#include <utility>

// In three steps: what fits any rule (`FittingItems`), which rule each item belongs to (`ItemClaims`), and what comes
// free (here). Only what is shown becomes a record.

namespace KestrelCore {

namespace {

/// What was claimed, before it has a record.
struct Measured {
    std::uint32_t item;
    std::int64_t freedBytes;
    std::int64_t itemsBelow;
};

class Groups {
public:
    Groups(const OpenGeneration& generation, const std::vector<ReclaimRule>& rules, const FolderFacts& facts,
           const ItemClaims& claims, const SuggestionSettings& settings)
        : generation_{generation}, rules_{rules}, facts_{facts}, claims_{claims}, settings_{settings},
          groups_(rules.size()), sums_(rules.size()) {
        for (const ReclaimRule& rule : rules) isWanted_.push_back(isWanted(rule));
    }

    Suggestions suggestions() {
        measure();
        takeOutShared();
        Suggestions result;
        for (std::uint32_t rule = 0; rule < rules_.size(); ++rule) {
            if (groups_[rule].empty() || !isWanted_[rule]) continue;
            result.groups.push_back({.rule = rules_[rule],
                                     .items = {},
                                     .itemCount = static_cast<std::int64_t>(groups_[rule].size()),
                                     .itemsBelow = 0,
                                     .freedBytes = sums_[rule]});
            for (const Measured& each : groups_[rule]) result.groups.back().itemsBelow += each.itemsBelow;
            addRecords(result.groups.back(), groups_[rule]);
        }
        result.freedBytes = total_;
        std::ranges::stable_sort(result.groups, [](const SuggestionGroup& a, const SuggestionGroup& b) {
            if (a.rule.certainty != b.rule.certainty) return a.rule.certainty < b.rule.certainty;
            return a.freedBytes > b.freedBytes;
        });
        return result;
    }

private:
    [[nodiscard]] bool isWanted(const ReclaimRule& rule) const {
        const auto isThis = [&](const Text& identifier) { return identifier == rule.identifier; };
        return settings_.onlyRules.empty() || std::ranges::any_of(settings_.onlyRules, isThis);
    }

    void measure() {
        const FolderTable& table = facts_.table();
        const StreamView& files = generation_.rows().files();
        RowReader reader{files,
                         bit(HistoryField::kind) | bit(HistoryField::shape) | bit(HistoryField::logical) |
                             bit(HistoryField::allocated),
                         false};
        placeOf_.resize(claims_.items().size());
        std::vector<std::uint32_t> order(claims_.items().size());
        std::iota(order.begin(), order.end(), 0U);
        std::ranges::sort(order, {}, [&](std::uint32_t i) {
            return std::pair{claims_.items()[i].isFile, claims_.items()[i].position};
        });
        for (const std::uint32_t i : order) {
            const FittingItem& item = claims_.items()[i];
            Measured measured{.item = i, .freedBytes = 0, .itemsBelow = 0};
            if (item.isFile) {
                const RowReader::Rows row = reader.at(item.position);
                const auto allocated = static_cast<std::uint64_t>(allocationOf(
                    {.allocated = row.value(HistoryField::allocated, 0), .shape = row.value(HistoryField::shape, 0)},
                    static_cast<std::int64_t>(row.value(HistoryField::logical, 0))));
                measured.freedBytes =
                    static_cast<std::int64_t>(bytesCounted(row.value(HistoryField::kind, 0), allocated));
            } else {
                const std::uint32_t end = table.end(item.position);
                measured.freedBytes = static_cast<std::int64_t>(facts_.contents().aggregate(item.position));
                measured.itemsBelow = std::int64_t{end} - item.position - 1 + table.endOfFilesBelow(item.position) -
                                      table.firstFile(item.position);
            }
            std::vector<Measured>& group = groups_[item.match.rule];
            placeOf_[i] = group.size();
            group.push_back(measured);
            sums_[item.match.rule] += measured.freedBytes;
            if (isWanted_[item.match.rule]) total_ += measured.freedBytes;
        }
    }

    /// A file comes free with the last of its names: where one of them stays, it gives nothing to the item, the rule or
    /// all rules that have the others.
    void takeOutShared() {
        for (const SharedInode& file : sharedInodes(generation_, facts_, claims_)) {
            const std::uint32_t rule = claims_.items()[file.item].match.rule;
            const auto isElsewhere = [&](std::uint32_t other) { return other != file.item; };
            const auto isOfOtherRule = [&](std::uint32_t other) {
                return other == ItemClaims::none || claims_.items()[other].match.rule != rule;
            };
            const auto stays = [&](std::uint32_t other) {
                return other == ItemClaims::none || !isWanted_[claims_.items()[other].match.rule];
            };
            if (std::ranges::any_of(file.others, isElsewhere))
                groups_[rule][placeOf_[file.item]].freedBytes -= file.bytes;
            if (std::ranges::any_of(file.others, isOfOtherRule)) sums_[rule] -= file.bytes;
            if (isWanted_[rule] && std::ranges::any_of(file.others, stays)) total_ -= file.bytes;
        }
    }

    void addRecords(SuggestionGroup& group, std::vector<Measured>& all) const {
        const std::size_t count = std::min(all.size(), settings_.mostItems.value_or(all.size()));
        const auto isLarger = [](const Measured& a, const Measured& b) {
            return a.freedBytes != b.freedBytes ? a.freedBytes > b.freedBytes : a.item < b.item;
        };
        std::ranges::partial_sort(all, all.begin() + static_cast<std::ptrdiff_t>(count), isLarger);
        all.resize(count);
        std::vector<FileRecord> records = recordsOf(all);
        for (std::size_t i = 0; i < count; ++i) {
            const FittingItem& item = claims_.items()[all[i].item];
            SuggestedItem suggested{.record = std::move(records[i]),
                                    .freedBytes = all[i].freedBytes,
                                    .itemsBelow = all[i].itemsBelow,
                                    .newestChange = {},
                                    .witnesses = {}};
            suggested.newestChange = suggested.record.modifiedAt();
            if (!item.isFile && facts_.newest(item.position) != 0)
                suggested.newestChange = dateOf({.seconds = facts_.newest(item.position)});
            for (const std::string& witness : item.witnesses) suggested.witnesses.emplace_back(witness);
            group.items.push_back(std::move(suggested));
        }
        std::ranges::stable_sort(group.items, [](const SuggestedItem& a, const SuggestedItem& b) {
            return a.freedBytes != b.freedBytes ? a.freedBytes > b.freedBytes
                                                : a.record.path().view() < b.record.path().view();
        });
    }

    /// In the order of `items`.
    [[nodiscard]] std::vector<FileRecord> recordsOf(const std::vector<Measured>& items) const {
        const FolderTable& table = facts_.table();
        const GenerationRows& rows = generation_.rows();
        RecordBuilder builder{rows, generation_.context()};
        RowReader folders{rows.folders(), builder.fields(), false};
        RowReader files{rows.files(), builder.fields(), true};
        // As they stand, so that each chunk is read once.
        std::vector<std::uint32_t> reading(items.size());
        std::iota(reading.begin(), reading.end(), 0U);
        const auto itemAt = [&](std::uint32_t i) -> const FittingItem& { return claims_.items()[items[i].item]; };
        std::ranges::sort(reading, {}, [&](std::uint32_t i) {
            return std::pair{itemAt(i).isFile, itemAt(i).position};
        });
        std::vector<std::uint32_t> order(items.size());
        std::uint32_t known = FolderTable::none;
        RecordStorage::FolderIndex stored = 0;
        for (std::uint32_t at = 0; at < reading.size(); ++at) {
            const FittingItem& item = itemAt(reading[at]);
            const std::uint32_t parent = item.isFile ? table.folderOf(item.position) : table.parent(item.position);
            if (std::exchange(known, parent) != parent) {
                const auto made = builder.storage().folder(table.path(parent));
                if (!made) throwDamaged(rows.generation());
                stored = *made;
            }
            RowReader& reader = item.isFile ? files : folders;
            const RowReader::Rows row = reader.at(item.position);
            if (item.isFile) {
                builder.addRegular(stored, row.name(0), *row.columns, row.firstColumn, 0, HistoryStream::files,
                                   row.place);
            } else {
                builder.addRegular(stored, table.name(item.position), *row.columns, row.firstColumn,
                                   facts_.contents().of(item.position), HistoryStream::folders, row.place);
            }
            order[reading[at]] = at;
        }
        const auto storage = builder.finish(order);
        std::vector<FileRecord> records;
        records.reserve(items.size());
        for (std::size_t i = 0; i < items.size(); ++i) records.push_back(storage->record(i));
        return records;
    }

    const OpenGeneration& generation_;
    const std::vector<ReclaimRule>& rules_;
    const FolderFacts& facts_;
    const ItemClaims& claims_;
    const SuggestionSettings& settings_;
    std::vector<bool> isWanted_;                 ///< by rule
    std::vector<std::vector<Measured>> groups_;  ///< by rule
    std::vector<std::size_t> placeOf_;           ///< of each item in its group
    std::vector<std::int64_t> sums_;             ///< by rule
    std::int64_t total_ = 0;
};

}  // namespace

std::optional<Suggestions> Suggestions::of(const GenerationReader& generation, const ReclaimCatalogue& catalogue,
                                           const SuggestionSettings& settings) {
    SuggestionSettings sameTime = settings;
    sameTime.now = settings.now.value_or(Date::now());
    const std::vector<ReclaimRule>& rules = catalogue.rules();
    const OpenGeneration& open = GenerationAccess::open(generation);
    const FolderFacts facts{open, sameTime};
    FittingItems fitting = fittingItems(open, rules, sameTime, facts);
    const auto isGivenUp = [&] { return settings.cancellation && settings.cancellation->isCancelled(); };
    if (isGivenUp()) return std::nullopt;
    const ItemClaims claims{std::move(fitting), open, rules, facts, sameTime};
    Suggestions result = Groups{open, rules, facts, claims, sameTime}.suggestions();
    if (isGivenUp()) return std::nullopt;
    return result;
}

std::vector<std::optional<Text>> Suggestions::objections(std::span<const SuggestedItem> items,
                                                         const SuggestionSettings& settings) {
    const Text& home = settings.places.home;
    const auto homesOwner = ownerOf(home.string());
    const auto isOurs = [&](std::uint32_t user) {
        return user == currentUser() || (homesOwner && user == homesOwner->user);
    };
    const auto isOwnPlace = [&](const Text& path) {
        return Path::isBeneath(path, home) || (settings.folder && Path::isBeneath(path, *settings.folder));
    };
    const auto judged = [&](const Text& path) -> std::optional<Text> {
        const auto owner = ownerOf(path.string());
        if (!owner) return Text{path.string() + " is gone, or can’t be looked at."};
        if (owner->isLink) return Text{path.string() + " is a link."};
        if (isOwnPlace(path) && !isOurs(owner->user)) return Text{path.string() + " belongs to another user."};
        return std::nullopt;
    };
    TrackedFiles tracked;
    const auto objection = [&](const SuggestedItem& item) -> std::optional<Text> {
        for (const Text& witness : item.witnesses) {
            if (auto reason = judged(witness)) return reason;
        }
        if (auto reason = judged(item.record.path())) return reason;
        const bool isThrownAway = Path::isBeneath(item.record.path(), settings.places.trash);
        return isThrownAway ? std::nullopt : tracked.reasonToKeep(item.record.path());
    };
    std::vector<std::optional<Text>> objections;
    objections.reserve(items.size());
    std::ranges::transform(items, std::back_inserter(objections), objection);
    return objections;
}

std::optional<Text> Suggestions::objection(const SuggestedItem& item, const SuggestionSettings& settings) {
    return std::move(objections({&item, 1}, settings).front());
}

void Suggestions::leaveOutObjections(const SuggestionSettings& settings) {
    for (SuggestionGroup& group : groups) {
        const auto found = objections(group.items, settings);
        std::vector<SuggestedItem> kept;
        for (std::size_t i = 0; i < group.items.size(); ++i) {
            SuggestedItem& item = group.items[i];
            if (!found[i]) {
                kept.push_back(std::move(item));
                continue;
            }
            group.itemCount -= 1;
            group.itemsBelow -= item.itemsBelow;
            group.freedBytes -= item.freedBytes;
            freedBytes -= item.freedBytes;
        }
        group.items = std::move(kept);
    }
    std::erase_if(groups, [](const SuggestionGroup& group) { return group.itemCount == 0; });
}

std::int64_t Suggestions::bytesOf(ReclaimCertainty certainty) const {
    std::int64_t sum = 0;
    for (const SuggestionGroup& group : groups) {
        if (group.rule.certainty == certainty) sum += group.freedBytes;
    }
    return sum;
}

}  // namespace KestrelCore
