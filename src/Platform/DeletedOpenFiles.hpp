#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace KestrelCore {

/// A process that holds a file open.
struct FileHolder {
    std::int32_t processIdentifier = 0;
    std::string name;  ///< raw

    bool operator==(const FileHolder&) const = default;
};

/// A regular file without a name that processes hold open: it takes its room until the last of them lets go.
struct DeletedOpenFile {
    std::string path;  ///< what it was called, raw
    std::int64_t allocatedBytes = 0;
    std::vector<FileHolder> holders;  ///< each process once
};

/// Those on the file system that holds `folder`, each file once, largest first, as far as this user may look into
/// processes. Empty where the system does not tell.
[[nodiscard]] std::vector<DeletedOpenFile> deletedOpenFiles(const std::string& folder);

}  // namespace KestrelCore
