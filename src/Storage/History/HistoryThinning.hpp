#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Storage/Generation.hpp"
#include "Storage/History/HistoryDatabase.hpp"

#include <cstdint>
#include <vector>

namespace KestrelCore {

/// The generations that the policy does not keep, of all that a history has. Pure.
[[nodiscard]] std::vector<std::int64_t> thinned(const std::vector<StoredGeneration>& all, const ThinningPolicy& policy,
                                                Date now);

/// The forgotten generations that no other is a difference to, directly or through others that are forgotten. Pure.
[[nodiscard]] std::vector<std::int64_t> unneeded(const std::vector<StoredGeneration>& all);

}  // namespace KestrelCore
