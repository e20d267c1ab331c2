#pragma once

#include "KestrelCore/Metrics/SystemMetrics.hpp"

#include <vector>

namespace KestrelCLI {

enum class ProcessOrder { cpu, memory, name };

/// Sorts for a person: busiest, largest, or by name; equal ones by identifier.
void sortProcesses(std::vector<KestrelCore::ProcessSample>& processes, ProcessOrder order);

}  // namespace KestrelCLI
