#pragma once

#include "Platform/DeletedOpenFiles.hpp"

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace KestrelCore {

/// Brings together what is found process by process: each file once, with each process that holds it once.
class DeletedFiles {
public:
    /// Notes that `holder` has the file of that number on that device open. Path and size are those that were told
    /// last.
    void add(std::uint64_t device, std::uint64_t inode, std::string path, std::int64_t allocatedBytes,
             const FileHolder& holder);

    /// Largest first; of equal ones, that with the smaller numbers.
    [[nodiscard]] std::vector<DeletedOpenFile> largestFirst() &&;

private:
    std::map<std::pair<std::uint64_t, std::uint64_t>, DeletedOpenFile> files_;
};

}  // namespace KestrelCore
