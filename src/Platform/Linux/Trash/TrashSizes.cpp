#include "Platform/Linux/Trash/TrashSizes.hpp"

#include <utility>

// What waits is lost with the process. That is no loss: the file is a cache, and a program that shows a trash counts
// the folders that have no line in it.

namespace KestrelCore {

void TrashSizes::begin() {
    const std::lock_guard guard{mutex_};
    ++requests_;
}

void TrashSizes::end() {
    const std::lock_guard guard{mutex_};
    --requests_;
    for (const auto& [path, waiting] : waiting_) waiting.trash.noteSizes(waiting.sizes);
    waiting_.clear();
}

void TrashSizes::note(TrashFolder trash, FolderSize size) {
    const std::lock_guard guard{mutex_};
    if (requests_ == 0) return trash.noteSizes({std::move(size)});
    std::string path = trash.path;
    const auto entry = waiting_.try_emplace(std::move(path), Waiting{std::move(trash), {}}).first;
    entry->second.sizes.push_back(std::move(size));
}

}  // namespace KestrelCore
