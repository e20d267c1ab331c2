#include "KestrelCore/Model/FolderPathReader.hpp"

#include <ranges>

namespace KestrelCore {

std::string_view FolderPathReader::prefix(RecordStorage::FolderIndex folder) {
    const std::vector<RecordStorage::Folder>& folders = storage_.folders();
    // Parents come before children, so of two folders the later one is never on the way to the earlier one.
    missing_.clear();
    while (true) {
        while (!chain_.empty() && chain_.back() > folder) chain_.pop_back();
        if (folder == RecordStorage::topFolder || (!chain_.empty() && chain_.back() == folder)) break;
        missing_.push_back(folder);
        folder = folders[folder].parent;
    }
    path_.resize(folders[folder].pathLength);
    for (const RecordStorage::FolderIndex each : std::ranges::reverse_view{missing_}) {
        path_ += '/';
        path_ += storage_.nameOf(folders[each]);
        chain_.push_back(each);
    }
    return path_;
}

}  // namespace KestrelCore
