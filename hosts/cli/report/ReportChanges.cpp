#include "report/ReportChanges.hpp"

#include <algorithm>
#include <cstddef>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// The part of `path` behind `folder` and the slash after it; empty for the folder itself.
std::string_view behind(std::string_view path, std::string_view folder) {
    if (!path.starts_with(folder)) return {};
    path.remove_prefix(folder.size());
    if (path.starts_with('/')) path.remove_prefix(1);
    return path;
}

/// The item of a folder with that name; `none` where there is none.
std::uint32_t childNamed(const ReportTree& tree, const ReportNode& folder, std::string_view name) {
    const auto begin = tree.nodes().begin() + folder.firstChild;
    const auto end = begin + folder.childCount;
    const auto found =
        std::ranges::lower_bound(begin, end, name, {}, [&](const ReportNode& node) { return tree.nameOf(node); });
    if (found == end || tree.nameOf(*found) != name) return ReportNode::none;
    return static_cast<std::uint32_t>(found - tree.nodes().begin());
}

}  // namespace

std::string_view reportWordFor(GrowthChangeKind what) {
    switch (what) {
    case GrowthChangeKind::grew: return "grew";
    case GrowthChangeKind::shrank: return "shrank";
    case GrowthChangeKind::appeared: return "new";
    case GrowthChangeKind::gone: return "gone";
    case GrowthChangeKind::moved: break;
    }
    return "moved";
}

std::vector<std::int64_t> reportChanges(const ReportTree& tree, const ReportSelection& selection,
                                        const Growth& growth) {
    const std::vector<ReportNode>& nodes = tree.nodes();
    const std::string_view top = tree.nameOf(nodes.front());
    std::vector<std::int64_t> ofAll(nodes.size());
    for (const GrowthChange& change : growth.changes) {
        std::string_view rest = behind(change.path.view(), top);
        std::uint32_t node = 0;
        ofAll[node] += change.change();
        while (!rest.empty()) {
            const std::size_t length = std::min(rest.find('/'), rest.size());
            node = childNamed(tree, nodes[node], rest.substr(0, length));
            if (node == ReportNode::none) break;
            ofAll[node] += change.change();
            rest.remove_prefix(std::min(length + 1, rest.size()));
        }
    }
    std::vector<std::int64_t> changes;
    changes.reserve(selection.shown.size());
    for (const std::uint32_t each : selection.shown) changes.push_back(ofAll[each]);
    return changes;
}

}  // namespace KestrelCLI
