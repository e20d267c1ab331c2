#include "Platform/FolderEnumeration.hpp"

#include "Base/Checked.hpp"
#include "KestrelCore/Base/FileIdentity.hpp"

#include <string>
#include <unordered_set>
#include <vector>

namespace KestrelCore {

namespace {

/// Tells the first name of a file from its further ones. Only files with several names are remembered.
class FirstNames {
public:
    [[nodiscard]] bool isFirst(const FileStatus& status) {
        return status.links < 2 || seen_.insert({status.device, status.inode}).second;
    }

private:
    std::unordered_set<FileIdentity> seen_;
};

/// The path of a walk's entry, from its level and its name.
class WalkedPath {
public:
    /// Valid until the next call. `level` is 1 or more.
    [[nodiscard]] std::string_view enter(std::uint32_t level, std::string_view name) {
        ends_.resize(level - 1);
        path_.resize(ends_.empty() ? 0 : ends_.back());
        if (!ends_.empty()) path_ += '/';
        path_ += name;
        ends_.push_back(path_.size());
        return path_;
    }

private:
    std::string path_;
    std::vector<std::size_t> ends_;  ///< of the folders that lead to the entry, and of the entry
};

}  // namespace

void enumerateBelow(Traversal& walk, const std::function<bool(const EnumeratedItem&)>& visit) {
    using Kind = TraversalEntry::Kind;
    FirstNames names;
    WalkedPath path;
    // The root is not one of the items; what ends a folder, or could not be listed, is none either.
    while (const TraversalEntry* entry = walk.next()) {
        const bool isItem =
            entry->kind == Kind::directory || entry->kind == Kind::item || entry->kind == Kind::noStatus;
        if (!isItem || entry->level == 0) continue;
        EnumeratedItem item{.path = path.enter(entry->level, entry->name),
                            .isDirectory = entry->kind == Kind::directory,
                            .allocatedBytes = {}};
        if (entry->kind == Kind::item)
            item.allocatedBytes = names.isFirst(*entry->status) ? entry->status->allocatedBytes : 0;
        if (!visit(item)) return;
    }
}

std::int64_t allocatedBytesBelow(Traversal& walk) {
    std::int64_t sum = 0;
    enumerateBelow(walk, [&sum](const EnumeratedItem& item) {
        sum = Checked::add(sum, item.allocatedBytes.value_or(0), "KestrelCore/Platform/FileManager");
        return true;
    });
    return sum;
}

}  // namespace KestrelCore
