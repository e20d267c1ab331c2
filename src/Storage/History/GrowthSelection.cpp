#include "Storage/History/GrowthSelection.hpp"

#include <algorithm>
#include <limits>

namespace KestrelCore {

namespace {

class Selector {
public:
    Selector(const std::vector<GrowthFolder>& folders, const std::vector<GrowthLeaf>& leaves, std::size_t depth)
        : folders_{folders}, leaves_{leaves}, depth_{depth} {}

    [[nodiscard]] GrowthSelection select(std::size_t most) {
        if (most == 0 || folders_.empty()) return {};
        const std::uint64_t least = leastWeight(most);
        GrowthSelection result;
        sumUp(
            least, [&](std::size_t leaf) { result.leaves.push_back(leaf); },
            [&](std::size_t folder, const GrowthSum& sum) {
                result.folders.push_back({folder, sum});
            });
        return result;
    }

private:
    /// The smallest weight that gives no more than so many lines; of all weights between two that make a difference one
    /// is as good as another, so the search ends near it.
    std::uint64_t leastWeight(std::size_t most) {
        if (lines(0) <= most) return 0;
        // Above what all of them weigh there is only the line of the first folder.
        std::uint64_t enough = 1;
        const auto count = [&](std::uint64_t weight) {
            if (__builtin_add_overflow(enough, weight, &enough)) enough = std::numeric_limits<std::uint64_t>::max();
        };
        for (const GrowthLeaf& leaf : leaves_) count(std::max(leaf.weight, leaf.sum.size()));
        for (const GrowthFolder& folder : folders_) count(folder.own.size());
        std::uint64_t tooSmall = 0;
        while (enough - tooSmall > 1 + tooSmall / 256) {
            const std::uint64_t middle = tooSmall + (enough - tooSmall) / 2;
            (lines(middle) <= most ? enough : tooSmall) = middle;
        }
        return enough;
    }

    std::size_t lines(std::uint64_t least) {
        std::size_t count = 0;
        sumUp(
            least, [&](std::size_t) { ++count; }, [&](std::size_t, const GrowthSum&) { ++count; });
        return count;
    }

    template <typename TellLeaf, typename TellFolder>
    void sumUp(std::uint64_t least, const TellLeaf& tellLeaf, const TellFolder& tellFolder) {
        rest_.resize(folders_.size());
        for (std::size_t i = 0; i < folders_.size(); ++i) rest_[i] = folders_[i].own;
        for (std::size_t i = 0; i < leaves_.size(); ++i) {
            if (leaves_[i].level <= depth_ && leaves_[i].weight >= least) {
                tellLeaf(i);
            } else {
                rest_[leaves_[i].folder].add(leaves_[i].sum);
            }
        }
        for (std::size_t i = folders_.size(); i-- > 0;) {
            const GrowthSum& sum = rest_[i];
            if (sum.items == 0) continue;
            if (i == 0 || (folders_[i].level <= depth_ && sum.size() >= least)) {
                tellFolder(i, sum);
            } else {
                rest_[folders_[i].parent].add(sum);
            }
        }
    }

    const std::vector<GrowthFolder>& folders_;
    const std::vector<GrowthLeaf>& leaves_;
    std::size_t depth_;
    std::vector<GrowthSum> rest_;
};

}  // namespace

GrowthSelection selectGrowth(const std::vector<GrowthFolder>& folders, const std::vector<GrowthLeaf>& leaves,
                             const GrowthOptions& options) {
    constexpr std::size_t all = std::numeric_limits<std::size_t>::max();
    return Selector{folders, leaves, options.depth.value_or(all)}.select(options.most.value_or(all));
}

}  // namespace KestrelCore
