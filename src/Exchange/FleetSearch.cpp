#include "KestrelCore/Exchange/FleetSearch.hpp"

#include "Exchange/FleetQuestion.hpp"
#include "KestrelCore/Base/NaturalOrder.hpp"
#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <algorithm>
#include <compare>
#include <limits>
#include <map>
#include <stdexcept>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace KestrelCore {

namespace {

constexpr std::uint16_t hiddenFlag = 1;
constexpr std::uint16_t cloudFlag = 2;
constexpr std::uint16_t furtherLinkFlag = 4;
constexpr std::uint16_t identityFlag = 8;
constexpr std::uint16_t dateFlag = 16;
constexpr std::uint16_t parentFlag = 32;
constexpr std::uint16_t labelFlag = 64;
constexpr std::uint16_t wholePathFlag = 128;
constexpr std::uint16_t otherParentFlag = 256;

bool isDateBefore(const FileRecord& a, const FileRecord& b) {
    return a.modifiedAt().value_or(Date::distantPast()) < b.modifiedAt().value_or(Date::distantPast());
}

/// Whether `a` comes before `b`, as the library's own search has it.
bool comesBefore(const FleetMatch& a, const FleetMatch& b, SearchOrder order) {
    const FileRecord& one = a.item.record;
    const FileRecord& other = b.item.record;
    if (order == SearchOrder::size && one.displayBytes() != other.displayBytes())
        return one.displayBytes() > other.displayBytes();
    if (order == SearchOrder::date && (isDateBefore(one, other) || isDateBefore(other, one)))
        return isDateBefore(other, one);
    const std::weak_ordering names = NaturalOrder::compareInList(one.name(), other.name());
    if (order == SearchOrder::name && names != 0) return names < 0;
    if (a.score != b.score) return a.score > b.score;
    if (one.displayBytes() != other.displayBytes()) return one.displayBytes() > other.displayBytes();
    return names < 0;
}

/// Without asking that sizes are not below 0, for which a column would be read to its end.
std::string cheapFilters(FleetQuestion& question, SearchExplanation plan, SearchFilter filter) {
    constexpr std::int64_t any = std::numeric_limits<std::int64_t>::min();
    if (std::max(plan.minimumBytes, filter.minimumBytes) == 0) plan.minimumBytes = filter.minimumBytes = any;
    return question.plainFilters(plan, filter);
}

}  // namespace

FleetItem FleetRow::item() const {
    const auto has = [&](std::uint16_t flag) { return (flags & flag) != 0; };
    FileRecord::Fields fields;
    fields.id = UUID::random();
    if (has(identityFlag)) fields.identity = FileIdentity{.device = device, .inode = inode};
    if (has(wholePathFlag)) {
        fields.path = Text{name};
    } else {
        fields.path = Text::concatenating({dir == "/" ? std::string_view{} : std::string_view{dir}, "/", name});
    }
    fields.name = Text{has(labelFlag) ? label : name};
    if (has(otherParentFlag)) {
        fields.parentPath = Text{parent};
    } else if (has(parentFlag)) {
        fields.parentPath = Text{dir};
    }
    fields.kind = fromRawValue<FileKind>(kind).value_or(FileKind::file);
    fields.logicalBytes = size;
    fields.allocatedBytes = allocated;
    fields.aggregateAllocatedBytes = display;
    if (has(dateFlag)) fields.modifiedAt = Date{modified};
    fields.fileExtension = Text{extension};
    fields.isHidden = has(hiddenFlag);
    fields.isCloudPlaceholder = has(cloudFlag);
    fields.isHardLinkDuplicate = has(furtherLinkFlag);
    fields.risk = fromRawValue<RiskLevel>(risk).value_or(RiskLevel::normal);
    return {.host = host, .volume = volume, .record = FileRecord{std::move(fields)}};
}

FleetSearch::FleetSearch(SearchQuery query, SearchFilter filter, Date now)
    : query_{std::move(query)}, filter_{std::move(filter)}, now_{now},
      explanation_{SearchExplanation::of(query_, now_)} {
    FleetQuestion question;
    std::vector<Text> terms = explanation_.terms;
    std::sort(terms.begin(), terms.end());
    terms.erase(std::unique(terms.begin(), terms.end()), terms.end());

    FleetCondition all = FleetCondition::exact(question.plainFilters(explanation_, filter_));
    coarse_ = cheapFilters(question, explanation_, filter_);
    all &= question.pathFilters(explanation_, filter_);
    for (const Text& term : terms) {
        all &= question.term(term);
        coarse_ = FleetCondition::both(coarse_, question.coarseTerm(term));
    }
    possible_ = all.possible;
    certain_ = all.certain;
    score_ = question.score(explanation_.terms);
    // The possible ones are asked twice, with the others beside them.
    if (coarse_.size() + possible_.size() + certain_.size() + score_.size() > longestQuestion)
        throw std::length_error{"A search of so many words is too long for a server."};
}

std::vector<FleetMatch> FleetSearch::answering(std::vector<FleetItem> items, SearchOrder order) const {
    // A path may be there once on each volume of each host, or more than once where roots were published in parts; a
    // snapshot takes each once.
    std::map<std::tuple<std::string, std::string>, std::vector<std::size_t>> volumes;
    for (std::size_t i = 0; i < items.size(); ++i) volumes[{items[i].host, items[i].volume}].push_back(i);
    std::vector<std::pair<std::size_t, std::int64_t>> found;
    for (const auto& [volume, indices] : volumes) {
        std::vector<FileRecord> records;
        std::unordered_map<UUID, std::size_t> byIdentifier;
        records.reserve(indices.size());
        for (const std::size_t index : indices) {
            records.push_back(items[index].record);
            byIdentifier.emplace(items[index].record.id(), index);
        }
        const ScanSnapshot snapshot{UUID::random(), ScanScope{URL::fromPath("/")}, Date{0}, Date{0}, records, {}};
        const auto answer = snapshot.search(query_, static_cast<std::int64_t>(records.size()),
                                            {.cancellation = {},
                                             .now = now_,
                                             .threads = 1,
                                             .filter = filter_,
                                             .order = order,
                                             .measuresMatches = false});
        for (const ScoredRecord& one : answer->results) {
            if (const auto at = byIdentifier.find(one.record.id()); at != byIdentifier.end())
                found.emplace_back(at->second, one.score);
        }
    }
    std::sort(found.begin(), found.end());
    std::vector<FleetMatch> matches;
    matches.reserve(found.size());
    for (const auto& [index, score] : found) matches.push_back({.item = std::move(items[index]), .score = score});
    std::stable_sort(matches.begin(), matches.end(),
                     [&](const FleetMatch& a, const FleetMatch& b) { return comesBefore(a, b, order); });
    return matches;
}

}  // namespace KestrelCore
