#include "terminal/browse/BrowseMarks.hpp"

#include <string_view>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// All that lies below a folder begins with this.
std::string below(std::string_view path) { return path == "/" ? std::string{path} : std::string{path} + '/'; }

}  // namespace

void BrowseMarks::changed() {
    freedBytes_.reset();
    ++version_;
}

bool BrowseMarks::toggle(const FileRecord& record) {
    if (marked_.erase(record.path().string()) > 0) {
        changed();
        return true;
    }
    if (covers(record.path())) return false;
    mark(record);
    return true;
}

void BrowseMarks::mark(const FileRecord& record) {
    if (covers(record.path())) return;
    // What lies below goes with it now.
    remove({record.path()});
    marked_.emplace(record.path().string(), record);
    changed();
}

void BrowseMarks::clear() {
    marked_.clear();
    changed();
}

void BrowseMarks::remove(const std::vector<Text>& paths) {
    for (const Text& path : paths) {
        marked_.erase(path.string());
        const std::string prefix = below(path.view());
        auto at = marked_.lower_bound(prefix);
        while (at != marked_.end() && at->first.starts_with(prefix)) at = marked_.erase(at);
    }
    changed();
}

bool BrowseMarks::covers(const Text& path) const {
    if (marked_.empty()) return false;
    std::string_view rest = path.view();
    while (!rest.empty()) {
        if (marked_.contains(rest)) return true;
        const std::size_t slash = rest.rfind('/');
        if (slash == std::string_view::npos) break;
        if (slash == 0) return rest != "/" && marked_.contains("/");
        rest = rest.substr(0, slash);
    }
    return false;
}

std::vector<FileRecord> BrowseMarks::records() const {
    std::vector<FileRecord> records;
    records.reserve(marked_.size());
    for (const auto& each : marked_) records.push_back(each.second);
    return records;
}

std::vector<Text> BrowseMarks::paths() const {
    std::vector<Text> paths;
    paths.reserve(marked_.size());
    for (const auto& each : marked_) paths.push_back(each.second.path());
    return paths;
}

std::int64_t BrowseMarks::shownBytes() const {
    std::int64_t sum = 0;
    // Sizes of one scan add up to less than 2^62.
    for (const auto& each : marked_) sum += each.second.displayBytes();
    return sum;
}

}  // namespace KestrelCLI
