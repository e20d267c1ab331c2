#include "Scanning/ExcludeRules.hpp"

#include "KestrelCore/Base/Path.hpp"

#include <algorithm>

// A name is looked at once, with what holds in its folder, and no path is ever put together:
//
//     patterns    *.iso    node_modules/    work/**/old    /home/anna/.cache
//     names       *.iso    node_modules/                                        by the last byte of the name
//     paths                                 work/**/old    .cache               of which in each folder some are under
//     way
//
// In /home/anna, "work" and ".cache" are under way; in /home/anna/work and in all folders below it, "**" and "old"; in
// /home/anna/Music nothing is, and its names are looked up among the names only.

namespace KestrelCore {

ExcludeRules::ExcludeRules(const std::vector<ExcludePattern>& patterns, std::string_view root,
                           ScanOptions::CacheFolders caches) {
    concernsRoot_.assign(patterns.size(), true);
    auto place = std::make_shared<PathPlace>();
    for (std::uint32_t rule = 0; rule < patterns.size(); ++rule) {
        const std::size_t before = paths_.size();
        add(patterns[rule].bytes(), rule);
        if (paths_.size() == before) continue;
        std::vector<Position> positions;
        addPosition(positions, {.path = static_cast<std::uint32_t>(before), .component = 0});
        if (patterns[rule].bytes().starts_with('/')) {
            for (std::string_view rest = root; !rest.empty();) {
                const std::string_view name = rest.substr(0, rest.find('/'));
                rest.remove_prefix(std::min(rest.size(), name.size() + 1));
                if (!name.empty()) positions = step(positions, name);
            }
            concernsRoot_[rule] = !positions.empty();
        }
        place->positions.insert(place->positions.end(), positions.begin(), positions.end());
    }
    std::ranges::sort(place->positions);
    if (!place->positions.empty()) root_ = std::move(place);
    for (std::uint32_t i = 0; i < names_.size(); ++i) {
        const std::optional<char> last = names_[i].name.lastByte();
        for (std::size_t byte = 0; byte < namesByLastByte_.size(); ++byte) {
            if (!last || static_cast<std::uint8_t>(*last) == byte) namesByLastByte_[byte].push_back(i);
        }
    }
    if (caches == ScanOptions::CacheFolders::leftOut) cacheRule_ = static_cast<std::uint32_t>(patterns.size());
}

void ExcludeRules::add(std::string_view pattern, std::uint32_t rule) {
    const bool isForFolders = pattern.ends_with('/');
    const std::size_t end = pattern.find_last_not_of('/') + 1;
    pattern = pattern.substr(0, end);
    if (pattern.starts_with("**/") && pattern.find('/', 3) == std::string_view::npos) pattern.remove_prefix(3);
    if (pattern.find('/') == std::string_view::npos) {
        names_.push_back({.rule = rule, .isForFolders = isForFolders, .name = NamePattern{pattern}});
        return;
    }
    PathRule path{.rule = rule, .isForFolders = isForFolders, .components = {}};
    for (std::string_view rest = pattern; !rest.empty();) {
        const std::string_view component = rest.substr(0, rest.find('/'));
        rest.remove_prefix(std::min(rest.size(), component.size() + 1));
        if (component.empty() || component == ".") continue;
        const bool isAnyDepth = component == "**";
        if (isAnyDepth && !path.components.empty() && path.components.back().isAnyDepth) continue;
        path.components.push_back({.name = NamePattern{component}, .isAnyDepth = isAnyDepth});
    }
    paths_.push_back(std::move(path));
}

void ExcludeRules::addPosition(std::vector<Position>& positions, Position position) const {
    positions.push_back(position);
    const std::vector<Component>& components = paths_[position.path].components;
    // "**" may stand for no folder at all, but at the end it stands for what is in the one before it.
    if (components[position.component].isAnyDepth && position.component + 1 < components.size())
        positions.push_back({.path = position.path, .component = position.component + 1});
}

std::vector<ExcludeRules::Position> ExcludeRules::step(const std::vector<Position>& positions,
                                                       std::string_view name) const {
    std::vector<Position> next;
    for (const Position& position : positions) {
        const std::vector<Component>& components = paths_[position.path].components;
        const Component& component = components[position.component];
        const bool isLast = position.component + 1 == components.size();
        if (component.isAnyDepth) {
            addPosition(next, position);
        } else if (!isLast && component.name.matches(name)) {
            addPosition(next, {.path = position.path, .component = position.component + 1});
        }
    }
    std::ranges::sort(next);
    next.erase(std::ranges::unique(next).begin(), next.end());
    return next;
}

std::optional<std::uint32_t> ExcludeRules::ruleFor(const Place* place, std::string_view name, EntryType type) const {
    if (name.empty()) return std::nullopt;
    std::optional<std::uint32_t> found;
    const auto take = [&](std::uint32_t rule) { found = found ? std::min(*found, rule) : rule; };
    const bool isFolder = type == EntryType::folder;
    // Ascending, so that the first one is the first pattern of those that are given.
    for (const std::uint32_t i : namesByLastByte_[static_cast<std::uint8_t>(name.back())]) {
        const NameRule& rule = names_[i];
        if ((rule.isForFolders && !isFolder) || !rule.name.matches(name)) continue;
        take(rule.rule);
        break;
    }
    if (place == nullptr) return found;
    for (const Position& position : static_cast<const PathPlace*>(place)->positions) {
        const PathRule& path = paths_[position.path];
        if (position.component + 1 < path.components.size() || (path.isForFolders && !isFolder)) continue;
        const Component& component = path.components[position.component];
        if (component.isAnyDepth || component.name.matches(name)) take(path.rule);
    }
    return found;
}

TraversalFilter::PlacePointer ExcludeRules::below(const PlacePointer& place, std::string_view name) const {
    if (place == nullptr) return nullptr;
    const auto& here = static_cast<const PathPlace&>(*place);
    std::vector<Position> positions = step(here.positions, name);
    if (positions.empty()) return nullptr;
    // Below "**" most folders are as the one above them.
    if (positions == here.positions) return place;
    auto next = std::make_shared<PathPlace>();
    next->positions = std::move(positions);
    return next;
}

bool ExcludeRules::concernsRoot(std::uint32_t rule) const { return concernsRoot_[rule]; }

// Here, as a pattern is looked at one by one before it is made ready.
bool ExcludePattern::leavesOut(const Text& path, const Text& root, FileKind kind) const {
    if (!Path::isBeneath(path, root)) return false;
    const ExcludeRules rules{{*this}, root.view(), ScanOptions::CacheFolders::takenIn};
    TraversalFilter::PlacePointer place = rules.root();
    std::string_view rest = path.view().substr(root.view() == "/" ? 0 : root.view().size());
    while (rest.find_first_not_of('/') != std::string_view::npos) {
        rest.remove_prefix(rest.find_first_not_of('/'));
        const std::string_view name = rest.substr(0, rest.find('/'));
        rest.remove_prefix(name.size());
        const bool isLast = rest.find_first_not_of('/') == std::string_view::npos;
        const bool isFolder = !isLast || kind == FileKind::directory || kind == FileKind::package;
        if (rules.ruleFor(place.get(), name,
                          isFolder ? TraversalFilter::EntryType::folder : TraversalFilter::EntryType::other))
            return true;
        place = rules.below(place, name);
    }
    return false;
}

}  // namespace KestrelCore
