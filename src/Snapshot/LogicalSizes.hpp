#pragma once

#include "Snapshot/RecordStorage.hpp"

#include <memory>

namespace KestrelCore {

/// As of `ScanSnapshot::withLogicalSizes`. `storage` is finished.
[[nodiscard]] std::shared_ptr<const RecordStorage> withLogicalSizes(const RecordStorage& storage);

}  // namespace KestrelCore
