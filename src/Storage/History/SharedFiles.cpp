#include "Storage/History/SharedFiles.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace KestrelCore {

SharedFiles::SharedFiles(const StreamView& before, const StreamView& after) : before_{before}, after_{after} {
    const std::uint32_t most = std::min(before.layerCount(), after.layerCount());
    while (common_ < most && before.generationOf(common_) == after.generationOf(common_)) ++common_;
    for (const StreamView* view : {&before, &after}) {
        auto rows = view->changedRows(common_, sizeFields);
        rows.resize(common_);
        changed_.resize(common_);
        for (std::uint32_t layer = 0; layer < common_; ++layer) {
            std::vector<std::uint32_t> both;
            std::ranges::set_union(changed_[layer], rows[layer], std::back_inserter(both));
            changed_[layer] = std::move(both);
        }
    }
}

void SharedFiles::takeApart(const RowRange& before, const RowRange& after, Parts& parts) {
    parts.before.clear();
    parts.after.clear();
    parts.changed.clear();
    collect(before_, before, beforePieces_, parts.before);
    collect(after_, after, afterPieces_, parts.after);
    auto old = beforePieces_.begin();
    auto now = afterPieces_.begin();
    while (old != beforePieces_.end() || now != afterPieces_.end()) {
        const bool isOldFirst = now == afterPieces_.end() || (old != beforePieces_.end() && old->comesBefore(*now));
        const bool isNowFirst = old == beforePieces_.end() || (now != afterPieces_.end() && now->comesBefore(*old));
        if (isOldFirst) {
            const std::uint32_t count = now != afterPieces_.end() && now->layer == old->layer
                                            ? std::min(old->count, now->index - old->index)
                                            : old->count;
            parts.before.emplace_back(old->position, old->position + count);
            old += drop(*old, count);
        } else if (isNowFirst) {
            const std::uint32_t count = old != beforePieces_.end() && now->layer == old->layer
                                            ? std::min(now->count, old->index - now->index)
                                            : now->count;
            parts.after.emplace_back(now->position, now->position + count);
            now += drop(*now, count);
        } else {
            const std::uint32_t count = std::min(old->count, now->count);
            const std::vector<std::uint32_t>& changed = changed_[old->layer];
            for (auto row = std::ranges::lower_bound(changed, old->index);
                 row != changed.end() && *row < old->index + count; ++row) {
                parts.changed.emplace_back(old->position + (*row - old->index), now->position + (*row - now->index));
            }
            old += drop(*old, count);
            now += drop(*now, count);
        }
    }
    std::ranges::sort(parts.before);
    std::ranges::sort(parts.after);
    std::ranges::sort(parts.changed);
}

void SharedFiles::collect(const StreamView& view, const RowRange& files, std::vector<Piece>& shared,
                          std::vector<RowRange>& others) const {
    shared.clear();
    if (files.first == files.second) return;
    const auto& segments = view.segments();
    for (std::size_t i = view.segmentAt(files.first); i < segments.size() && segments[i].start < files.second; ++i) {
        const std::uint32_t first = std::max(files.first, segments[i].start);
        const std::uint32_t count = std::min(files.second, segments[i].start + segments[i].count) - first;
        if (segments[i].layer < common_) {
            shared.push_back({segments[i].layer, segments[i].first + (first - segments[i].start), count, first});
        } else {
            others.emplace_back(first, first + count);
        }
    }
    std::ranges::sort(shared, [](const Piece& a, const Piece& b) { return a.comesBefore(b); });
}

}  // namespace KestrelCore
