#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"

#include <chrono>
#include <optional>

namespace KestrelCore {

/// For a process that has no descriptor left to wait on: blocks for `duration`, without end when that is absent, or
/// until the cancellation; does not count while the machine sleeps.
void sleepWithoutDescriptors(std::optional<std::chrono::nanoseconds> duration, const CancellationToken& cancellation);

}  // namespace KestrelCore
