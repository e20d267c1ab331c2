#include "Reclaim/RulePlaces.hpp"

#include "Base/PathComponents.hpp"
#include "Reclaim/RuleText.hpp"

#include <algorithm>
#include <cstddef>

namespace KestrelCore {

namespace {

std::string_view anchorPath(PlaceAnchor anchor, const ReclaimPlaces& places) {
    switch (anchor) {
    case PlaceAnchor::home: return places.home.view();
    case PlaceAnchor::cache: return places.cache.view();
    case PlaceAnchor::configuration: return places.configuration.view();
    case PlaceAnchor::data: return places.data.view();
    case PlaceAnchor::state: return places.state.view();
    case PlaceAnchor::library: return places.library.view();
    case PlaceAnchor::trash: return places.trash.view();
    case PlaceAnchor::system: break;
    }
    return {};
}

}  // namespace

RulePlaces::RulePlaces(const std::vector<ReclaimRule>& rules, const ReclaimPlaces& places) {
    nodes_.emplace_back();
    for (std::uint32_t rule = 0; rule < rules.size(); ++rule) {
        for (std::uint32_t match = 0; match < rules[rule].matches.size(); ++match) {
            const ReclaimMatch& each = rules[rule].matches[match];
            for (const Text& place : each.places) {
                Place& at = nodes_[node(place.view(), places)];
                (each.take == ReclaimMatch::Take::item ? at.items : at.contents).push_back({rule, match});
            }
            for (const Text& place : each.inPlaces)
                nodes_[node(place.view(), places)].searched.push_back({rule, match});
        }
    }
}

RulePlaces::Node RulePlaces::node(std::string_view place, const ReclaimPlaces& places) {
    const PlaceText text = placeText(place);
    Node at = 0;
    // What a folder is really called is no pattern.
    forEachComponent(anchorPath(text.anchor, places), [&](std::string_view name) { at = child(at, name, false); });
    forEachComponent(text.rest, [&](std::string_view name) { at = child(at, name, true); });
    return at;
}

RulePlaces::Node RulePlaces::child(Node parent, std::string_view name, bool mayBePattern) {
    auto& children = mayBePattern && isPattern(name) ? nodes_[parent].patterns : nodes_[parent].names;
    for (const auto& [known, node] : children) {
        if (known == name) return node;
    }
    const auto made = static_cast<Node>(nodes_.size());
    children.emplace_back(name, made);
    nodes_.emplace_back();
    return made;
}

std::vector<RulePlaces::Node> RulePlaces::below(std::span<const Node> nodes, std::string_view name) const {
    std::vector<Node> result;
    for (const Node node : nodes) {
        for (const auto& [known, next] : nodes_[node].names) {
            if (known == name) result.push_back(next);
        }
        for (const auto& [pattern, next] : nodes_[node].patterns) {
            if (fitsPattern(name, pattern)) result.push_back(next);
        }
    }
    return result;
}

}  // namespace KestrelCore
