#include "Storage/History/GenerationDescription.hpp"

#include "KestrelCore/JSON/CodingErrors.hpp"
#include "KestrelCore/Snapshot/ValueJSON.hpp"
#include "Storage/History/ProvenanceText.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace KestrelCore {

ScanScope scopeOf(const StoredGeneration& stored) {
    try {
        return decodingJSON<ScanScope>(stored.scope);
    } catch (const DecodingError&) {
        throwDamaged(stored.number);
    }
}

Generation described(const StoredGeneration& stored, ScanScope scope) {
    GenerationProvenance provenance;
    try {
        provenance = readProvenance(stored.provenance);
    } catch (const DecodingError&) {
        throwDamaged(stored.number);
    }
    return {.number = stored.number,
            .snapshot = stored.snapshot,
            .scope = std::move(scope),
            .startedAt = Date{stored.startedAt},
            .completedAt = Date{stored.completedAt},
            .records = stored.records,
            .issues = stored.issues,
            .totalAllocatedBytes = stored.totalBytes,
            .isComplete = stored.isComplete,
            .isPinned = stored.isPinned,
            .origin = static_cast<GenerationOrigin>(stored.origin),
            .storedBytes = stored.storedBytes,
            .isDifference = stored.base != 0,
            .leftOut = std::move(provenance.leftOut),
            .crossesMounts = provenance.crossesMounts,
            .source = std::move(provenance.source)};
}

Generation described(const StoredGeneration& stored) { return described(stored, scopeOf(stored)); }

const StoredGeneration* find(const std::vector<StoredGeneration>& all, std::int64_t number) {
    const auto found = std::ranges::find(all, number, &StoredGeneration::number);
    return found == all.end() ? nullptr : &*found;
}

KestrelError noGeneration(std::int64_t number) {
    return KestrelError::unavailable(fmt::format("The history has no generation {}.", number));
}

const StoredGeneration& kept(const std::vector<StoredGeneration>& all, std::int64_t number) {
    const StoredGeneration* stored = find(all, number);
    if (stored == nullptr || stored->isForgotten) throw noGeneration(number);
    return *stored;
}

}  // namespace KestrelCore
