#include "report/ReportSelection.hpp"

#include "KestrelCore/Model/ItemCategory.hpp"
#include "KestrelCore/Snapshot/SummaryAge.hpp"

#include <algorithm>
#include <numeric>
#include <span>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// Which nodes are among the largest, each with all folders above it.
std::vector<bool> largest(const std::vector<ReportNode>& nodes, std::optional<std::size_t> most) {
    if (!most || nodes.size() <= *most) return std::vector<bool>(nodes.size(), true);
    std::vector<std::uint32_t> order(nodes.size());
    std::iota(order.begin(), order.end(), 0U);
    const auto last = order.begin() + static_cast<std::ptrdiff_t>(std::max<std::size_t>(1, *most));
    std::nth_element(order.begin(), last - 1, order.end(), [&](std::uint32_t a, std::uint32_t b) {
        return nodes[a].weight() != nodes[b].weight() ? nodes[a].weight() > nodes[b].weight() : a < b;
    });
    std::vector<bool> isShown(nodes.size());
    // A folder weighs no less than what lies in it, and stands before it: so it is among them when that is.
    for (auto each = order.begin(); each != last; ++each) isShown[*each] = true;
    return isShown;
}

}  // namespace

std::size_t ReportAges::classOf(std::optional<std::int64_t> modified) const {
    const std::span<const SummaryAge> ages = SummaryAges::all();
    if (!modified) return ages.size();
    std::size_t number = 0;
    while (now_ - *modified > ages[number].mostSeconds) ++number;
    return number;
}

std::size_t ReportAges::count() { return SummaryAges::all().size() + 1; }

ReportSelection reportSelection(const ReportTree& tree, std::optional<std::size_t> most, const ReportAges& ages) {
    const std::vector<ReportNode>& nodes = tree.nodes();
    const std::vector<bool> isShown = largest(nodes, most);
    ReportSelection selection;
    // Of a shown node its place among them, of another that of the folder that it counts for.
    std::vector<std::uint32_t> places(nodes.size());
    std::vector<bool> isInPackage(nodes.size());  // that lies below that folder
    for (std::uint32_t i = 0; i < nodes.size(); ++i) {
        const ReportNode& node = nodes[i];
        if (isShown[i]) {
            places[i] = static_cast<std::uint32_t>(selection.shown.size());
            selection.shown.push_back(i);
            continue;
        }
        places[i] = places[node.parent];
        isInPackage[i] =
            !isShown[node.parent] &&
            (isInPackage[node.parent] || nodes[node.parent].type == static_cast<std::uint8_t>(ReportType::package));
        ReportRest& rest = selection.rests[places[i]];
        const std::int64_t bytes = node.isFurtherLink ? 0 : node.ownBytes;
        ++rest.items;
        rest.bytes += bytes;
        if (!node.isFile()) continue;
        const auto category = isInPackage[i] ? static_cast<std::size_t>(ItemCategory::applications) : node.type;
        ReportRest::Sum& sum =
            rest.files[static_cast<std::uint32_t>(category * ReportAges::count() + ages.classOf(node.modified))];
        ++sum.items;
        sum.bytes += bytes;
    }
    return selection;
}

}  // namespace KestrelCLI
