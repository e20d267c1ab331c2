#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Reclaim/ReclaimRule.hpp"
#include "KestrelCore/Reclaim/SuggestionSettings.hpp"
#include "Reclaim/NameTable.hpp"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace KestrelCore {

/// One match of one rule, as positions.
struct RuleMatch {
    std::uint32_t rule;
    std::uint32_t match;

    auto operator<=>(const RuleMatch&) const = default;
};

/// The places of all rules as one tree of names, to be walked down together with the folders of a disk. Read-only once
/// it is made; any thread.
class RulePlaces {
public:
    using Node = std::uint32_t;

    RulePlaces(const std::vector<ReclaimRule>& rules, const ReclaimPlaces& places);

    /// Where a walk begins, at "/".
    [[nodiscard]] std::vector<Node> top() const { return {0}; }
    /// Where a walk is in the folder `name` of a folder in which it was at `nodes`.
    [[nodiscard]] std::vector<Node> below(std::span<const Node> nodes, std::string_view name) const;

    /// What is meant by the item there itself.
    [[nodiscard]] const std::vector<RuleMatch>& items(Node node) const { return nodes_[node].items; }
    /// What is meant by each item right in the folder there.
    [[nodiscard]] const std::vector<RuleMatch>& contents(Node node) const { return nodes_[node].contents; }
    /// What looks for files in the folder there, at any depth.
    [[nodiscard]] const std::vector<RuleMatch>& searched(Node node) const { return nodes_[node].searched; }

private:
    struct Place {
        std::vector<std::pair<std::string, Node>> names;
        std::vector<std::pair<std::string, Node>> patterns;
        std::vector<RuleMatch> items;
        std::vector<RuleMatch> contents;
        std::vector<RuleMatch> searched;
    };

    Node node(std::string_view place, const ReclaimPlaces& places);
    Node child(Node parent, std::string_view name, bool mayBePattern);

    std::vector<Place> nodes_;
};

}  // namespace KestrelCore
