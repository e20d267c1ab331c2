#pragma once

#include "Snapshot/RecordStorage.hpp"

#include <cstdint>
#include <vector>

namespace KestrelCore {

/// What the records at these positions take on the disk together: one that lies in another of them counts once, and a
/// further hard link for nothing. Stops the process when the sum overflows.
[[nodiscard]] std::int64_t bytesOnDisk(const RecordStorage& storage, const std::vector<std::uint32_t>& records);

}  // namespace KestrelCore
