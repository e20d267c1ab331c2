#pragma once

#include "Platform/macOS/Processes/Portable/TaskBytes.hpp"

#include <cstdint>
#include <optional>

namespace KestrelCore {

/// What the system tells of a process beside its figures. Absent when it is gone, is a zombie or may not be inspected;
/// then `errno` says which: ESRCH, or EPERM.
[[nodiscard]] std::optional<TaskBytes::ProcessRecord> queriedProcess(std::int32_t processIdentifier);

}  // namespace KestrelCore
