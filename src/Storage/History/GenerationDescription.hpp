#pragma once

#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Model/ScanScope.hpp"
#include "KestrelCore/Storage/Generation.hpp"
#include "Storage/History/HistoryDatabase.hpp"

#include <cstdint>
#include <vector>

namespace KestrelCore {

/// What was scanned. Throws that the generation is damaged where that can't be read.
[[nodiscard]] ScanScope scopeOf(const StoredGeneration& stored);
/// The generation as hosts see it; with a scope that was read before, or reading it.
[[nodiscard]] Generation described(const StoredGeneration& stored, ScanScope scope);
[[nodiscard]] Generation described(const StoredGeneration& stored);

/// The one with that number, forgotten or not; null where there is none.
[[nodiscard]] const StoredGeneration* find(const std::vector<StoredGeneration>& all, std::int64_t number);
/// The one with that number that is not forgotten; throws where there is none.
[[nodiscard]] const StoredGeneration& kept(const std::vector<StoredGeneration>& all, std::int64_t number);
[[nodiscard]] KestrelError noGeneration(std::int64_t number);

}  // namespace KestrelCore
