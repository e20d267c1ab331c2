#include "Platform/POSIX/DeletedFiles.hpp"

#include <algorithm>
#include <functional>

namespace KestrelCore {

void DeletedFiles::add(std::uint64_t device, std::uint64_t inode, std::string path, std::int64_t allocatedBytes,
                       const FileHolder& holder) {
    DeletedOpenFile& file = files_[{device, inode}];
    file.path = std::move(path);
    file.allocatedBytes = allocatedBytes;
    if (std::ranges::find(file.holders, holder) == file.holders.end()) file.holders.push_back(holder);
}

std::vector<DeletedOpenFile> DeletedFiles::largestFirst() && {
    std::vector<DeletedOpenFile> result;
    result.reserve(files_.size());
    for (auto& [identity, file] : files_) result.push_back(std::move(file));
    std::ranges::stable_sort(result, std::greater{}, &DeletedOpenFile::allocatedBytes);
    return result;
}

}  // namespace KestrelCore
