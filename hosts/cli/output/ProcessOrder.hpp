#pragma once

#include "output/ProcessRow.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace KestrelCLI {

enum class ProcessOrder { cpu, memory, name, disk };

/// Sorts for a person: busiest, largest, by name, or by what moves most to and from disks; equal ones by identifier.
void sortProcesses(std::vector<ProcessRow>& rows, ProcessOrder order);

/// Where a process stands in a tree: the lines to draw before its name, such as "│  └─ "; empty at the top.
struct TreePlace {
    std::size_t row = 0;  ///< into the rows
    std::string prefix;
};

/// The rows as a tree: each below its parent, those of one parent in the order of the rows. Every row stands in it
/// once, whatever parents they claim to have. `isUnicode` draws with lines, else with ASCII.
[[nodiscard]] std::vector<TreePlace> processTree(const std::vector<ProcessRow>& rows, bool isUnicode);

}  // namespace KestrelCLI
