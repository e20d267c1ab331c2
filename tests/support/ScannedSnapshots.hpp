#pragma once

#include "KestrelCore/Base/UUID.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <cstdint>
#include <optional>

namespace KestrelCore {

/// The same records as a scan would give them: sorted by path, with identifiers of their own that are derived. `id`
/// becomes the snapshot's and their seed; drawn when absent.
[[nodiscard]] ScanSnapshot asScanned(const ScanSnapshot& snapshot, std::optional<Date> completedAt = std::nullopt,
                                     std::optional<UUID> id = std::nullopt);

/// What may have become of a tree by the next scan: some of it is gone, some has changed, some is new. The same for the
/// same seed.
[[nodiscard]] ScanSnapshot changed(const ScanSnapshot& before, std::uint64_t seed);

}  // namespace KestrelCore
