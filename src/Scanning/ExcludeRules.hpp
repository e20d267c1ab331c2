#pragma once

#include "KestrelCore/Scanning/ExcludePattern.hpp"
#include "KestrelCore/Scanning/ScanOptions.hpp"
#include "Platform/Traversal.hpp"
#include "Scanning/NamePattern.hpp"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// The patterns of one scan, made ready for names that come a million times. Rule n is pattern n; the one after the
/// last is that of folders with a cache's tag. Immutable.
class ExcludeRules final : public TraversalFilter {
public:
    /// `root` is the scan's, absolute and standardised.
    ExcludeRules(const std::vector<ExcludePattern>& patterns, std::string_view root, ScanOptions::CacheFolders caches);

    [[nodiscard]] PlacePointer root() const override { return root_; }
    [[nodiscard]] std::optional<std::uint32_t> ruleFor(const Place* place, std::string_view name,
                                                       EntryType type) const override;
    [[nodiscard]] PlacePointer below(const PlacePointer& place, std::string_view name) const override;
    [[nodiscard]] std::optional<std::uint32_t> cacheRule() const override { return cacheRule_; }

    /// Whether the pattern can match anything below the root: an absolute one may lie elsewhere.
    [[nodiscard]] bool concernsRoot(std::uint32_t rule) const;

private:
    struct Component {
        NamePattern name;
        bool isAnyDepth = false;  ///< "**"
    };
    /// A path with wildcards; those of one component without an anchor are in `names_` instead.
    struct PathRule {
        std::uint32_t rule = 0;
        bool isForFolders = false;
        std::vector<Component> components;
    };
    struct NameRule {
        std::uint32_t rule = 0;
        bool isForFolders = false;
        NamePattern name;
    };
    /// Which component of which path the next name has to match.
    struct Position {
        std::uint32_t path = 0;
        std::uint32_t component = 0;

        auto operator<=>(const Position&) const = default;
    };
    struct PathPlace final : Place {
        std::vector<Position> positions;  ///< ascending, each once
    };

    void add(std::string_view pattern, std::uint32_t rule);
    void addPosition(std::vector<Position>& positions, Position position) const;
    [[nodiscard]] std::vector<Position> step(const std::vector<Position>& positions, std::string_view name) const;

    std::vector<NameRule> names_;
    std::array<std::vector<std::uint32_t>, 256> namesByLastByte_;  ///< in `names_`; those of any last byte in each
    std::vector<PathRule> paths_;
    std::shared_ptr<const PathPlace> root_;
    std::vector<bool> concernsRoot_;
    std::optional<std::uint32_t> cacheRule_;
};

}  // namespace KestrelCore
