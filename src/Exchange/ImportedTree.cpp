#include "Exchange/ImportedTree.hpp"

#include "Base/SeededHash.hpp"
#include "Base/TextScan.hpp"
#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Exchange/ExchangeFormat.hpp"
#include "Platform/Traversal.hpp"

#include <algorithm>
#include <utility>

namespace KestrelCore {

namespace {

/// Throws for what no folder can hold as a name.
void check(std::string_view name, std::uint64_t offset) {
    if (name.empty()) throw ImportError{offset, "A name is empty."};
    if (name == "." || name == "..") throw ImportError{offset, "A name is “.” or “..”."};
    if (name.find('\0') != std::string_view::npos) throw ImportError{offset, "A name holds a NUL."};
    if (name.find('/') != std::string_view::npos) throw ImportError{offset, "A name holds a slash."};
    if (name.size() > NameArena::longestName) throw ImportError{offset, "A name is longer than any disk has."};
}

std::string wellFormed(std::string_view raw) { return isWellFormedUTF8(raw) ? std::string{raw} : repairedUTF8(raw); }

/// The path with a slash at its beginning, none at its end, and one between names.
std::string tidied(std::string_view path, std::uint64_t offset) {
    std::string result;
    const std::string text = wellFormed(path);
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('/', begin), text.size());
        const std::string_view name = std::string_view{text}.substr(begin, end - begin);
        if (!name.empty()) {
            check(name, offset);
            (result += '/') += name;
        }
        begin = end + 1;
    }
    return result;
}

}  // namespace

void ImportedTree::beginTop(std::string_view path, const ImportedItem& item, std::uint64_t offset) {
    if (path.empty()) throw ImportError{offset, "A name is empty."};
    path_ = tidied(path, offset);
    if (path_.size() > longestTraversedPath) throw ImportError{offset, "A path is too long."};
    top_ = path_.empty() ? Text{"/"} : Text{path_};
    storage_ = &tree_.storage();
    const auto folder = storage_->folder(top_.view());
    if (!folder) throw ImportError{offset, "A path is too long."};
    take(item.allocatedBytes, offset);
    const Text name = path_.empty() ? Text{"/"} : Path::lastComponent(top_);
    RecordStorage::Row& row = storage_->appendIrregular(std::nullopt, top_, name);
    storage_->fill(row, fields(item, name.view()));
    tree_.setRoot(0, *folder);
    levels_.push_back({.pathLength = path_.size(), .row = 0, .folder = *folder, .firstName = 0});
}

void ImportedTree::beginFolder(std::string_view name, const ImportedItem& item, std::uint64_t offset) {
    if (levels_.size() >= mostLevels) throw ImportError{offset, "The folders are nested too deep."};
    const std::uint32_t row = add(name, item, offset);
    (path_ += '/') += name_;
    if (path_.size() > longestTraversedPath) throw ImportError{offset, "A path is too long."};
    levels_.push_back(
        {.pathLength = path_.size(), .row = row, .folder = ScannedTree::none, .firstName = names_.size()});
}

void ImportedTree::addItem(std::string_view name, const ImportedItem& item, std::uint64_t offset) {
    (void)add(name, item, offset);
}

void ImportedTree::addUnlisted(std::int64_t bytes, std::uint64_t offset) {
    take(bytes, offset);
    tree_.addFoldedBytes(folder(levels_.back()), bytes);
}

void ImportedTree::endFolder() {
    const auto first = names_.begin() + static_cast<std::ptrdiff_t>(levels_.back().firstName);
    std::sort(first, names_.end(), [](const Name& a, const Name& b) {
        return std::pair{a.hash, a.offset} < std::pair{b.hash, b.offset};
    });
    const auto twice =
        std::adjacent_find(first, names_.end(), [](const Name& a, const Name& b) { return a.hash == b.hash; });
    if (twice != names_.end()) throw ImportError{std::next(twice)->offset, "A folder has a name twice."};
    names_.erase(first, names_.end());
    levels_.pop_back();
    path_.resize(levels_.empty() ? 0 : levels_.back().pathLength);
}

std::uint32_t ImportedTree::add(std::string_view rawName, const ImportedItem& item, std::uint64_t offset) {
    check(rawName, offset);
    names_.push_back({.hash = seededHash(rawName), .offset = offset});
    name_ = wellFormed(rawName);
    if (name_.size() > NameArena::longestName) throw ImportError{offset, "A name is longer than any disk has."};
    if (storage_->size() >= mostItems) throw ImportError{offset, "There are more items than a scan can have."};
    take(item.allocatedBytes, offset);
    const auto position = static_cast<std::uint32_t>(storage_->size());
    RecordStorage::Row& row = storage_->appendRegular(folder(levels_.back()), name_);
    storage_->fill(row, fields(item, name_));
    return position;
}

void ImportedTree::take(std::int64_t bytes, std::uint64_t offset) {
    // They count once for the item itself and once for each folder above it.
    if (!budget_.take(bytes, static_cast<std::int64_t>(levels_.size()) + 1))
        throw ImportError{offset, "The sizes add up to more than any disk holds."};
}

ScannedTree::FolderIndex ImportedTree::folder(Level& level) {
    if (level.folder == ScannedTree::none) level.folder = tree_.addFolder(storage_->row(level.row).folder, level.row);
    return level.folder;
}

RecordStorage::Fields ImportedTree::fields(const ImportedItem& item, std::string_view name) {
    const ExtensionTable::Entry& extension = extensions_.entry(name.substr(Path::extensionOffset(name)), *storage_);
    const bool isPackage = item.kind == FileKind::directory && extension.isPackage;
    return {.kind = isPackage ? FileKind::package : item.kind,
            .logicalBytes = item.logicalBytes,
            .allocatedBytes = item.allocatedBytes,
            .aggregateAllocatedBytes = item.isHardLinkDuplicate ? 0 : item.allocatedBytes,
            .modifiedAt = item.modifiedAt,
            .extension = extension.position,
            .isHidden = item.isHidden,
            .isCloudPlaceholder = item.isCloudPlaceholder,
            .isHardLinkDuplicate = item.isHardLinkDuplicate};
}

std::shared_ptr<const RecordStorage> ImportedTree::finish() {
    storage_ = nullptr;
    return tree_.finish();
}

}  // namespace KestrelCore
