#include "CInterface/History.hpp"

#include "KestrelCore/Storage/Growth.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

using namespace KestrelCore;
using namespace KestrelC;

struct kestrel_growth {
    explicit kestrel_growth(Growth compared)
        : growth{std::move(compared)}, info{.path = viewOf(growth.path),
                                            .before_bytes = growth.before,
                                            .after_bytes = growth.after,
                                            .change_count = growth.changes.size()} {
        changes.reserve(growth.changes.size());
        for (const GrowthChange& change : growth.changes) {
            changes.push_back({.what = static_cast<kestrel_change_kind>(change.what),
                               .kind = rawValue(change.kind),
                               .path = viewOf(change.path),
                               .moved_from = change.movedFrom ? viewOf(*change.movedFrom) : kestrel_text{},
                               .before_bytes = change.before,
                               .after_bytes = change.after,
                               .items = change.items});
        }
    }
    kestrel_growth(const kestrel_growth&) = delete;
    kestrel_growth& operator=(const kestrel_growth&) = delete;

    const Growth growth;
    const kestrel_growth_info info;
    std::vector<kestrel_change> changes;
};

namespace {

std::optional<std::size_t> boundOf(std::size_t bound) {
    return bound == SIZE_MAX ? std::nullopt : std::optional{bound};
}

}  // namespace

kestrel_code kestrel_history_growth(const kestrel_history* history, int64_t since, int64_t until, const char* path,
                                    size_t depth, size_t most, kestrel_growth** growth,
                                    kestrel_error** error) noexcept {
    return making(growth, error, [&] {
        std::optional<Text> folder;
        if (path != nullptr) folder = pathOf(path, "path");
        for (const int64_t number : {since, until}) (void)opened(history, number);
        auto compared =
            history->contents->growth(since, until, folder, {.depth = boundOf(depth), .most = boundOf(most)});
        if (!compared) throw Failure{KESTREL_NOT_FOUND, "The two scans have nothing there to compare."};
        return std::make_unique<kestrel_growth>(std::move(*compared));
    });
}

const kestrel_growth_info* kestrel_growth_get_info(const kestrel_growth* growth) noexcept {
    return growth == nullptr ? nullptr : &growth->info;
}

const kestrel_change* kestrel_growth_at(const kestrel_growth* growth, size_t index) noexcept {
    return growth == nullptr || index >= growth->changes.size() ? nullptr : &growth->changes[index];
}

void kestrel_growth_free(kestrel_growth* growth) noexcept { delete growth; }
