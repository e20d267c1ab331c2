#pragma once

#include "KestrelCore/Model/RecordStorage.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// Joins the paths of folders that are asked for one after the other: only what differs from the folder before is
/// joined again, and neighbours mostly share all but a name.
class FolderPathReader {
public:
    explicit FolderPathReader(const RecordStorage& storage) : storage_{storage} {}

    /// The folder's path as a prefix: empty for the top folder, else without a trailing slash. Valid until the next
    /// call.
    [[nodiscard]] std::string_view prefix(RecordStorage::FolderIndex folder);

private:
    const RecordStorage& storage_;
    std::string path_;
    std::vector<RecordStorage::FolderIndex> chain_;    ///< the folders on the way to `path_`, the top one left out
    std::vector<RecordStorage::FolderIndex> missing_;  ///< of one call, deepest first
};

}  // namespace KestrelCore
